#include "config/save.h"

#include "base/fd.h"
#include "base/log.h"
#include "base/shell.h"
#include "config/config.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace
{

using dump_ptr = std::unique_ptr<xmlChar, xml::xml_free_deleter>;

// The file is flushed before it is closed: once the move makes it the configuration, its bytes
// must already be on storage. 0, or minus errno.
int write_new_file(const char *path, const xmlChar *text, int size)
{
    unique_fd fd(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (fd.get() < 0) return -errno;
    if (int err = write_all(fd.get(), text, static_cast<size_t>(size)); err < 0) return err;
    if (fsync(fd.get()) < 0) return -errno;
    return fd.close();
}

int save_document(xmlDocPtr doc, const char *path)
{
    xmlChar *raw = nullptr;
    int size = 0;
    xmlDocDumpMemory(doc, &raw, &size);
    dump_ptr text(raw);
    if (!text || size <= 0) return -ENOMEM;
    int err = write_new_file(path, text.get(), size);
    if (err < 0) unlink(path);
    return err;
}

// A rename is durable only once the folder that holds both names is on storage.
void sync_folder(const std::string &file)
{
    std::string::size_type slash = file.rfind('/');
    std::string folder = slash == std::string::npos ? "."
                         : slash == 0               ? "/"
                                                    : file.substr(0, slash);
    unique_fd fd(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.get() < 0 || fsync(fd.get()) < 0)
        log_msg(LOG_WARNING, "Unable to flush folder %s! %d", folder.c_str(), errno);
}

void trace_document(xmlDocPtr doc)
{
    if (debug_level == 0) return;
    xmlElemDump(stderr, doc, xmlDocGetRootElement(doc));
    std::printf("\n");
}

} // namespace

void config_reload_local()
{
    config_release_current();
    xml::doc_ptr reread = xml::parse_file(config_path(CONFIG_LOCAL));
    if (!reread) {
        log_msg(LOG_EMERG, "Unable to parse file '%s'\n", config_path(CONFIG_LOCAL));
        std::exit(9);
    }
    config_replace_current(std::move(reread));
}

int config_save(xmlDocPtr doc)
{
    trace_document(doc);
    const std::string local = config_path(CONFIG_LOCAL);
    const std::string fresh = local + ".new";
    umask(022);
    if (int err = save_document(doc, fresh.c_str()); err < 0) {
        log_msg(LOG_ERR, "Unable to save new config! %d", -err);
        return 6;
    }
    // Both paths come from the configuration file table; no request text reaches this line.
    const std::string command = "/bin/mv " + fresh + " " + local;
    shell_status status{};
    if (run_shell(command.c_str(), &status) < 0) {
        log_msg(LOG_ERR, "Unable to move new config! %d,%d", status.raw, status.exit_status);
        return 6;
    }
    sync_folder(local);
    log_msg(LOG_INFO, "Config write successful");
    return 0;
}
