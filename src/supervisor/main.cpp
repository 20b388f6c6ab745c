// The privileged parent: start-up in a fixed order, then the loop over the engine's letters,
// then an orderly shutdown.
#include "base/log.h"
#include "supervisor/process.h"
#include "supervisor/root_daemon.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace
{

int check_identity()
{
    if (geteuid() != 0) {
        log_msg(LOG_CRIT, "nimbod: need root privileges");
        return -1;
    }
    const bool known = getpwnam("nimbod") != nullptr;
    endpwent();
    if (!known) {
        log_msg(LOG_CRIT, "nimbod: unknown user %s", "nimbod");
        return -1;
    }
    return 0;
}

// Close-on-exec: no command that either process runs may hold an end of the channel, where it
// could write letters to the parent or keep the engine from seeing the parent go.
int open_pipes(int parent_pipe[2], int child_pipe[2])
{
    if (pipe2(parent_pipe, O_CLOEXEC) != 0) {
        log_errno(LOG_CRIT, "Could not create parent pipe: errno %d (%s)\n");
        return -1;
    }
    if (pipe2(child_pipe, O_CLOEXEC) != 0) {
        log_errno(LOG_CRIT, "Could not create child pipe: errno %d (%s)\n");
        return -1;
    }
    return 0;
}

// The engine is signalled only while it is known to live: a lost one has been reaped already.
int shut_down(pid_t engine)
{
    log_msg(LOG_INFO, "Parent done waiting for child requests.");
    signal(SIGCHLD, SIG_DFL);
    if (engine != 0) kill(engine, SIGTERM);
    while (wait(nullptr) >= 0 || errno == EINTR) {
    }
    if (errno != ECHILD) log_errno(LOG_CRIT, "Wait for child failed!, errno: %d (%s)");
    log_msg(LOG_CRIT, "Terminating");
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    log_open();
    log_msg(LOG_INFO, "Starting");
    const bool no_daemon = parse_options(argc, argv);
    if (check_identity() != 0) return 1;
    watchdog_heartbeat();
    if (!no_daemon && daemon(1, 0) != 0) {
        log_errno(LOG_CRIT, "Could not daemonize: errno %d (%s)\n");
        return 1;
    }
    int parent_pipe[2];
    int child_pipe[2];
    if (open_pipes(parent_pipe, child_pipe) != 0) return 1;
    parent_link link{.from_engine = parent_pipe[0], .to_engine = child_pipe[1], .engine = 0};
    link.engine = start_engine(parent_pipe, child_pipe);
    if (link.engine < 0) return 1;
    install_parent_signals();
    close(parent_pipe[1]);
    close(child_pipe[0]);
    log_msg(LOG_INFO, "Parent waiting for child requests.");
    parent_loop(link);
    return shut_down(link.engine);
}
