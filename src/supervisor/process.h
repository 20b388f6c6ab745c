// The daemon's two processes: command line, the privileged parent's start-up state and signals,
// the engine's creation and start sequence, the detection of a lost engine and the watchdog
// heartbeat that both processes send.
#pragma once

#include <signal.h>
#include <sys/types.h>

// Set by SIGTERM, SIGINT, a poll error or a lost engine; ends the parent loop.
extern volatile sig_atomic_t stop_requested;
// Set by SIGCHLD; the parent loop clears it once it has looked at the engine.
extern volatile sig_atomic_t child_changed;
// Set by SIGHUP, which is caught only so that it cannot end the parent.
extern volatile sig_atomic_t hangup_seen;

// Parses "vndh?i:c:" and returns whether the parent stays in the foreground (-n). Raises
// debug_level once per -d. Ends the process for -v (status 1) and for usage (status 2).
bool parse_options(int argc, char **argv);
// argv[0] from the character after its last "/".
const char *program_name(const char *argv0);

// Only stores flags: all work happens in the parent loop.
void parent_signal_handler(int signal_number);
// Routes SIGTERM, SIGINT, SIGCHLD and SIGHUP to parent_signal_handler.
void install_parent_signals();

// Forks the engine. Returns its pid in the parent, or -1 (logged) when fork fails; the engine
// itself never returns from here.
pid_t start_engine(const int parent_pipe[2], const int child_pipe[2]);
// The engine's start sequence, then idles forever while its threads serve requests.
void engine_main();

// 1 when process `pid` has ended (logged with `label`), 0 when it runs on or nothing is known.
int reap_lost_child(pid_t pid, const char *label);

// Reads the uptime in seconds; 0, or a negative errno.
using uptime_source = int (*)(unsigned long *seconds);
// Sends a heartbeat to the watchdog supervisor unless this process sent one during the last 300
// seconds of uptime.
void watchdog_heartbeat();
// Replaces the uptime reading (sysinfo) for tests; nullptr restores it.
void heartbeat_use_uptime_source(uptime_source source);
