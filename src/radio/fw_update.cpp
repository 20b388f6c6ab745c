// fw_update: asks the radio library to schedule a firmware update of a node (or of the gateway's
// own radio); its progress shows in the node's discover record.
#include "base/xml.h"
#include "radio/attributes.h"
#include "radio/errors.h"
#include "radio/subcommands.h"
#include "reply/reply.h"

#include <strings.h>

#include <array>
#include <cstdlib>
#include <cstring>

namespace
{

struct recover_mode {
    const char *prefix; // compared in any letter case
    int code;
};

constexpr std::array recover_modes{
    recover_mode{.prefix = "true", .code = RECOVER_YES},
    recover_mode{.prefix = "only", .code = RECOVER_YES},
    recover_mode{.prefix = "never", .code = RECOVER_NEVER},
};

// The echo of a recover code; "true" and "only" share code 1 and differ by what was said.
const char *recover_echo(int code, bool said_true)
{
    if (code == RECOVER_NEVER) return " recover=\"never\"";
    if (code == RECOVER_YES) return said_true ? " recover=\"true\"" : " recover=\"only\"";
    return "";
}

struct update_request {
    uint8_t target[8] = {};
    uint8_t updater[8] = {}; // all zero: no updater node
    int recover = RECOVER_NONE;
    uint8_t network = 0;
    int block_retry_max = 0;
};

// The attribute that the first failed check of target and updater names, or nullptr.
const char *read_addresses(xmlNodePtr element, update_request &u)
{
    if (read_node_address(element, "target", u.target) < 0) return "target";
    if (read_node_address(element, "updater", u.updater) < 0) return "updater";
    return nullptr;
}

// block_retry_max reads as atoi reads (no digits: 0) and must lie within 0 to 255.
bool read_retries(xmlNodePtr element, update_request &u)
{
    xml::text_ptr text = attribute(element, "block_retry_max");
    if (!text) return true;
    long retries = std::strtol(xml::chars(text.get()), nullptr, 10);
    u.block_retry_max = static_cast<int>(retries);
    return retries >= 0 && retries <= 255;
}

// The retries, then the schedule.
int schedule(reply_buffer &reply, xmlNodePtr element, update_request &u, const char *file)
{
    if (!read_retries(element, u)) {
        pelk_error(reply, PELK_INVALID_PARAMETER, "block_retry_max");
        return -1;
    }
    int result =
        radio_schedule_update(u.target, u.network, u.updater, file, u.recover, u.block_retry_max);
    if (result < 0) {
        pelk_error(reply, PELK_FIRMWARE_ERROR, radio_error_string(result));
        return -1;
    }
    return 0;
}

int fw_update(reply_buffer &reply, xmlNodePtr element)
{
    xml::text_ptr file = attribute(element, "file");
    if (!file) {
        pelk_error(reply, PELK_MISSING_PARAMETER, "file");
        return -1;
    }
    update_request u;
    // Without a target the gateway's own radio is updated.
    if (int result = radio_get_gateway_address(u.target); result < 0) {
        pelk_error(reply, PELK_FIRMWARE_ERROR, radio_error_string(result));
        return -1;
    }
    if (const char *invalid = read_addresses(element, u)) {
        pelk_error(reply, PELK_INVALID_PARAMETER, invalid);
        return -1;
    }
    bool said_true = false;
    xml::text_ptr recover = attribute(element, "recover");
    u.recover = parse_recover(xml::chars(recover.get()), &said_true);
    reply.append(recover_echo(u.recover, said_true));
    int network = close_with_network(reply, element);
    if (network < 0) return -1;
    u.network = static_cast<uint8_t>(network);
    return schedule(reply, element, u, xml::chars(file.get()));
}

} // namespace

int parse_recover(const char *text, bool *said_true)
{
    for (const recover_mode &mode : recover_modes) {
        if (!text || strncasecmp(text, mode.prefix, std::strlen(mode.prefix)) != 0) continue;
        if (&mode == &recover_modes[0]) *said_true = true;
        return mode.code;
    }
    return RECOVER_NONE;
}

int pelk_fw_update(reply_buffer &reply, xmlNodePtr element)
{
    return within_element(reply, "fw_update", fw_update, element);
}
