#include "radio/pelk.h"
#include "state/device/providers.h"
#include "state/net/interface_info.h"
#include "state/stats/stats.h"

#include <array>

namespace
{

// The radio's group reads the same in either mode.
int zigbee_state_group(reply_buffer *reply, xmlNodePtr element, state_mode, const state_arg &)
{
    return zigbee_state(reply, element);
}

// The state groups in the order query_state lists them; a new group is one row here.
constexpr std::array state_group_rows{
    state_row{.name = "device_info",
              .provider = render_state_table,
              .arg = {.table = &device_info_fields}},
    state_row{.name = "zigbee_state",
              .provider = zigbee_state_group,
              .capability = "pelk",
              .self_tagged = true},
    state_row{.name = "mobile_stats", .provider = mobile_stats, .capability = "cell"},
    state_row{.name = "device_stats",
              .provider = render_state_table,
              .arg = {.table = &device_stats_fields}},
    state_row{.name = "interface_info",
              .provider = render_state_table,
              .arg = {.table = &eth0},
              .name_attr = "eth0",
              .capability = "ethernet"},
    state_row{.name = "interface_info",
              .provider = render_state_table,
              .arg = {.table = &wlan0},
              .name_attr = "wlan0",
              .capability = "wifi"},
    state_row{.name = "interface_info",
              .provider = render_state_table,
              .arg = {.table = &wlan1},
              .name_attr = "wlan1",
              .capability = "wifiap"},
    state_row{.name = "dns_info", .provider = dns_info},
    state_row{.name = "time_server_info", .provider = time_server_info, .self_tagged = true},
    state_row{.name = "gps_stats", .provider = gps_stats, .self_tagged = true},
    state_row{.name = "serial_stats", .provider = serial_stats, .self_tagged = true},
    state_row{.name = "net_stats", .provider = net_stats},
    state_row{.name = "python_info", .provider = python_info, .capability = "pyas"},
    state_row{.name = "can_info", .provider = can_info, .capability = "can"},
    state_row{.name = "tethra_info", .provider = tethra_info, .capability = "tethra"},
    state_row{.name = "bluetooth_state",
              .provider = bluetooth_state,
              .capability = "bt-ble",
              .self_tagged = true},
};

} // namespace

const state_table state_groups{state_group_rows};
