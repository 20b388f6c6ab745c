// The radio parameter catalogues: RCI field names of the radio group mapped to the AT commands of
// the radio modules, and the rules that read, show, parse and write their values.
//
// A field name may have several rows, each for other module kinds; the first row in catalogue
// order whose kinds cover the selected radio is the one used. Nothing here writes XML: every
// failure is a result code, which the radio subcommands turn into error elements.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

enum value_type : uint32_t {
    VALUE_UNSIGNED = 0, // "%u"
    VALUE_HEX = 1,      // "0x%x"
    VALUE_ADDRESS = 2,  // 8 bytes, the radio library's address text
    VALUE_STRING = 3,   // up to 128 bytes shown as text
    VALUE_BINARY = 4,   // up to 128 bytes shown as "0x" and two lowercase digits per byte
};

// Bit 15 of a row's kinds: the field also exists on the gateway's own radio.
constexpr uint32_t KIND_GATEWAY = 0x8000;

// One field of a catalogue.
//   command      the AT command; "DH/DL" for the 64-bit destination address (two commands)
//   type         a value_type
//   kinds        bits 0-12: the module kinds on which the field exists; KIND_GATEWAY
//   minimum      lowest value (integer types) or byte count (binary), compared signed
//   maximum      highest value or byte count, compared unsigned; strings ignore both
//   unit         shown to people; only "mvolts" changes how a value is read and written
//   name         the RCI field name (XML element name)
//   description  one line for people
struct catalogue_row {
    char command[8];
    uint32_t type;
    uint32_t kinds;
    int32_t minimum;
    uint32_t maximum;
    const char *unit;
    const char *name;
    const char *description;
};

using catalogue = std::span<const catalogue_row>;

// Read-only values (query_state, zigbee_state) and configurable ones (query_setting,
// set_setting).
extern const catalogue state_catalogue;
extern const catalogue settings_catalogue;

// Results besides lengths and indices (0 and above); other negative numbers are the radio
// library's own codes, passed on unchanged by reads.
enum catalogue_result : int {
    CATALOGUE_REJECTED = -4,     // the radio rejected a write for another reason
    CATALOGUE_OUT_OF_RANGE = -6, // outside the row's minimum and maximum
    CATALOGUE_INVALID = -7,      // not a value of the row's type, or the radio refused it
    CATALOGUE_BAD_TYPE = -8,     // the row has an unknown value type
    CATALOGUE_NOT_ON_RADIO = -9, // the field does not exist on the selected radio
    CATALOGUE_NO_FIELD = -10,    // no applicable row has this name
};

// Values of one row and the texts shown for them fit these buffers.
constexpr size_t CATALOGUE_RAW_SIZE = 128;
constexpr size_t CATALOGUE_TEXT_SIZE = 128;

// The rows of one catalogue that apply to one radio. `address` is what every library call of the
// subcommand receives: nullptr for the gateway's own radio, else `node_address`, which is why a
// selector is never copied.
struct catalogue_selector {
    uint8_t node_address[8] = {};
    const uint8_t *address = nullptr;
    uint32_t required_kinds = 0; // a row applies when its kinds hold every one of these bits
    catalogue rows;

    catalogue_selector() = default;
    catalogue_selector(const catalogue_selector &) = delete;
    catalogue_selector &operator=(const catalogue_selector &) = delete;

    bool applies(const catalogue_row &row) const
    {
        return (row.kinds & required_kinds) == required_kinds;
    }
};

// Selects `rows` for the radio at `node` (nullptr, or the gateway's own address: the gateway's
// own radio) on network `network`, from the gateway radio's identity. The row count, or the
// library's negative result when the gateway radio cannot be read.
int catalogue_select_rows(catalogue_selector &sel, const uint8_t *node, uint8_t network,
                          catalogue rows);
// The two catalogues, as a listing or a selection names them.
enum class catalogue_choice { state, settings };
// catalogue_select_rows of the chosen catalogue.
int catalogue_select(catalogue_selector &sel, const uint8_t *node, uint8_t network,
                     catalogue_choice which);

// Index of the first applicable row named `name`, or CATALOGUE_NO_FIELD.
int catalogue_find_field(const catalogue_selector &sel, const char *name);
// Reads the row's value into `raw` (CATALOGUE_RAW_SIZE bytes): the library's length or result,
// or a negative code.
int catalogue_read_field(const catalogue_selector &sel, size_t index, uint8_t network,
                         uint8_t *raw);
// The display text of a raw value in `text` (of `size` bytes): its length, or CATALOGUE_BAD_TYPE.
int catalogue_format_value(const catalogue_row &row, const uint8_t *raw, int raw_length, char *text,
                           size_t size);
// Read, then format; the first negative result.
int catalogue_read_text(const catalogue_selector &sel, size_t index, uint8_t network, char *text,
                        size_t size);
// The raw value (into CATALOGUE_RAW_SIZE bytes) of a text of `length` characters (-1: up to its
// terminator): its length in bytes, or a negative code.
int catalogue_parse_value(const catalogue_row &row, const char *text, int length, uint8_t *raw);
// Writes a raw value to the radio, queued until catalogue_commit: 0 or more, or a negative code.
int catalogue_write_field(const catalogue_selector &sel, size_t index, uint8_t network,
                          const uint8_t *raw, int length);
// Find, parse and write in one; the first negative result.
int catalogue_set_field(const catalogue_selector &sel, const char *name, uint8_t network,
                        const char *text, int length);
// Makes the queued values take effect ("WR" with the apply flag); the library's result.
int catalogue_commit(const catalogue_selector &sel, uint8_t network);
