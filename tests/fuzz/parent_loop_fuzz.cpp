// Feeds arbitrary bytes to the privileged parent's loop through a real pipe, the way a confused or
// hostile engine could, with the shell commands recorded instead of run. Every command must be
// one of the fixed command lines, or a set_date line whose date cannot leave its quotes; the loop
// must end at the end of file, having read every byte.
#include "base/log.h"
#include "supervisor/process.h"
#include "supervisor/root_daemon.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace
{

std::vector<std::string> recorded;
int devnull = -1;

// The fixed lines are known by their start; only the date line carries text from the engine.
bool allowed(std::string_view command)
{
    for (std::string_view fixed :
         {"/sbin/reboot", "/usr/bin/python /etc/vexa/generate/", "/etc/init.d/nimbod_stunnel ",
          "output=$(/usr/bin/vexa_update_firmware ", "set -e; umask 077; "})
        if (command.starts_with(fixed)) return true;
    bool date = command.starts_with("/bin/date -s '") || command.starts_with("/bin/date -u -s '");
    if (!date || !command.ends_with("' && /sbin/hwclock -u -w")) return false;
    return std::count(command.begin(), command.end(), '\'') == 2 &&
           std::none_of(command.begin(), command.end(),
                        [](unsigned char c) { return c < 0x20 || c == 0x7f; });
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    log_set_sink([](int, const char *) {});
    static char sim_dir[] = "/tmp/vexa-fuzz-XXXXXX";
    if (!mkdtemp(sim_dir)) std::abort();
    setenv("VEXA_SIM_DIR", sim_dir, 1);
    // Alternating results, so that failure paths and answers of both kinds are explored. The
    // password request has a fuzz target of its own; here only the loop around it is explored.
    root_hooks = {.command_runner =
                      [](const char *command) {
                          recorded.emplace_back(command);
                          return recorded.size() % 2 ? 0 : 256;
                      },
                  .pause = [](unsigned) { return 0u; },
                  .ntp_pid_path = "/nonexistent/chronyd.pid",
                  .password_changer = [](const char *, const char *, const char *) { return -1; }};
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
