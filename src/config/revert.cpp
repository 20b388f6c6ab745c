#include "config/revert.h"

#include "base/log.h"
#include "base/shell.h"
#include "config/config.h"
#include "config/exceptions.h"
#include "config/save.h"
#include "config/worklog.h"
#include "config/write_dom.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace
{

// The command lines are formed from the fixed certificate folder only; the exception text of the
// request decides whether they run, never what they contain.
int remove_files(const std::string &command, const char *failure)
{
    shell_status status{};
    if (run_shell(command.c_str(), &status) == 0) return 0;
    log_msg(LOG_ERR, failure, status.exit_status);
    return -1;
}

// Keeps the groups the exceptions name and takes everything else from the defaults file; on any
// failure the previous document and the local file stay as they were.
int revert_keeping(const char *exceptions)
{
    xml::doc_ptr retained = collect_exceptions(config_current(), exceptions);
    xml::doc_ptr kept = config_release_current();
    xml::doc_ptr fresh = xml::parse_file(config_path(CONFIG_DEFAULTS));
    if (!fresh || !retained) {
        log_msg(LOG_CRIT, "Unable to parse file '%s'\n", config_path(CONFIG_DEFAULTS));
        config_replace_current(std::move(kept));
        return -1;
    }
    merge_retained(fresh.get(), xmlDocGetRootElement(retained.get()));
    if (config_save(fresh.get()) != 0) {
        config_replace_current(std::move(kept));
        return -1;
    }
    config_replace_current(std::move(fresh));
    return 0;
}

void revert_whole()
{
    // Both paths come from the configuration file table.
    std::string command =
        std::string("/bin/cp -f ") + config_path(CONFIG_DEFAULTS) + " " + config_path(CONFIG_LOCAL);
    shell_status status{};
    if (run_shell(command.c_str(), &status) < 0)
        log_msg(LOG_CRIT, "Revert copy failed, exit status %d", status.exit_status);
    config_reload_local();
}

} // namespace

int revert_certificates(const char *exceptions)
{
    const std::string certs = current_change_paths().certs;
    bool keep_identity = exceptions && std::strstr(exceptions, "identity");
    bool keep_certs = exceptions && std::strstr(exceptions, "certs");
    if (!keep_identity && remove_files("/bin/rm -f " + certs + "/identity/*",
                                       "Identity revert failed, exit status %d") < 0)
        return -1;
    if (keep_certs) return 0;
    return remove_files("/bin/rm -f " + certs + "/socket_*/* " + certs + "/wifi_ca/*",
                        "Certificate revert failed, exit status %d");
}

int revert_to_factory(const char *exceptions)
{
    worklog_lock worklog;
    if (worklog.fd() < 0) {
        log_msg(LOG_CRIT, "Unable to lock worklog (%d)! %d\n", worklog.fd(), errno);
        return -1;
    }
    if (exceptions) {
        if (revert_keeping(exceptions) < 0) return -1;
    } else {
        revert_whole();
    }
    // The whole configuration has changed.
    static constexpr char whole[] = "/config\n";
    if (write(worklog.fd(), whole, sizeof whole - 1) != sizeof whole - 1)
        log_msg(LOG_CRIT, "revert_to_factory: Unable to write to worklog! %d\n", errno);
    return 0;
}
