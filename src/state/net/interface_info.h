// The interface_info field tables (the wired, the Wi-Fi client and the access-point interface),
// their providers, and the dns_info group.
#pragma once

#include "state/state_table.h"

#include <netinet/in.h>

#include <optional>
#include <string_view>

extern const state_table eth0;
extern const state_table wlan0;
extern const state_table wlan1;

// Providers of the fields; `arg.text` is the interface name unless said otherwise.
int interface_mac(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
int interface_link(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
int interface_dhcp(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
int interface_static(reply_buffer *reply, xmlNodePtr element, state_mode mode,
                     const state_arg &arg);
int interface_ip(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
int interface_subnet(reply_buffer *reply, xmlNodePtr element, state_mode mode,
                     const state_arg &arg);
int interface_gateway(reply_buffer *reply, xmlNodePtr element, state_mode mode,
                      const state_arg &arg);
// A file below "/sys/class/net/" (`arg.text`, e.g. "eth0/speed"), as the kernel writes it.
int eth_file(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
// Self-tagged: <eth_power>on|off</eth_power> from the power switch's GPIO, or nothing.
int eth_power(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
// A Wi-Fi client figure from "iwconfig wlan0" (`arg.text` is its label).
int wlan_client(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
// An access-point figure from "wlan_status_tool status" (`arg.text` is its key).
int wlan_access_point(reply_buffer *reply, xmlNodePtr element, state_mode mode,
                      const state_arg &arg);

// The dns_info group: seven <dns index="N"><name>ADDRESS</name></dns> entries.
int dns_info(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);

// An address in network byte order as a dotted quad.
struct ipv4_text {
    char text[16];
};
ipv4_text format_ipv4(in_addr_t addr);

// The value that a Wi-Fi tool prints after `label`: the label, one separator character, an
// optional opening double quote, then the value up to `terminator` less a closing double quote
// right before it. Nothing when the label or the terminator after it is missing.
std::optional<std::string_view> tool_value(std::string_view output, std::string_view label,
                                           std::string_view terminator);
