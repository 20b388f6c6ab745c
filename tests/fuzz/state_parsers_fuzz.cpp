// Feeds arbitrary bytes, as a tool's output or a system file, to the parsers of the state
// providers: the Wi-Fi tool value extraction, the SNMP and interface counter readers, the
// netstat scan, and the routing, interfaces and resolver file parsers. Counter output must stay
// a well-formed fragment; every value found must lie inside the input.
#include "base/xml.h"
#include "state/net/interface_info.h"
#include "state/net/probes.h"
#include "state/stats/stats.h"

#include <cstdint>
#include <cstdlib>

namespace
{

std::string_view input;

void require_inside(std::optional<std::string_view> value)
{
    if (value && (value->data() < input.data() ||
                  value->data() + value->size() > input.data() + input.size()))
        std::abort();
}

void require_well_formed(void (*write)(reply_buffer &, std::string_view))
{
    reply_buffer reply;
    reply.append("<r>");
    write(reply, input);
    reply.append("</r>");
    if (!xml::parse_memory(reply.c_str(), static_cast<int>(reply.size()))) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    input = std::string_view(reinterpret_cast<const char *>(data), size);
    for (const char *label : {"ESSID", "Access Point", "\nssid", "key_mgmt"}) {
        require_inside(tool_value(input, label, "  "));
        require_inside(tool_value(input, label, "\n"));
    }
    for (uint16_t port : {2101, 0, 65535})
        require_inside(netstat_peer(input, port));
    require_well_formed(snmp_counter_text);
    require_well_formed(interface_counter_line);
    route_gateway(input, "eth0");
    interface_configured(input, "eth0", "dhcp");
    in_addr_t slots[dns_slots];
    resolver_servers(input, slots);
    return 0;
}
