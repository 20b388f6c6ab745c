#include "radio/codec.h"

#include "base/hex.h"

#include <libpelk.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace
{

// Characters that strtoul reads of a radio number; the rest of a longer text is ignored.
constexpr size_t number_digits = 12;

size_t skip_space(const char *text, size_t length)
{
    size_t at = 0;
    while (at < length && std::isspace(static_cast<unsigned char>(text[at])))
        ++at;
    return at;
}

} // namespace

int parse_number(const char *text, size_t length, uint32_t *value)
{
    size_t at = skip_space(text, length);
    if (at == length) return -1;
    char digits[number_digits + 1] = {};
    std::memcpy(digits, text + at, std::min(length - at, number_digits));
    char *end = nullptr;
    errno = 0;
    unsigned long number = std::strtoul(digits, &end, 0);
    if (end == digits || errno == ERANGE) return -1;
    // The radio's numbers are 32-bit: a magnitude beyond that overflows, and a negative number
    // wraps within 32 bits.
    unsigned long magnitude = digits[0] == '-' ? 0 - number : number;
    if (magnitude > UINT32_MAX) return -1;
    *value = static_cast<uint32_t>(number);
    return 0;
}

int parse_hex_bytes(const char *text, size_t length, uint8_t *bytes)
{
    size_t at = skip_space(text, length);
    const char *rest = text + at;
    size_t left = length - at;
    if (left < 4 || left % 2 != 0 || rest[0] != '0' || (rest[1] != 'x' && rest[1] != 'X'))
        return -1;
    for (size_t pair = 2; pair < left; pair += 2) {
        int byte = hex_byte(rest + pair);
        if (byte < 0) return -1;
        *bytes++ = static_cast<uint8_t>(byte);
    }
    return 0;
}

void format_hex_bytes(const uint8_t *bytes, char *text, size_t count)
{
    static constexpr char digits[] = "0123456789abcdef";
    *text++ = '0';
    *text++ = 'x';
    for (size_t i = 0; i < count; ++i) {
        *text++ = digits[bytes[i] >> 4];
        *text++ = digits[bytes[i] & 0xf];
    }
    *text = 0;
}

uint8_t parse_network_index(const char *text)
{
    if (!text) return 0;
    // atoi's reading, without its wrap-around on overflow.
    long index = std::strtol(text, nullptr, 10);
    if (index == 1) return 1;
    return index == 0 && std::strcmp(text, "0") == 0 ? 0 : NETWORK_INVALID;
}

bool parse_node_address(const char *text, uint8_t address[8])
{
    radio_sockaddr record{};
    if (!radio_socket_get_addr(text, 0, &record) || record.kind != RADIO_ADDR_EXTENDED)
        return false;
    std::memcpy(address, record.address, 8);
    return true;
}
