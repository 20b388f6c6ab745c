// radio_command: one AT command, with an optional parameter, to the gateway's own radio or a
// node; the radio's answer is shown in one of four formats.
#include "base/table.h"
#include "base/xml.h"
#include "radio/attributes.h"
#include "radio/codec.h"
#include "radio/errors.h"
#include "radio/subcommands.h"
#include "reply/reply.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <string>
#include <string_view>

namespace
{

enum format_number : int { FORMAT_INTEGER, FORMAT_ADDRESS, FORMAT_BINARY, FORMAT_STRING };

// Indexed by format number.
constexpr std::array<const char *, 4> pelk_format_names{"integer", "address", "binary", "string"};

constexpr size_t answer_size = 128;

struct option_flags {
    const char *name;
    unsigned flags;
};
constexpr std::array at_command_options{
    option_flags{.name = "apply", .flags = RADIO_APPLY},
    option_flags{.name = "queue", .flags = RADIO_QUEUE},
};

struct at_command_request {
    xml::text_ptr id;
    int format = FORMAT_INTEGER;
    pelk_node target;
    int timeout = -1; // the library's default
    unsigned flags = RADIO_APPLY;
    uint8_t parameter[answer_size] = {};
    std::string text; // the string parameter, which has no length limit
    size_t length = 0;
};

// The attribute that the first failed check names, or nullptr; echoes addr and network_index.
const char *read_attributes(reply_buffer &reply, xmlNodePtr element, at_command_request &r)
{
    if (xml::text_ptr format = attribute(element, "format")) {
        auto at = std::ranges::find_if(pelk_format_names, [&](const char *name) {
            return std::strcmp(name, xml::chars(format.get())) == 0;
        });
        if (at == pelk_format_names.end()) return "format";
        r.format = static_cast<int>(at - pelk_format_names.begin());
    }
    if (xml::text_ptr addr = attribute(element, "addr")) {
        echo_attribute(reply, "addr", addr.get());
        if (!parse_node_address(xml::chars(addr.get()), r.target.address)) return "addr";
        r.target.remote = true;
    }
    network_choice network = read_network_index(element);
    network.echo(reply);
    if (!network.usable()) return "network_index";
    r.target.network = network.index;
    if (xml::text_ptr timeout = attribute(element, "timeout")) {
        uint32_t value = 0;
        const char *text = xml::chars(timeout.get());
        if (parse_number(text, std::strlen(text), &value) < 0) return "timeout";
        r.timeout = static_cast<int32_t>(value);
    }
    if (xml::text_ptr option = attribute(element, "option")) {
        const option_flags *row = find_named(at_command_options, xml::chars(option.get()));
        if (!row) return "option";
        r.flags = row->flags;
    }
    return nullptr;
}

std::string_view trimmed(const char *text)
{
    std::string_view view(text);
    auto space = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    while (!view.empty() && space(view.front()))
        view.remove_prefix(1);
    while (!view.empty() && space(view.back()))
        view.remove_suffix(1);
    return view;
}

// The parameter bytes of the element's text in the request's format; false when it is not one.
bool read_parameter(xmlNodePtr element, at_command_request &r)
{
    xml::text_ptr content(xmlNodeGetContent(element));
    r.text = trimmed(content ? xml::chars(content.get()) : "");
    size_t length = r.text.size();
    if (length == 0) return true;
    uint32_t number = 0;
    switch (r.format) {
    case FORMAT_INTEGER:
        if (parse_number(r.text.data(), length, &number) < 0) return false;
        for (int i = 0; i < 4; ++i)
            r.parameter[i] = static_cast<uint8_t>(number >> (24 - 8 * i));
        r.length = 4;
        return true;
    case FORMAT_ADDRESS:
        r.length = 8;
        return parse_node_address(r.text.c_str(), r.parameter);
    case FORMAT_BINARY:
        r.length = length / 2 - 1;
        return length >= 2 && r.length <= answer_size &&
               parse_hex_bytes(r.text.data(), length, r.parameter) == 0;
    default:
        r.length = length;
        return true;
    }
}

// A string answer ends at its first zero byte and is entity-encoded for the request's document.
void write_answer(xmlDocPtr doc, reply_buffer &reply, int format, const uint8_t *answer,
                  size_t length)
{
    if (format == FORMAT_INTEGER) {
        uint32_t number = 0;
        for (size_t i = 0; i < length; ++i)
            number = number << 8 | answer[i];
        reply_printf(reply, "%u", number);
    } else if (format == FORMAT_ADDRESS) {
        char text[257];
        radio_format_address(answer, text, sizeof text);
        reply.append(text);
    } else if (format == FORMAT_BINARY) {
        char text[2 * answer_size + 3];
        format_hex_bytes(answer, text, length);
        reply.append(text);
    } else {
        reply.append_encoded(doc, std::string_view(reinterpret_cast<const char *>(answer), length));
    }
}

int send_command(xmlDocPtr doc, reply_buffer &reply, at_command_request &r)
{
    // One byte more than the radio may send, and zeros after a short answer, so that an address
    // answer is always 8 bytes long and a string answer always ends.
    uint8_t answer[answer_size + 8] = {};
    const void *parameter =
        r.format == FORMAT_STRING ? static_cast<const void *>(r.text.data()) : r.parameter;
    int result = radio_param_command(r.target.node(), r.target.network, xml::chars(r.id.get()),
                                     r.length ? parameter : nullptr, r.length, answer, answer_size,
                                     r.timeout, r.flags);
    if (result < 0) {
        pelk_error(reply, PELK_COMMAND_ERROR, radio_error_string(result));
        return -1;
    }
    size_t length = std::min(static_cast<size_t>(result), answer_size);
    int format = r.format == FORMAT_INTEGER && length > 4 ? FORMAT_BINARY : r.format;
    reply_printf(reply, " format=\"%s\">", pelk_format_names[static_cast<size_t>(format)]);
    if (length > 0) write_answer(doc, reply, format, answer, length);
    return 0;
}

int radio_command(reply_buffer &reply, xmlNodePtr element)
{
    at_command_request r;
    r.id = attribute(element, "id");
    if (!r.id) {
        pelk_error(reply, PELK_MISSING_PARAMETER, "id");
        return -1;
    }
    echo_attribute(reply, "id", r.id.get());
    const char *invalid = read_attributes(reply, element, r);
    if (!invalid && !read_parameter(element, r)) invalid = "parameter";
    if (invalid) {
        pelk_error(reply, PELK_INVALID_PARAMETER, invalid);
        return -1;
    }
    return send_command(element->doc, reply, r);
}

} // namespace

int pelk_radio_command(reply_buffer &reply, xmlNodePtr element)
{
    return within_element(reply, "radio_command", radio_command, element);
}
