// The statically configured position, reported as the GPS statistics.
#include "base/log.h"
#include "config/config.h"
#include "reply/reply.h"
#include "state/stats/stats.h"

#include "capability.h"

#include <array>
#include <cstring>
#include <utility>

namespace
{

// A setting that cannot be read counts as the coordinate 0.0.
void read_coordinate(const char *xpath, char (&value)[128])
{
    if (config_get_string(SAVE_CURRENT, xpath, value, sizeof value) < 0) std::strcpy(value, "0.0");
}

} // namespace

int gps_stats(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    if (!capability_exists("stpos")) return STATE_DONE;
    int32_t enabled = 0;
    if (config_get_bool(SAVE_CURRENT, "/config/static_position/enable", &enabled) < 0) {
        log_msg(LOG_ERR, "Failure reading gps_stats\n");
        reply->append("<gps_stats>");
        reply_error(*reply, 2, "Descriptor not available", "gps_stats");
        reply->append("</gps_stats>");
        return STATE_DONE;
    }
    if (!enabled) return STATE_DONE;
    char latitude[128], longitude[128];
    read_coordinate("/config/static_position/latitude", latitude);
    read_coordinate("/config/static_position/longitude", longitude);
    const std::array<std::pair<const char *, const char *>, 13> lines{{
        {"state", "Enabled With Fix"},
        {"description", "Statically Configured Parameters"},
        {"latitude", latitude},
        {"longitude", longitude},
        {"altitude_in_m", "Not Available"},
        {"speed_in_knots", "Not Available"},
        {"track_angle", "Not Available"},
        {"fix_time", "Not Available"},
        {"fix_date", "Not Available"},
        {"fix_quality", "Manual Input"},
        {"satellites_in_view", "Not Available"},
        {"hdop", "99.9"},
        {"satellite_snr_list", "Not Available"},
    }};
    reply->append("\n");
    reply_open_tag(*reply, "gps_stats", "static");
    reply->append("\n");
    for (const auto &[name, value] : lines)
        reply_text_element(*reply, name, value);
    reply->append("</gps_stats>\n");
    return STATE_DONE;
}
