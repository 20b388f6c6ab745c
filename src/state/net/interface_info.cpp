#include "state/net/interface_info.h"

#include "base/log.h"
#include "base/readers.h"
#include "base/xml.h"
#include "reply/reply.h"
#include "state/net/probes.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <string>

namespace
{

// What every interface has, in table order: its addressing and its default route.
constexpr std::array<state_row, 7> address_rows(const char *name)
{
    return {{
        {.name = "mac", .provider = interface_mac, .arg = {.text = name}},
        {.name = "link", .provider = interface_link, .arg = {.text = name}},
        {.name = "dhcp", .provider = interface_dhcp, .arg = {.text = name}},
        {.name = "static", .provider = interface_static, .arg = {.text = name}},
        {.name = "ip", .provider = interface_ip, .arg = {.text = name}},
        {.name = "subnet", .provider = interface_subnet, .arg = {.text = name}},
        {.name = "gateway", .provider = interface_gateway, .arg = {.text = name}},
    }};
}

// The field table of one interface: its address rows, then the rows of its own kind.
template <size_t N>
constexpr std::array<state_row, 7 + N> interface_rows(const char *name,
                                                      const std::array<state_row, N> &own)
{
    std::array<state_row, 7 + N> rows{};
    std::array<state_row, 7> common = address_rows(name);
    std::copy(common.begin(), common.end(), rows.begin());
    std::copy(own.begin(), own.end(), rows.begin() + 7);
    return rows;
}

constexpr auto eth0_rows = interface_rows(
    "eth0",
    std::array{
        state_row{.name = "eth_speed", .provider = eth_file, .arg = {.text = "eth0/speed"}},
        state_row{.name = "eth_duplex", .provider = eth_file, .arg = {.text = "eth0/duplex"}},
        state_row{.name = "eth_power",
                  .provider = eth_power,
                  .arg = {.text = "eth0"},
                  .self_tagged = true},
    });

constexpr auto wlan0_rows = interface_rows(
    "wlan0",
    std::array{
        state_row{.name = "wlan_ssid", .provider = wlan_client, .arg = {.text = "ESSID"}},
        state_row{.name = "wlan_bssid", .provider = wlan_client, .arg = {.text = "Access Point"}},
        state_row{.name = "wlan_freq", .provider = wlan_client, .arg = {.text = "Frequency"}},
        state_row{.name = "wlan_rate", .provider = wlan_client, .arg = {.text = "Bit Rate"}},
        state_row{.name = "wlan_rssi", .provider = wlan_client, .arg = {.text = "Signal level"}},
        state_row{.name = "wlan_power", .provider = wlan_client, .arg = {.text = "Tx-Power"}},
    });

// "\nssid" finds only a line that starts with ssid, never bssid.
constexpr auto wlan1_rows = interface_rows(
    "wlan1",
    std::array{
        state_row{.name = "wlan_ap_ssid", .provider = wlan_access_point, .arg = {.text = "\nssid"}},
        state_row{.name = "wlan_ap_bssid", .provider = wlan_access_point, .arg = {.text = "bssid"}},
        state_row{.name = "wlan_ap_pairwise_cipher",
                  .provider = wlan_access_point,
                  .arg = {.text = "pairwise_cipher"}},
        state_row{.name = "wlan_ap_group_cipher",
                  .provider = wlan_access_point,
                  .arg = {.text = "group_cipher"}},
        state_row{
            .name = "wlan_ap_key_mgmt", .provider = wlan_access_point, .arg = {.text = "key_mgmt"}},
    });

int on_off(reply_buffer *reply, state_mode mode, int (*probe)(const char *, int *),
           const char *name)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    int flag = 0;
    if (probe(name, &flag) < 0) flag = 0;
    reply->append(flag ? "on" : "off");
    return STATE_DONE;
}

// A failed probe prints as 0.0.0.0.
int address(reply_buffer *reply, state_mode mode, int (*probe)(const char *, in_addr_t *),
            const char *name)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    in_addr_t addr = 0;
    if (probe(name, &addr) < 0) addr = 0;
    reply->append(format_ipv4(addr).text);
    return STATE_DONE;
}

void trim_line_feed(reply_buffer &reply)
{
    if (reply.view().ends_with('\n')) reply.truncate(reply.size() - 1);
}

} // namespace

const state_table eth0{eth0_rows};
const state_table wlan0{wlan0_rows};
const state_table wlan1{wlan1_rows};

ipv4_text format_ipv4(in_addr_t addr)
{
    uint32_t host = ntohl(addr);
    ipv4_text out;
    std::snprintf(out.text, sizeof out.text, "%u.%u.%u.%u", host >> 24, (host >> 16) & 0xff,
                  (host >> 8) & 0xff, host & 0xff);
    return out;
}

int interface_mac(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &arg)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    unsigned char mac[6];
    if (getmac(arg.text, mac) < 0) return -1;
    reply_printf(*reply, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4],
                 mac[5]);
    return STATE_DONE;
}

int interface_link(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &arg)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    reply->append(getlink(arg.text) > 0 ? "on" : "off");
    return STATE_DONE;
}

int interface_dhcp(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &arg)
{
    return on_off(reply, mode, getdhcp, arg.text);
}

int interface_static(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &arg)
{
    return on_off(reply, mode, getstatic, arg.text);
}

int interface_ip(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &arg)
{
    return address(reply, mode, getip, arg.text);
}

int interface_subnet(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &arg)
{
    return address(reply, mode, getsubnet, arg.text);
}

int interface_gateway(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &arg)
{
    return address(reply, mode, getgateway, arg.text);
}

// The kernel refuses some reads, such as the speed of a link that is down: then the field holds
// the error element, after whatever came before the failure.
int eth_file(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    if (!arg.text) return STATE_INVALID;
    char path[80];
    std::snprintf(path, sizeof path, "/sys/class/net/%s", arg.text);
    int result = append_file(*reply, path, 10);
    int error = errno;
    trim_line_feed(*reply);
    if (result < 0) {
        log_msg(LOG_ERR, "Error %d reading %s\n", error, path);
        reply_error(*reply, 2, "Descriptor not available",
                    element ? xml::chars(element->name) : nullptr);
    }
    return STATE_DONE;
}

// Without the GPIO file the product has no switch, and the field is left out.
int eth_power(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    std::string value;
    if (read_file("/var/run/gpio/ac_pwr_off/value", 1024, 10, value) < 0 || value.empty())
        return STATE_DONE;
    reply_printf(*reply, "<eth_power>%s</eth_power>\n", value[0] == '1' ? "on" : "off");
    return STATE_DONE;
}

int dns_info(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    in_addr_t slots[dns_slots];
    if (getdns(slots) < 0) return -1;
    for (size_t i = 0; i < dns_slots; ++i)
        reply_printf(*reply, "<dns index=\"%zu\"><name>%s</name></dns>", i + 1,
                     format_ipv4(slots[i]).text);
    return STATE_DONE;
}
