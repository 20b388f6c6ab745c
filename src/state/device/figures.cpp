// The providers of device_stats' running figures. A figure that cannot be read is written as 0;
// file contents go through the reply's escaper, so that no value can break the reply.
#include "base/log.h"
#include "base/readers.h"
#include "base/xml.h"
#include "commands/firmware_state.h"
#include "reply/reply.h"
#include "state/device/providers.h"
#include "state/device/system_info.h"

#include "capability.h"

#include <cerrno>
#include <cinttypes>
#include <string>

namespace
{

constexpr const char *temperature_file = "/sys/devices/platform/mx28-hwmon.0/temp0_input";
constexpr const char *service_hours_file = "/userfs/system/service_hours";
// Both files hold a number; more than this is not a value.
constexpr size_t value_limit = 4096;

// The file's content without its final line feed; what was read before a failed read is kept.
// 0, or -1 with errno.
int read_value(const char *path, size_t piece, std::string &text)
{
    int result = read_file(path, piece, value_limit, text);
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return result;
}

} // namespace

int cpu(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    int load = 0;
    if (getcpuload(&load) < 0) load = 0;
    reply_printf(*reply, "%d", load);
    return STATE_DONE;
}

int uptime(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    double seconds = 0;
    if (getuptime(&seconds) < 0) seconds = 0;
    reply_printf(*reply, "%.2lf", seconds);
    return STATE_DONE;
}

int memory(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &arg)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    uint64_t total = 0, free = 0;
    if (getmeminfo(&total, &free) < 0) total = free = 0;
    uint64_t figure = arg.selector == MEMORY_TOTAL  ? total
                      : arg.selector == MEMORY_USED ? total - free
                                                    : free;
    reply_printf(*reply, "%" PRIu64, figure);
    return STATE_DONE;
}

int firmwarestate(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    switch (firmware_state.load()) {
    case FIRMWARE_IDLE:
        reply->append("running");
        break;
    case FIRMWARE_UPDATING:
        reply->append("updating");
        break;
    case FIRMWARE_FAILED:
        reply->append("updatefailed");
        break;
    default:
        reply->append("unknown");
        break;
    }
    return STATE_DONE;
}

// The value is passed on as the hardware-monitor driver writes it, unit and all.
int cputemp(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    std::string text;
    int result = read_value(temperature_file, 10, text);
    int error = errno;
    reply->append_text(text);
    if (result < 0) {
        log_msg(LOG_ERR, "Error %d reading %s\n", error, temperature_file);
        reply_error(*reply, 2, "Descriptor not available",
                    element ? xml::chars(element->name) : "cputemp");
    }
    return STATE_DONE;
}

int servicehours(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    if (!capability_exists("svch")) return STATE_DONE;
    // No file means no hours yet; a file that cannot be read leaves the value empty.
    std::string text;
    if (read_value(service_hours_file, 20, text) == READ_OPEN_FAILED) text.push_back('0');
    reply->append("<servicehours>");
    reply->append_text(text);
    reply->append("</servicehours>");
    return STATE_DONE;
}
