// The privileged parent: its loop over the letters that the engine sends, and the actions it
// carries out for them as root.
#pragma once

#include <sys/types.h>

#include <cstddef>

// What the actions reach outside the process. The daemon keeps the defaults; tests and the fuzz
// target record the command lines instead of running them.
struct parent_hooks {
    int (*command_runner)(const char *command); // std::system
    unsigned (*pause)(unsigned seconds);        // sleep
    const char *ntp_pid_path;                   // "/var/run/chronyd.pid"
    // pam_change_password
    int (*password_changer)(const char *user, const char *current, const char *replacement);
};
extern parent_hooks root_hooks;

// A privileged action: the payload (nullptr for letters without one) and its length in; 0 when
// the action succeeded, negative otherwise. Actions that answer the engine answer from this.
using parent_action = int (*)(const char *payload, size_t length);

int reboot_action(const char *payload, size_t length);
int set_date(const char *payload, size_t length);
int generate_action(const char *payload, size_t length);
int start_tunnel(const char *payload, size_t length);
int apply_firmware(const char *payload, size_t length);
int revert_passwords(const char *payload, size_t length);
// The password change: the payload is login, current and new password with 0x1E between them.
int read_password_request(const char *payload, size_t length);

// Changes `user`'s password through PAM (service "vexacsd") after checking the current one:
// 0 changed, -1 otherwise. Only the accounts "admin" and "python" may be changed.
int pam_change_password(const char *user, const char *current, const char *replacement);
// 1 when `user` is one of the changeable accounts, has a shadow entry and is not locked ("*").
int user_may_change_password(const char *user);

// The parent's ends of the two pipes and the engine it watches.
struct parent_link {
    int from_engine; // read end of the parent pipe
    int to_engine;   // write end of the child pipe
    pid_t engine;    // 0 when there is no engine (any more) to watch
};

// Serves the engine's letters until stop_requested is set. Ends by itself, setting
// stop_requested, when the engine is lost, or when the pipe reaches end of file and there is no
// engine to wait for.
void parent_loop(parent_link &link);
