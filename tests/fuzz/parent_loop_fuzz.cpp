// Feeds arbitrary bytes to the privileged parent's loop through a real pipe, the way a confused or
// hostile engine could, with the shell commands recorded instead of run. Every command must be
// one of the fixed command lines, or a set_date line whose date is built only from safe
// characters; the loop must end at the end of file, having read every byte.
#include "base/log.h"
#include "supervisor/process.h"
#include "supervisor/root_daemon.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace
{

std::vector<std::string> recorded;

// Alternating results, so that failure paths and answers of both kinds are explored.
int record_command(const char *command)
{
    recorded.emplace_back(command);
    return recorded.size() % 2 ? 0 : 256;
}

unsigned skip_pause(unsigned)
{
    return 0;
}

int fixed_uptime(unsigned long *seconds)
{
    *seconds = 1;
    return 0;
}

void discard(int, const char *) {}

// The password request has a fuzz target of its own; here only the loop around it is explored.
int refuse_password(const char *, const char *, const char *)
{
    return -1;
}

constexpr std::array fixed_prefixes{
    std::string_view("/sbin/reboot"),
    std::string_view("/usr/bin/python /etc/vexa/generate/generate.pyc"),
    std::string_view("/etc/init.d/nimbod_stunnel start"),
    std::string_view("output=$(/usr/bin/vexa_update_firmware 2>&1);"),
    std::string_view("set -e; umask 077; pw=$(/sbin/boardenv --print upasswd);"),
};

// "/bin/date[ -u] -s '<19 to 24 of [0-9 :-]>' && /sbin/hwclock -u -w"
bool safe_date_command(std::string_view command)
{
    constexpr std::string_view tail = "' && /sbin/hwclock -u -w";
    std::string_view head =
        command.starts_with("/bin/date -u") ? "/bin/date -u -s '" : "/bin/date -s '";
    if (command.size() < head.size() + tail.size() || !command.starts_with(head) ||
        !command.ends_with(tail))
        return false;
    std::string_view date = command.substr(head.size(), command.size() - head.size() - tail.size());
    if (date.size() < 19 || date.size() > 24) return false;
    return date.find_first_not_of("0123456789 :-") == std::string_view::npos;
}

bool allowed(std::string_view command)
{
    for (std::string_view prefix : fixed_prefixes)
        if (command.starts_with(prefix)) return true;
    return safe_date_command(command);
}

int devnull = -1;

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    log_set_sink(discard);
    heartbeat_use_uptime_source(fixed_uptime);
    static char sim_dir[] = "/tmp/vexa-fuzz-XXXXXX";
    if (!mkdtemp(sim_dir)) std::abort();
    setenv("VEXA_SIM_DIR", sim_dir, 1);
    root_hooks = {.command_runner = record_command,
                  .pause = skip_pause,
                  .ntp_pid_path = "/nonexistent/chronyd.pid",
                  .password_changer = refuse_password};
    devnull = open("/dev/null", O_WRONLY | O_CLOEXEC);
    return devnull < 0 ? -1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) std::abort();
    int capacity = fcntl(fds[1], F_SETPIPE_SZ, 1 << 20);
    if (capacity > 0 && size > static_cast<size_t>(capacity)) size = static_cast<size_t>(capacity);
    if (size > 0 && write(fds[1], data, size) != static_cast<ssize_t>(size)) std::abort();
    close(fds[1]);
    recorded.clear();
    stop_requested = 0;
    child_changed = 0;
    parent_link link{.from_engine = fds[0], .to_engine = devnull, .engine = 0};
    parent_loop(link);
    char rest;
    if (read(fds[0], &rest, 1) != 0) std::abort();
    close(fds[0]);
    for (const std::string &command : recorded)
        if (!allowed(command)) std::abort();
    return 0;
}
