#include "base/log.h"
#include "base/shell.h"
#include "supervisor/root_daemon.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace
{

int run_in_shell(const char *command)
{
    return std::system(command);
}

// The privileged commands. Each row holds the fixed command line (for set_date the format that
// builds it), the success line logged at LOG_INFO with system()'s raw value and the exit status
// (nullptr: nothing is logged on success), and the failure line logged with the exit status at
// `failure_priority`. Rows are in command_id order.
struct command_row {
    const char *command;
    const char *success;
    const char *failure;
    int failure_priority;
};

enum command_id : size_t { REBOOT, SET_DATE, GENERATE, TUNNEL, FIRMWARE, REVERT };

constexpr std::array command_table{
    command_row{.command = "/sbin/reboot",
                .success = "reset succeeded with return value %d, exit status %d\n",
                .failure = "reset failed, exit status %d",
                .failure_priority = LOG_CRIT},
    command_row{.command = "/bin/date%s -s '%s' && /sbin/hwclock -u -w",
                .success = "set_date succeeded with return value %d, exit status %d\n",
                .failure = "set_date failed, exit status %d",
                .failure_priority = LOG_CRIT},
    command_row{.command = "/usr/bin/python /etc/vexa/generate/generate.pyc",
                .success = "generate succeeded with return value %d, exit status %d\n",
                .failure = "generate failed, exit status %d",
                .failure_priority = LOG_CRIT},
    command_row{.command = "/etc/init.d/nimbod_stunnel start",
                .success = "start stunnel succeeded with return value %d, exit status %d\n",
                .failure = "start stunnel failed, exit status %d",
                .failure_priority = LOG_CRIT},
    command_row{.command = "output=$(/usr/bin/vexa_update_firmware 2>&1); status=$?; echo "
                           "\"${output}\" | logger -p local5.notice; exit $status",
                .success =
                    "firmware update succeeded with return value %d, exit status %d, rebooting.\n",
                .failure = "firmware update failed, exit status %d",
                .failure_priority = LOG_CRIT},
    command_row{.command =
                    "set -e; umask 077; pw=$(/sbin/boardenv --print upasswd); if [ -z "
                    "\"$pw\" ]; then  /bin/cp /etc/.shadowbak /etc/shadow;else  /bin/grep "
                    "-vE '^(python):' /etc/.shadowbak > /etc/shadow || true;  echo "
                    "\"python:${pw#*=}:::::::\" >> /etc/shadow;fi; /bin/chmod 600 /etc/shadow",
                .success = nullptr,
                .failure = "Password revert failed, exit status %d",
                .failure_priority = LOG_ERR},
};

// Runs the row's command line, or `command` when the row's line is a format, and logs the
// outcome. Returns 0 on success, else -1; *raw receives system()'s value.
int run_command(command_id id, const char *command = nullptr, int *raw = nullptr)
{
    const command_row &row = command_table.at(id);
    shell_status status{};
    int result = shell_judge(root_hooks.command_runner(command ? command : row.command), &status);
    if (raw) *raw = status.raw;
    if (result == 0) {
        if (row.success) log_msg(LOG_INFO, row.success, status.raw, status.exit_status);
        return 0;
    }
    log_msg(row.failure_priority, row.failure, status.exit_status);
    return -1;
}

} // namespace

parent_hooks root_hooks{
    .command_runner = run_in_shell,
    .pause = sleep,
    .ntp_pid_path = "/var/run/chronyd.pid",
    .password_changer = pam_change_password,
};

// The pause lets the engine finish and send the reply that announced the reboot.
int reboot_action(const char *, size_t)
{
    root_hooks.pause(3);
    return run_command(REBOOT);
}

// The letter's rule has kept quotes and control characters out of the date text, so it stays
// inside its quotes on the command line; the date tool judges the rest, so the forms set_state
// sends by design (a trailing "Z" among them) get through.
int set_date(const char *payload, size_t)
{
    struct stat info = {};
    if (stat(root_hooks.ntp_pid_path, &info) == 0) {
        log_msg(LOG_WARNING, "Date set ignored because ntp is enabled.");
        return 0;
    }
    char command[76];
    std::snprintf(command, sizeof command, command_table[SET_DATE].command,
                  payload[0] == 'u' ? " -u" : "", payload + 1);
    std::printf("Sending set_date command: %s\n", command);
    std::fflush(stdout);
    return run_command(SET_DATE, command);
}

int generate_action(const char *, size_t)
{
    return run_command(GENERATE);
}

int start_tunnel(const char *, size_t)
{
    return run_command(TUNNEL);
}

// The engine asks for the reboot itself once it has seen success, so success here is strict:
// system() must have returned exactly 0.
int apply_firmware(const char *, size_t)
{
    int raw = -1;
    run_command(FIRMWARE, nullptr, &raw);
    return raw == 0 ? 0 : -1;
}

int revert_passwords(const char *, size_t)
{
    return run_command(REVERT);
}
