// The state catalogue: values the radios report, listed by query_state and zigbee_state.
#include "radio/catalogue_rows.h"

#include <array>

namespace
{

// clang-format off
constexpr auto state_rows = std::to_array<catalogue_row>({
//              field                command type kinds  unit          description
    state_field("pan_id",            "ID", 1, 0x98f2, "",           "PAN identifier"),
    state_field("pan_id",            "OP", 1, 0x8004, "",           "PAN identifier"),
    state_field("pan_id",            "OI", 1, 0x8708, "",           "PAN identifier"),
    state_field("ext_pan_id",        "OP", 4, 0x8708, "",           "Extended PAN identifier"),
    state_field("channel",           "CH", 1, 0x872e, "",           "Operating channel"),
    state_field("channel_mask",      "CM", 1, 0x9000, "",           "Channel mask"),
    state_field("net_addr",          "MY", 1, 0x870e, "",           "Network address"),
    state_field("parent_addr",       "MP", 1, 0x8708, "",           "Parent address"),
    state_field("association",       "AI", 1, 0x870e, "",           "Association indication"),
    state_field("firmware_version",  "VR", 1, 0x9fff, "",           "Firmware version"),
    state_field("hardware_version",  "HV", 1, 0x9fff, "",           "Hardware version"),
    state_field("hardware_series",   "HS", 1, 0x9800, "",           "Hardware series"),
    state_field("device_type",       "DD", 1, 0x9cfe, "",           "Device type identifier"),
    state_field("ack_failures",      "EA", 0, 0x9c0a, "",           "ACK failures"),
    state_field("avail_freqs",       "AF", 4, 0x8800, "bitfield",   "Available frequencies"),
    state_field("cca_failures",      "EC", 0, 0x8002, "",           "CCA failures"),
    state_field("children",          "NC", 0, 0x870c, "",           "Number of remaining children"),
    state_field("config_code",       "CK", 0, 0x98f0, "",           "Configuration code"),
    state_field("duty_cycle",        "DC", 0, 0x8040, "%",          "Duty cycle available"),
    state_field("good_packets",      "GD", 0, 0x98f0, "",           "Good packets"),
    state_field("max_payload",       "NP", 0, 0x9ff8, "bytes",      "Maximum RF payload"),
    state_field("missed_sync_msg",   "MS", 0, 0x9830, "",           "Missed sync messages"),
    state_field("missed_syncs",      "SQ", 0, 0x9830, "",           "Missed sync count"),
    state_field("preamble_id",       "HP", 0, 0x9840, "",           "Preamble ID"),
    state_field("rf_errors",         "ER", 0, 0x98f0, "",           "RF errors"),
    state_field("rssi",              "DB", 0, 0x9fff, "-dBm",       "Received signal strength"),
    state_field("sleep_status",      "SS", 1, 0x9830, "bitfield",   "Sleep status"),
    state_field("operating_sleep",   "OS", 0, 0x9830, "x 10 msecs", "Operating sleep time"),
    state_field("stack_profile",     "ZS", 0, 0x8100, "",           "ZigBee stack profile"),
    state_field("supply_voltage",    "%V", 0, 0x9fdc, "mvolts",     "Supply voltage"),
    state_field("temperature",       "TP", 0, 0x9fd8, "degrees C",  "Temperature"),
    state_field("min_freq_count",    "MF", 0, 0x8800, "",           "Minimum frequency count"),
    state_field("tx_bytes",          "BC", 0, 0x98f0, "",           "Bytes transmitted"),
    state_field("tx_errors",         "TR", 0, 0x98f0, "",           "Transmission errors"),
    state_field("tx_power",          "PP", 0, 0x8708, "dBm",        "Transmit power at PL4"),
    state_field("unicast_count",     "UA", 0, 0x9800, "",           "Unicast transmission count"),
    state_field("unicast_timeout",   "%H", 0, 0x9840, "msec",       "MAC unicast one hop timeout"),
    state_field("broadcast_timeout", "%8", 0, 0x9840, "msec",       "MAC broadcast one hop timeout"),
    state_field("reset_number",      "R#", 0, 0x9040, "",           "Reset number"),
    state_field("verify_cert",       "VC", 0, 0x8300, "",           "Verify certificate"),
    state_field("operating_wake",    "OW", 0, 0x9830, "msecs",      "Operating wake time"),
    state_field("version_long",      "VL", 3, 0x9830, "",           "Detailed version information"),
});
// clang-format on
static_assert(state_rows.size() == 42);

} // namespace

const catalogue state_catalogue{state_rows};
