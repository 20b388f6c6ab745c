#include "base/log.h"
#include "channel/channel.h"
#include "commands/modem_ota.h"
#include "config/config.h"
#include "radio/pelk.h"
#include "rci/bus.h"
#include "rci/registry.h"
#include "supervisor/process.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace
{

// _exit rather than exit: the engine must not flush stdio buffers it inherited from the parent.
[[noreturn]] void engine_failed(const char *fmt)
{
    log_errno(LOG_CRIT, fmt);
    _exit(1);
}

// Without -d the engine's prints go nowhere; with it they stay visible next to a foreground parent.
void detach_from_terminal()
{
    int devnull = open("/dev/null", O_RDWR);
    if (devnull < 0) engine_failed("child: devnull");
    if (chdir("/") != 0) engine_failed("child: chdir %d (%s)");
    if (debug_level == 0) {
        dup2(devnull, STDIN_FILENO);
        dup2(devnull, STDOUT_FILENO);
        dup2(devnull, STDERR_FILENO);
    } else {
        // Traces leave line by line, in order with the log, even when the output is a file.
        setvbuf(stdout, nullptr, _IOLBF, 0);
    }
    close(devnull);
}

void drop_privileges(uid_t uid, gid_t gid)
{
    if (setgroups(1, &gid) != 0 || setresgid(gid, gid, gid) != 0 || setresuid(uid, uid, uid) != 0)
        engine_failed("child: can't drop privileges %d (%s)");
}

[[noreturn]] void become_engine(const int parent_pipe[2], const int child_pipe[2])
{
    to_parent_fd = parent_pipe[1];
    from_parent_fd = child_pipe[0];
    const passwd *account = getpwnam("nimbod");
    if (!account) engine_failed("child: getpwnam");
    uid_t uid = account->pw_uid;
    gid_t gid = account->pw_gid;
    detach_from_terminal();
    drop_privileges(uid, gid);
    signal(SIGTERM, SIG_DFL);
    signal(SIGINT, SIG_DFL);
    signal(SIGPIPE, SIG_IGN);
    signal(SIGHUP, SIG_IGN);
    close(parent_pipe[0]);
    close(child_pipe[1]);
    engine_main();
    log_msg(LOG_INFO, "vexacs engine exiting");
    _exit(0);
}

// The radio's targets are do_command's own: no local client may claim their names.
void pelk_reserve_targets()
{
    for (const char *name : pelk_target_names)
        registry_reserve(name);
}

} // namespace

pid_t start_engine(const int parent_pipe[2], const int child_pipe[2])
{
    pid_t pid = fork();
    if (pid < 0) {
        log_errno(LOG_CRIT, "cannot fork child %d (%s)");
        return -1;
    }
    if (pid == 0) become_engine(parent_pipe, child_pipe);
    return pid;
}

void engine_main()
{
    umask(022);
    if (Config_init() != 0) {
        log_msg(LOG_CRIT, "Config_init failed! Exiting!\n");
        std::perror("Config_init failed! Exiting!");
        std::abort();
    }
    // The start functions of the request subsystems follow here, in start order; after them the
    // main thread has nothing left to do.
    // The listener's idle time is when the engine tells the watchdog it is alive.
    start_bus_thread(watchdog_heartbeat);
    pelk_reserve_targets();
    register_ota_callback();
    for (;;)
        sleep(10000);
}
