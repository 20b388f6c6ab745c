#include "base/log.h"
#include "supervisor/process.h"

#include <sys/wait.h>

#include <cstring>

int reap_lost_child(pid_t pid, const char *label)
{
    int status = 0;
    if (waitpid(pid, &status, WNOHANG) < 1) return 0;
    if ((status & 0x7f) == 0x7f) return 0;
    if (WIFSIGNALED(status)) {
        int signal_number = WTERMSIG(status);
        const char *text = strsignal(signal_number);
        log_msg(LOG_WARNING, "Lost child: %s terminated; signal %d (%s)", label, signal_number,
                text ? text : "unknown");
        return 1;
    }
    if (WIFEXITED(status)) {
        log_msg(LOG_WARNING, "Lost child: %s exited", label);
        return 1;
    }
    return 0;
}
