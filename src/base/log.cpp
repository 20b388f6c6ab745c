#include "base/log.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

int debug_level = 0;

namespace
{
log_sink current_sink = nullptr;
}

void log_open()
{
    openlog("vexacsd", LOG_PID, LOG_LOCAL5);
}

void log_set_sink(log_sink sink)
{
    current_sink = sink;
}

void log_msg(int priority, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    if (current_sink) {
        char text[1024];
        vsnprintf(text, sizeof text, fmt, ap);
        current_sink(priority, text);
    } else {
        vsyslog(priority, fmt, ap);
    }
    va_end(ap);
}

void trace(const char *fmt, ...)
{
    if (debug_level == 0) return;
    va_list ap;
    va_start(ap, fmt);
    vprintf(fmt, ap);
    va_end(ap);
}

void log_errno(int priority, const char *fmt)
{
    int err = errno;
    log_msg(priority, fmt, err, strerror(err));
}
