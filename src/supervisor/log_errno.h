// The supervisor's system-call failures all report errno the same way.
#pragma once

// Logs `fmt`, whose two conversions are "%d" and "%s", with errno and its text.
void log_errno(int priority, const char *fmt);
