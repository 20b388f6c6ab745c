#include "radio/catalogue.h"

#include "radio/codec.h"

#include <libpelk.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

namespace
{

// Radio library calls take the library's default timeout.
constexpr int default_timeout = -1;

// Capability bits of the gateway radio that choose the rows.
constexpr uint32_t CAPS_REMOTE = 0x004; // remote nodes are read and written through the catalogue
constexpr uint32_t CAPS_KIND_9 = 0x200;
constexpr uint32_t CAPS_KIND_10 = 0x400;

// Kinds whose "mvolts" readings depend on the module's hardware version.
constexpr uint32_t HV_DEPENDENT_KINDS = 0x508;
// Hardware version high bytes of modules that report millivolts already.
constexpr uint32_t millivolt_hardware[] = {0x2100, 0x2200, 0x2d00, 0x2e00, 0x3000,
                                           0x4100, 0x4200, 0x4300, 0x5200, 0x5300};

uint32_t required_kinds(const radio_gateway_info &info, bool remote, uint8_t network)
{
    if (info.caps & CAPS_KIND_10) return !remote ? 0x200 : network == 1 ? 0x100 : 0x408;
    if (info.caps & CAPS_KIND_9) return 0x100;
    return info.module_kind < 32 ? 1u << info.module_kind : 0;
}

bool is_integer(const catalogue_row &row)
{
    return row.type == VALUE_UNSIGNED || row.type == VALUE_HEX;
}

bool two_commands(const catalogue_row &row)
{
    return std::strncmp(row.command, "DH", 2) == 0;
}

// Whether the radio's "mvolts" values are in its own unit and need converting: modules of the
// hardware-dependent kinds say so by their hardware version, all others always do.
bool needs_millivolt_scaling(const catalogue_selector &sel, uint8_t network)
{
    uint32_t version = 0;
    if (sel.required_kinds & HV_DEPENDENT_KINDS)
        radio_get_int_param(sel.address, network, "HV", &version, default_timeout, 0);
    return std::ranges::find(millivolt_hardware, version & 0xff00) == std::end(millivolt_hardware);
}

int read_integer(const catalogue_selector &sel, const catalogue_row &row, uint8_t network,
                 uint8_t *raw)
{
    uint32_t value = 0;
    int result = radio_get_int_param(sel.address, network, row.command, &value, default_timeout, 0);
    if (result == RADIO_E_UNKNOWN && std::strcmp(row.command, "OP") == 0)
        result = radio_get_int_param(sel.address, network, "ID", &value, default_timeout, 0);
    if (result >= 0 && std::strcmp(row.unit, "mvolts") == 0 &&
        needs_millivolt_scaling(sel, network))
        value = static_cast<uint32_t>((uint64_t{value} * 1200 + 512) / 1024);
    std::memcpy(raw, &value, sizeof value);
    return result;
}

// The first 4 raw bytes under "DH", the next 4 under "DL"; the result of the last call.
template <typename Call> int both_halves(Call call)
{
    int result = call("DH", 0);
    return result < 0 ? result : call("DL", 4);
}

int read_raw(const catalogue_selector &sel, const catalogue_row &row, uint8_t network, uint8_t *raw)
{
    if (two_commands(row))
        return both_halves([&](const char *command, int offset) {
            return radio_get_param(sel.address, network, command, raw + offset, 4, default_timeout,
                                   0);
        });
    if (is_integer(row)) return read_integer(sel, row, network, raw);
    return radio_get_param(sel.address, network, row.command, raw, CATALOGUE_RAW_SIZE,
                           default_timeout, 0);
}

int write_raw(const catalogue_selector &sel, const catalogue_row &row, uint8_t network,
              const uint8_t *raw, int length)
{
    if (two_commands(row))
        return both_halves([&](const char *command, int offset) {
            return radio_set_param(sel.address, network, command, raw + offset, 4, default_timeout,
                                   RADIO_QUEUE);
        });
    if (!is_integer(row)) {
        static constexpr uint8_t empty_value = 0;
        // The radio takes no empty value: an empty one goes out as a single zero byte.
        return length > 0
                   ? radio_set_param(sel.address, network, row.command, raw,
                                     static_cast<size_t>(length), default_timeout, RADIO_QUEUE)
                   : radio_set_param(sel.address, network, row.command, &empty_value, 1,
                                     default_timeout, RADIO_QUEUE);
    }
    uint32_t value;
    std::memcpy(&value, raw, sizeof value);
    if (std::strcmp(row.unit, "mvolts") == 0 && needs_millivolt_scaling(sel, network))
        value = static_cast<uint32_t>((uint64_t{value} * 1024 + 600) / 1200);
    return radio_set_int_param(sel.address, network, row.command, value, default_timeout,
                               RADIO_QUEUE);
}

int parse_integer(const catalogue_row &row, const char *text, size_t length, uint8_t *raw)
{
    uint32_t value = 0;
    if (parse_number(text, length, &value) < 0) return CATALOGUE_INVALID;
    // The minimum is compared signed, the maximum unsigned.
    if (static_cast<int32_t>(value) < row.minimum || value > row.maximum)
        return CATALOGUE_OUT_OF_RANGE;
    std::memcpy(raw, &value, sizeof value);
    return sizeof value;
}

int parse_address(const char *text, size_t length, uint8_t *raw)
{
    char address[RADIO_ADDRESS_TEXT_SIZE + 1];
    if (length >= sizeof address) return CATALOGUE_INVALID;
    std::memcpy(address, text, length);
    address[length] = 0;
    return parse_node_address(address, raw) ? 8 : CATALOGUE_INVALID;
}

int parse_binary(const catalogue_row &row, const char *text, size_t length, uint8_t *raw)
{
    if (length == 0) return 0;
    // "0x" and two characters per byte.
    int64_t count = static_cast<int64_t>(length / 2) - 1;
    if (count < row.minimum || count > int64_t{row.maximum} ||
        count > static_cast<int64_t>(CATALOGUE_RAW_SIZE))
        return CATALOGUE_OUT_OF_RANGE;
    return parse_hex_bytes(text, length, raw) < 0 ? CATALOGUE_INVALID : static_cast<int>(count);
}

} // namespace

