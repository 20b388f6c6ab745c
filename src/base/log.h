// Logging and developer traces shared by both processes.
//
// Every message goes to syslog (ident "vexacsd", LOG_PID, LOG_LOCAL5) at the priority the
// caller names. Tests install a sink to read the lines back instead of reaching syslog.
// Traces are the developer's printf lines; they cost a formatted write per call on the request
// path, so they are printed only when the daemon runs with -d.
#pragma once

#include <syslog.h>

extern int debug_level;

void log_open();
void log_msg(int priority, const char *fmt, ...) __attribute__((format(printf, 2, 3)));
void trace(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
// Logs `fmt`, whose two conversions are "%d" and "%s", with errno and its text: system-call
// failures all report errno the same way.
void log_errno(int priority, const char *fmt);

using log_sink = void (*)(int priority, const char *text);
// Routes log_msg to `sink` instead of syslog; nullptr restores syslog.
void log_set_sink(log_sink sink);
