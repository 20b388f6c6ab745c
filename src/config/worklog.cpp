#include "config/worklog.h"

#include "base/log.h"
#include "config/config.h"
#include "base/fd.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

int worklog_open()
{
    int fd = open(config_path(CONFIG_WORKLOG), O_WRONLY | O_APPEND | O_CLOEXEC);
    if (fd < 0) return -1;
    int locked;
    do {
        locked = flock(fd, LOCK_EX);
    } while (locked < 0 && errno == EINTR);
    if (locked < 0) {
        int err = errno;
        close(fd);
        errno = err;
        return -2;
    }
    return fd;
}

int worklog_append_node(int fd, xmlNodePtr node)
{
    xml::text_ptr path(xmlGetNodePath(node));
    if (!path) {
        log_msg(LOG_ERR, "Unable to get xpath for node %s\n",
                node->name ? xml::chars(node->name) : "");
        return -1;
    }
    const char *text = xml::chars(path.get());
    if (int err = write_all(fd, text, std::strlen(text)); err < 0) {
        log_msg(LOG_ERR, "Unable to write to worklog %d\n", -err);
        return -2;
    }
    if (int err = write_all(fd, "\n", 1); err < 0) {
        log_msg(LOG_ERR, "2Unable to write to worklog %d\n", -err);
        return -3;
    }
    return 0;
}

int worklog_close(int fd)
{
    return close(fd) < 0 ? -1 : 0;
}
