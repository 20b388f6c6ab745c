#include "sentryd.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

namespace
{

std::string heartbeat_log_path()
{
    const char *dir = std::getenv("VEXA_SIM_DIR");
    return std::string(dir && *dir ? dir : "/var/run/sim") + "/heartbeats.log";
}

// Both the root parent and the unprivileged engine report here, and whichever comes first creates
// the file: it is opened up for everyone so that the other one can append too.
int open_log()
{
    int fd = open(heartbeat_log_path().c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (fd >= 0) fchmod(fd, 0666);
    return fd;
}

} // namespace

extern "C" int sentryd_send_heart_beat(const char *name, int arg2, const char *action, int arg4)
{
    char line[512];
    int length =
        std::snprintf(line, sizeof line, "%s %d %s %d %lld\n", name ? name : "", arg2,
                      action ? action : "", arg4, static_cast<long long>(std::time(nullptr)));
    if (length < 0 || static_cast<size_t>(length) >= sizeof line) return -1;
    int fd = open_log();
    if (fd < 0) return -1;
    // One write per line: appends from the two processes never mix within a line.
    ssize_t written = write(fd, line, static_cast<size_t>(length));
    close(fd);
    return written == length ? 0 : -1;
}
