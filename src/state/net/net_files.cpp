// The probes that read the network files: the routing table, the interfaces file and the
// resolver files.
#include "base/log.h"
#include "base/readers.h"
#include "state/net/probes.h"
#include "state/text_lines.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>

namespace
{

constexpr std::string_view blanks = " \t\n";
// What a formatted scan counts as white space.
constexpr std::string_view white_space = " \t\n\r\f\v";

// Reads a network file whole; a failure is logged as "PROBE: error text".
int read_network_file(const char *path, std::string &text, const char *probe)
{
    if (read_file(path, 1024, system_text_limit, text) == 0) return 0;
    log_msg(LOG_ERR, "%s: %s\n", probe, std::strerror(errno));
    return -1;
}

int configured_as(const char *probe, const char *name, const char *method, int *flag)
{
    std::string text;
    if (read_network_file("/etc/network/interfaces", text, probe) < 0) return -1;
    *flag = interface_configured(text, name, method) ? 1 : 0;
    return 0;
}

} // namespace

// Lines are "Iface Destination Gateway ..." after one header line; a destination of 00000000 is
// the default route, and the gateway is the kernel's address word printed in hexadecimal.
in_addr_t route_gateway(std::string_view table, const char *name)
{
    text_lines lines(table, 254);
    std::string_view line;
    if (!lines.next(line)) return 0;
    while (lines.next(line)) {
        if (next_token(line, blanks) != name || next_token(line, blanks) != "00000000") continue;
        std::string_view gateway = next_token(line, blanks);
        in_addr_t addr = 0;
        std::from_chars(gateway.data(), gateway.data() + gateway.size(), addr, 16);
        return addr;
    }
    return 0;
}

int getgateway(const char *name, in_addr_t *addr)
{
    std::string text;
    if (read_network_file("/proc/net/route", text, "list routes") < 0) return -1;
    *addr = route_gateway(text, name);
    return 0;
}

// Only a stanza line in the first column counts: "iface NAME inet METHOD".
bool interface_configured(std::string_view interfaces, const char *name, const char *method)
{
    char stanza[96];
    std::snprintf(stanza, sizeof stanza, "iface %s inet %s", name, method);
    text_lines lines(interfaces, 255);
    std::string_view line;
    while (lines.next(line))
        if (line.starts_with(stanza)) return true;
    return false;
}

int getdhcp(const char *name, int *flag)
{
    return configured_as("getdhcp", name, "dhcp", flag);
}

int getstatic(const char *name, int *flag)
{
    return configured_as("getstatic", name, "static", flag);
}

void resolver_servers(std::string_view resolver, in_addr_t *slots)
{
    std::fill(slots, slots + dns_slots, 0);
    text_lines lines(resolver, 253);
    std::string_view line;
    size_t count = 0;
    while (count < dns_slots && lines.next(line)) {
        if (!line.starts_with("nameserver")) continue;
        line.remove_prefix(std::strlen("nameserver"));
        std::string_view server = next_token(line, white_space);
        if (server.empty()) continue;
        in_addr addr;
        if (inet_aton(std::string(server).c_str(), &addr)) slots[count] = addr.s_addr;
        ++count;
    }
}

int getdns(in_addr_t *slots)
{
    if (!slots) {
        log_msg(LOG_ERR, "dns\n");
        return -1;
    }
    std::string text;
    if (read_file("/var/run/dns.conf", 1024, system_text_limit, text) < 0 &&
        read_network_file("/etc/resolv.conf", text, "getdns") < 0)
        return -1;
    resolver_servers(text, slots);
    return static_cast<int>(dns_slots);
}
