// Traffic statistics of the wired interface and of the CAN buses.
#include "reply/reply.h"
#include "state/stats/stats.h"

#include "capability.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

int capability_count(const char *name)
{
    char *value = capability_value(name);
    if (!value) return -1;
    long count = std::strtol(value, nullptr, 0);
    std::free(value);
    // A product names a handful of units; a wild value must not make a query run for hours.
    return static_cast<int>(std::clamp(count, 0L, 256L));
}

int net_stats(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    interface_counters(*reply, "eth0");
    snmp_counters(*reply, "/proc/net/snmp");
    return STATE_DONE;
}

int can_info(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    int count = capability_count("can");
    if (count < 0) return STATE_NO_VALUE;
    for (int bus = 0; bus < count; ++bus) {
        char ifname[16];
        std::snprintf(ifname, sizeof ifname, "can%d", bus);
        reply_printf(*reply, "<canbus index=\"%d\">\n", bus + 1);
        interface_counters(*reply, ifname);
        reply->append("</canbus>\n");
    }
    return STATE_DONE;
}
