// Shell command lines and the one rule that judges them: a command has succeeded when system()
// did not fail and the exit-status byte of its result is 0. Messages quote that byte as the
// "exit status".
#pragma once

struct shell_status {
    int raw;         // system()'s result
    int exit_status; // the exit-status byte of that result
};

// Judges a result of system(): 0 on success, else -1; fills *status.
int shell_judge(int raw, shell_status *status);

// Runs a command line that is formed only from fixed paths, never from request text, and judges
// it.
int run_shell(const char *command, shell_status *status);