int catalogue_select_rows(catalogue_selector &sel, const uint8_t *node, uint8_t network,
                          catalogue rows)
{
    sel.rows = rows;
    radio_gateway_info info{};
    if (int result = radio_get_gateway_info(&info); result < 0) return result;
    bool remote = node && std::memcmp(node, info.address, sizeof info.address) != 0;
    sel.required_kinds = required_kinds(info, remote, network);
    if (remote) {
        std::memcpy(sel.node_address, node, sizeof sel.node_address);
        sel.address = sel.node_address;
        if (!(info.caps & CAPS_REMOTE)) sel.required_kinds = UINT32_MAX;
    } else {
        sel.address = nullptr;
        sel.required_kinds |= KIND_GATEWAY;
    }
    return static_cast<int>(rows.size());
}

int catalogue_select(catalogue_selector &sel, const uint8_t *node, uint8_t network,
                     catalogue_choice which)
{
    return catalogue_select_rows(sel, node, network,
                                 which == catalogue_choice::settings ? settings_catalogue
                                                                     : state_catalogue);
}

int catalogue_find_field(const catalogue_selector &sel, const char *name)
{
    for (size_t i = 0; i < sel.rows.size(); ++i)
        if (sel.applies(sel.rows[i]) && std::strcmp(sel.rows[i].name, name) == 0)
            return static_cast<int>(i);
    return CATALOGUE_NO_FIELD;
}

int catalogue_read_field(const catalogue_selector &sel, size_t index, uint8_t network, uint8_t *raw)
{
    const catalogue_row &row = sel.rows[index];
    if (!sel.applies(row)) return CATALOGUE_NOT_ON_RADIO;
    int result = read_raw(sel, row, network, raw);
    return result == RADIO_E_UNKNOWN || result == RADIO_E_WRITE_ONLY ? CATALOGUE_NOT_ON_RADIO
                                                                     : result;
}

