// Providers of the state groups that write a whole block of statistics, and what they share.
#pragma once

#include "state/state_table.h"

#include <cstdint>
#include <optional>
#include <string_view>

state_provider_fn mobile_stats;
state_provider_fn time_server_info;
state_provider_fn gps_stats;
state_provider_fn serial_stats;
state_provider_fn net_stats;
state_provider_fn python_info;
state_provider_fn can_info;
state_provider_fn tethra_info;
// Runs its query in either mode; without a reply buffer it cannot write and returns -1.
state_provider_fn bluetooth_state;

// Writes the four traffic counters of one network interface, from "/proc/net/dev".
void interface_counters(reply_buffer &reply, const char *ifname);
// Writes every counter of a file laid out as "/proc/net/snmp".
void snmp_counters(reply_buffer &reply, const char *path);

// The parsers behind them, on text. interface_counter_line takes the interface's line of
// "/proc/net/dev"; snmp_counter_text takes the whole file.
void interface_counter_line(reply_buffer &reply, std::string_view line);
void snmp_counter_text(reply_buffer &reply, std::string_view text);
// The peer address of the first established connection to local TCP port `port` in the output
// of "netstat -tn", or nothing.
std::optional<std::string_view> netstat_peer(std::string_view netstat, uint16_t port);

// The number of units a product capability counts (serial ports, CAN buses): its value read as
// decimal, 0x hexadecimal or leading-zero octal, limited to 0..256; -1 without the capability.
int capability_count(const char *name);
// Appends <NAME>TEXT</NAME> and a line feed, TEXT escaped.
void reply_text_element(reply_buffer &reply, std::string_view name, std::string_view text);
