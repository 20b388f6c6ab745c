// get_lqi: the neighbour table of each node (or of one), read with ZigBee Mgmt_Lqi requests.
#include "base/xml.h"
#include "radio/attributes.h"
#include "radio/codec.h"
#include "radio/errors.h"
#include "radio/subcommands.h"
#include "reply/reply.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace
{

constexpr uint16_t mgmt_lqi_cluster = 0x0031;
constexpr size_t response_size = 256;
constexpr size_t header_size = 4; // status, total entries, start index, entries in this response
constexpr size_t entry_size = 22;

// Texts of the neighbour descriptor's bit fields, one per value the field can hold.
constexpr std::array<const char *, 4> lqi_type_names{"coordinator", "router", "end device",
                                                     "unknown"};
constexpr std::array<const char *, 4> lqi_rx_idle_names{"off", "on", "unknown", "3"};
constexpr std::array<const char *, 8> lqi_relation_names{"parent",   "child", "sibling", "none",
                                                         "previous", "5",     "6",       "7"};
constexpr std::array<const char *, 4> lqi_permit_join_names{"no", "yes", "unknown", "3"};

// 8 bytes least significant first, turned around.
void reversed(const uint8_t *from, uint8_t *to)
{
    std::reverse_copy(from, from + 8, to);
}

void write_neighbour(xmlBufferPtr reply, const uint8_t *entry, int index)
{
    uint8_t value[8];
    char pan[2 * sizeof value + 3], address[RADIO_ADDRESS_TEXT_SIZE + 1];
    reversed(entry, value);
    format_hex_bytes(value, pan, sizeof value);
    reversed(entry + 8, value);
    radio_format_address(value, address, sizeof address);
    reply_printf(reply, "<neighbor index=\"%d\"><ext_pan_id>%s</ext_pan_id><ext_addr>%s</ext_addr>",
                 index, pan, address);
    reply_printf(reply, "<net_addr>0x%x</net_addr><relation>%s</relation><rx_idle>%s</rx_idle>",
                 entry[16] | entry[17] << 8, lqi_relation_names[entry[18] >> 4 & 7],
                 lqi_rx_idle_names[entry[18] >> 2 & 3]);
    reply_printf(reply,
                 "<type>%s</type><permit_join>%s</permit_join><depth>%d</depth><lqi>%d</lqi>"
                 "</neighbor>",
                 lqi_type_names[entry[18] & 3], lqi_permit_join_names[entry[19] & 3], entry[20],
                 entry[21]);
}

// The neighbours of one response; never reads past what the node sent.
void write_response(xmlBufferPtr reply, const uint8_t *response, int length)
{
    size_t received = std::min(static_cast<size_t>(length), response_size);
    size_t held = received > header_size ? (received - header_size) / entry_size : 0;
    size_t count = std::min<size_t>(response[3], held);
    for (size_t j = 0; j < count; ++j)
        write_neighbour(reply, response + header_size + j * entry_size,
                        response[2] + static_cast<int>(j) + 1);
}

int walk_nodes(xmlBufferPtr reply, uint8_t network)
{
    for (int i = 0, total = 1; i < total; ++i) {
        radio_node_record record{};
        total = radio_get_node_list(&record, network, i, 1, RADIO_LIST_CURRENT);
        if (total < 0) {
            pelk_error(reply, PELK_COMMAND_ERROR, radio_error_string(total));
            return -1;
        }
        // An empty list leaves the record alone.
        if (i >= total) break;
        if (write_neighbour_table(reply, record.ext_addr, network, i) < 0) break;
    }
    return 0;
}

int get_lqi(xmlBufferPtr reply, xmlNodePtr element)
{
    if (!(radio_get_capabilities() & RADIO_CAP_NEIGHBOURS)) {
        pelk_error(reply, PELK_NOT_SUPPORTED, "get_lqi");
        return -1;
    }
    uint8_t address[8];
    int given = read_node_address(element, "addr", address);
    if (given < 0) {
        pelk_error(reply, PELK_INVALID_PARAMETER, "addr");
        return -1;
    }
    int index = close_with_network(reply, element);
    if (index < 0) return -1;
    const auto network = static_cast<uint8_t>(index);
    if (given) return write_neighbour_table(reply, address, network, 0) < 0 ? -1 : 0;
    return walk_nodes(reply, network);
}

} // namespace

int write_neighbour_table(xmlBufferPtr reply, const uint8_t address[8], uint8_t network, int index)
{
    char text[RADIO_ADDRESS_TEXT_SIZE + 1];
    radio_format_address(address, text, sizeof text);
    reply_printf(reply, "<device index=\"%d\"><ext_addr>%s</ext_addr>", index + 1, text);
    uint8_t response[response_size];
    unsigned start = 0;
    int result;
    do {
        std::memset(response, 0, sizeof response);
        const uint8_t request = static_cast<uint8_t>(start);
        result = radio_zdo_command(address, network, mgmt_lqi_cluster, &request, 1, response,
                                   sizeof response, -1);
        if (result < 1 || response[0] != 0 || response[3] == 0) break;
        write_response(reply, response, result);
        start += response[3];
        // The start index is one byte: a table that claims more entries than it can count ends
        // when the index would wrap.
    } while (start < response[1] && start < 256);
    reply_printf(reply, "<status>%d</status></device>", result < 0 ? result : response[0]);
    return result;
}

int pelk_get_lqi(xmlBufferPtr reply, xmlNodePtr element)
{
    return within_element(reply, "get_lqi", get_lqi, element);
}
