// Address texts, error texts, and finding the radio a call names.
#include "network.h"

#include "base/hex.h"

#include <cstdio>
#include <cstring>

using namespace pelk_sim;

namespace
{

// `count` bytes from pairs of hexadecimal digits, a ':' between pairs when `separated`; the
// text must end right after the last pair.
bool parse_pairs(const char *text, uint8_t *out, size_t count, bool separated)
{
    for (size_t i = 0; i < count; ++i) {
        if (separated && i > 0 && *text++ != ':') return false;
        int byte = hex_byte(text);
        if (byte < 0) return false;
        out[i] = static_cast<uint8_t>(byte);
        text += 2;
    }
    return *text == 0;
}

struct error_text {
    int code;
    const char *text;
};

constexpr error_text error_texts[] = {
    {RADIO_E_UNAVAILABLE, "Radio not available"},
    {RADIO_E_NO_NODE, "No such node"},
    {RADIO_E_INVALID, "Invalid argument"},
    {RADIO_E_NOT_NUMBER, "Value is not a number"},
    {RADIO_E_TIMEOUT, "No response from node"},
    {RADIO_E_WRITE_ONLY, "Parameter cannot be read"},
    {RADIO_E_NOT_SUPPORTED, "Request not supported"},
    {RADIO_E_NO_NETWORK, "No such network"},
    {RADIO_E_UNKNOWN, "Unknown AT command"},
    {RADIO_E_REFUSED, "Value refused"},
};

} // namespace

extern "C" int radio_format_address(const uint8_t address[8], char *text, size_t size)
{
    const uint8_t *a = address;
    return std::snprintf(text, size, "%02x:%02x:%02x:%02x:%02x:%02x:%02x:%02x", a[0], a[1], a[2],
                         a[3], a[4], a[5], a[6], a[7]);
}

extern "C" int radio_socket_get_addr(const char *text, int, radio_sockaddr *record)
{
    if (!text || !record) return 0;
    radio_sockaddr parsed{};
    size_t length = std::strlen(text);
    if (length == 23 && parse_pairs(text, parsed.address, 8, true))
        parsed.kind = RADIO_ADDR_EXTENDED;
    else if (length == 4 && parse_pairs(text, parsed.address, 2, false))
        parsed.kind = RADIO_ADDR_NETWORK;
    else
        return 0;
    *record = parsed;
    return 1;
}

extern "C" const char *radio_error_string(int code)
{
    for (const error_text &row : error_texts)
        if (row.code == code) return row.text;
    return "Radio error";
}

namespace pelk_sim
{

node *find_node(network &net, const uint8_t *address)
{
    if (!address) return nullptr;
    for (node &n : net.nodes)
        if (std::memcmp(n.record.ext_addr, address, 8) == 0) return &n;
    return nullptr;
}

radio *find_radio(network &net, const uint8_t *address)
{
    if (!address || std::memcmp(address, net.info.address, 8) == 0) return &net.gateway;
    node *n = find_node(net, address);
    return n ? &n->module : nullptr;
}

std::string address_text(const uint8_t *address)
{
    if (!address) return "-";
    char text[RADIO_ADDRESS_TEXT_SIZE];
    radio_format_address(address, text, sizeof text);
    return text;
}

std::string hex_text(const void *data, size_t length)
{
    if (!data || length == 0) return "-";
    std::string out;
    char pair[3];
    for (size_t i = 0; i < length; ++i) {
        std::snprintf(pair, sizeof pair, "%02x", static_cast<const uint8_t *>(data)[i]);
        out += pair;
    }
    return out;
}

} // namespace pelk_sim
