// Runs a start command as the gateway's init runs it, and keeps what that init would lose: the
// pid of the daemon the command started in the background, and how that daemon ended.
//
// Usage: sim_reaper RECORD PIDFILE COMMAND [ARGS...]
//
// The reaper becomes a child subreaper, so a daemon that COMMAND detaches stays its descendant
// and is handed to it when its own parent has gone. Once COMMAND has succeeded, the pid that it
// left in PIDFILE goes to RECORD.pid; when that process has ended, its exit status as a shell
// reports it (128 + the signal for a killed process) goes to RECORD.status. A failing COMMAND's
// own status goes to RECORD.status instead.
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

namespace
{

int shell_status(int status)
{
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

// Readers poll for the file: it appears whole or not at all.
int write_record(const std::string &path, const std::string &text)
{
    std::string partial = path + ".new";
    {
        std::ofstream out(partial, std::ios::trunc);
        out << text << '\n';
        if (!out.flush()) return -1;
    }
    return std::rename(partial.c_str(), path.c_str());
}

// Waits for `pid` among the reaper's children, reaping the others as they end.
int wait_for(pid_t pid, int &status)
{
    for (;;) {
        pid_t ended = waitpid(-1, &status, 0);
        if (ended == pid) return 0;
        if (ended < 0 && errno != EINTR) return -1;
    }
}

int run_command(char **command)
{
    pid_t child = fork();
    if (child < 0) return -1;
    if (child == 0) {
        execvp(command[0], command);
        std::fprintf(stderr, "sim_reaper: cannot run %s: %s\n", command[0], std::strerror(errno));
        _exit(127);
    }
    int status = 0;
    return wait_for(child, status) < 0 ? -1 : shell_status(status);
}

pid_t read_pid(const char *path)
{
    long pid = 0;
    std::ifstream in(path);
    return in >> pid && pid > 1 ? static_cast<pid_t>(pid) : -1;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 4) {
        std::fprintf(stderr, "Usage: %s RECORD PIDFILE COMMAND [ARGS...]\n", argv[0]);
        return 2;
    }
    const std::string record = argv[1];
    if (prctl(PR_SET_CHILD_SUBREAPER, 1) < 0) {
        std::perror("sim_reaper: PR_SET_CHILD_SUBREAPER");
        return 1;
    }
    int started = run_command(argv + 3);
    if (started != 0) return write_record(record + ".status", std::to_string(started)) < 0;
    pid_t daemon = read_pid(argv[2]);
    int status = 0;
    if (daemon < 0 || write_record(record + ".pid", std::to_string(daemon)) < 0 ||
        wait_for(daemon, status) < 0) {
        std::fprintf(stderr, "sim_reaper: %s names no process started here\n", argv[2]);
        return 1;
    }
    return write_record(record + ".status", std::to_string(shell_status(status))) < 0;
}
