#include "radio/errors.h"

#include "base/xml.h"
#include "rci/reply.h"

#include <string>

const std::array<const char *, 15> pelk_errors = {
    "",
    "Unknown subcommand",
    "Settings group unknown",
    "Settings field unknown",
    "Missing parameter",
    "Invalid parameter",
    "Node not found",
    "Command error",
    "File read error",
    "Firmware update error",
    "Error loading from device",
    "Error saving to device",
    "Field specified does not exist",
    "Field value specified is invalid",
    "Not supported on device",
};

namespace
{

// What "<hint>" and "</hint>" leave of reply_printf's 255 characters.
constexpr size_t hint_room = 255 - (sizeof "<hint></hint>" - 1);

// The length of the longest start of escaped text within `limit` bytes that ends on a character
// boundary and not inside an entity (the longest, "&amp;", has 5 characters).
size_t whole_prefix(const char *text, size_t length, size_t limit)
{
    if (length <= limit) return length;
    size_t cut = limit;
    while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xc0) == 0x80)
        --cut;
    for (size_t back = 1; back <= 4 && back <= cut; ++back) {
        if (text[cut - back] == ';') break;
        if (text[cut - back] == '&') return cut - back;
    }
    return cut;
}

} // namespace

void pelk_error(xmlBufferPtr reply, int id, const char *hint)
{
    if (!hint) {
        reply_error(reply, id, pelk_errors[static_cast<size_t>(id)], nullptr);
        return;
    }
    xml::buffer_ptr escaped(xmlBufferCreate());
    if (!escaped) return;
    reply_text(escaped.get(), hint);
    const char *text = xml::chars(xmlBufferContent(escaped.get()));
    size_t keep =
        whole_prefix(text, static_cast<size_t>(xmlBufferLength(escaped.get())), hint_room);
    std::string bounded(text, keep);
    reply_error(reply, id, pelk_errors[static_cast<size_t>(id)], bounded.c_str());
}
