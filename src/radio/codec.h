// Texts of the radio requests: numbers, hexadecimal byte strings, network indices and node
// addresses.
#pragma once

#include <cstddef>
#include <cstdint>

// A network_index attribute that names no network.
constexpr uint8_t NETWORK_INVALID = 255;

// The number in the first `length` characters of `text`: leading white space is skipped, then
// at most 12 characters are read as strtoul reads them (decimal, "0x" hexadecimal, "0" octal,
// an optional sign); what follows the number is ignored. Values are 32-bit, and a negative
// number wraps as it does in 32-bit arithmetic ("-1" is 4294967295). 0, or -1 when no digit was
// read or the magnitude does not fit in 32 bits.
int parse_number(const char *text, size_t length, uint32_t *value);
// "0x" (or "0X") and pairs of hexadecimal digits, after optional leading white space, as bytes,
// high half first. 0, or -1 for anything else (trailing white space included, or no pair at
// all). `bytes` receives (length - 2) / 2 bytes of what follows the white space.
int parse_hex_bytes(const char *text, size_t length, uint8_t *bytes);
// Writes "0x", two lowercase hexadecimal digits per byte and a terminator: 2 * count + 3 bytes.
void format_hex_bytes(const uint8_t *bytes, char *text, size_t count);
// 0 for no attribute or exactly "0"; 1 for a text that atoi reads as 1; NETWORK_INVALID for
// anything else.
uint8_t parse_network_index(const char *text);
// True when the radio library reads `text` as one node's 64-bit address; `address` receives its
// 8 bytes, most significant first.
bool parse_node_address(const char *text, uint8_t address[8]);
