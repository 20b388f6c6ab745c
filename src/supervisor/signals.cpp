#include "supervisor/process.h"

#include <array>

volatile sig_atomic_t stop_requested = 0;
volatile sig_atomic_t child_changed = 0;
volatile sig_atomic_t hangup_seen = 0;

void parent_signal_handler(int signal_number)
{
    switch (signal_number) {
    case SIGTERM:
    case SIGINT:
        stop_requested = 1;
        break;
    case SIGCHLD:
        child_changed = 1;
        break;
    case SIGHUP:
        hangup_seen = 1;
        break;
    default:
        break;
    }
}

void install_parent_signals()
{
    for (int signal_number : std::array{SIGTERM, SIGINT, SIGCHLD, SIGHUP})
        signal(signal_number, parent_signal_handler);
}
