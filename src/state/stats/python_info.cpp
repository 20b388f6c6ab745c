#include "reply/reply.h"
#include "state/stats/stats.h"

#include <sys/stat.h>

#include <cstdio>

// A script slot runs while its marker file exists.
int python_info(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    for (int slot = 1; slot <= 4; ++slot) {
        char marker[80];
        std::snprintf(marker, sizeof marker, "/tmp/py_run%d", slot);
        struct stat info;
        reply_printf(*reply, "<python index=\"%d\"><state>%s</state></python>\n", slot,
                     stat(marker, &info) == 0 ? "running" : "stopped");
    }
    return STATE_DONE;
}