int catalogue_format_value(const catalogue_row &row, const uint8_t *raw, int raw_length, char *text,
                           size_t size)
{
    uint32_t value;
    std::memcpy(&value, raw, sizeof value);
    switch (row.type) {
    case VALUE_UNSIGNED:
        return std::snprintf(text, size, "%u", value);
    case VALUE_HEX:
        return std::snprintf(text, size, "0x%x", value);
    case VALUE_ADDRESS:
        return radio_format_address(raw, text, size);
    case VALUE_STRING:
        if (size > 0) {
            size_t shown = std::min(static_cast<size_t>(std::max(raw_length, 0)), size - 1);
            std::memcpy(text, raw, shown);
            text[shown] = 0;
        }
        return raw_length;
    case VALUE_BINARY:
        if (raw_length < 1 || size < 3) {
            if (size > 0) text[0] = 0;
            return 0;
        }
        format_hex_bytes(raw, text, std::min(static_cast<size_t>(raw_length), (size - 3) / 2));
        return 2 * (raw_length + 1);
    default:
        return CATALOGUE_BAD_TYPE;
    }
}

int catalogue_read_text(const catalogue_selector &sel, size_t index, uint8_t network, char *text,
                        size_t size)
{
    uint8_t raw[CATALOGUE_RAW_SIZE] = {};
    int length = catalogue_read_field(sel, index, network, raw);
    if (length < 0) return length;
    return catalogue_format_value(
        sel.rows[index], raw, std::min(length, static_cast<int>(CATALOGUE_RAW_SIZE)), text, size);
}

int catalogue_parse_value(const catalogue_row &row, const char *text, int length, uint8_t *raw)
{
    size_t size = length < 0 ? std::strlen(text) : static_cast<size_t>(length);
    while (size > 0 && std::isspace(static_cast<unsigned char>(*text))) {
        ++text;
        --size;
    }
    switch (row.type) {
    case VALUE_UNSIGNED:
    case VALUE_HEX:
        return parse_integer(row, text, size, raw);
    case VALUE_ADDRESS:
        return parse_address(text, size, raw);
    case VALUE_STRING:
        if (size > CATALOGUE_RAW_SIZE) return CATALOGUE_INVALID;
        std::memcpy(raw, text, size);
        return static_cast<int>(size);
    case VALUE_BINARY:
        return parse_binary(row, text, size, raw);
    default:
        return CATALOGUE_BAD_TYPE;
    }
}

int catalogue_write_field(const catalogue_selector &sel, size_t index, uint8_t network,
                          const uint8_t *raw, int length)
{
    const catalogue_row &row = sel.rows[index];
    if (!sel.applies(row)) return CATALOGUE_NOT_ON_RADIO;
    int result = write_raw(sel, row, network, raw, length);
    if (result >= 0) return result;
    if (result == RADIO_E_UNKNOWN) return CATALOGUE_NOT_ON_RADIO;
    return result == RADIO_E_REFUSED ? CATALOGUE_INVALID : CATALOGUE_REJECTED;
}

int catalogue_set_field(const catalogue_selector &sel, const char *name, uint8_t network,
                        const char *text, int length)
{
    int index = catalogue_find_field(sel, name);
    if (index < 0) return index;
    uint8_t raw[CATALOGUE_RAW_SIZE] = {};
    const auto row = static_cast<size_t>(index);
    int size = catalogue_parse_value(sel.rows[row], text, length, raw);
    if (size < 0) return size;
    return catalogue_write_field(sel, row, network, raw, size);
}

int catalogue_commit(const catalogue_selector &sel, uint8_t network)
{
    return radio_set_param(sel.address, network, "WR", nullptr, 0, default_timeout, RADIO_APPLY);
}
