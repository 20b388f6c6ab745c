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
state_provider_fn interface_mac;
state_provider_fn interface_link;
state_provider_fn interface_dhcp;
state_provider_fn interface_static;
state_provider_fn interface_ip;
state_provider_fn interface_subnet;
state_provider_fn interface_gateway;
// A file below "/sys/class/net/" (`arg.text`, e.g. "eth0/speed"), as the kernel writes it.
state_provider_fn eth_file;
// Self-tagged: <eth_power>on|off</eth_power> from the power switch's GPIO, or nothing.
state_provider_fn eth_power;
// A Wi-Fi client figure from "iwconfig wlan0" (`arg.text` is its label).
state_provider_fn wlan_client;
// An access-point figure from "wlan_status_tool status" (`arg.text` is its key).
state_provider_fn wlan_access_point;

// The dns_info group: seven <dns index="N"><name>ADDRESS</name></dns> entries.
state_provider_fn dns_info;

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
