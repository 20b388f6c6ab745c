#include "reply/reply_buffer.h"

#include <cstdlib>
#include <cstring>

namespace
{

// Length of the valid UTF-8 sequence at `p` (at most `left` bytes) that encodes a character XML
// admits, or 0.
size_t xml_char_length(const unsigned char *p, size_t left)
{
    unsigned c = p[0];
    if (c < 0x80) return c >= 0x20 || c == '\t' || c == '\n' || c == '\r' ? 1 : 0;
    size_t length = c >= 0xf0 ? 4 : c >= 0xe0 ? 3 : c >= 0xc0 ? 2 : 0;
    if (length == 0 || length > left || c > 0xf4) return 0;
    unsigned code = c & (0x3f >> (length - 1));
    for (size_t i = 1; i < length; ++i) {
        if ((p[i] & 0xc0) != 0x80) return 0;
        code = (code << 6) | (p[i] & 0x3f);
    }
    static constexpr unsigned shortest[] = {0, 0, 0x80, 0x800, 0x10000};
    bool surrogate = code >= 0xd800 && code <= 0xdfff;
    if (code < shortest[length] || surrogate || code == 0xfffe || code == 0xffff || code > 0x10ffff)
        return 0;
    return length;
}

// The end of the last whole UTF-8 character within text[0, end).
size_t character_boundary(std::string_view text, size_t end)
{
    size_t lead = end;
    while (lead > 0 && (static_cast<unsigned char>(text[lead - 1]) & 0xc0) == 0x80)
        --lead;
    if (lead == 0) return end;
    auto c = static_cast<unsigned char>(text[lead - 1]);
    size_t length = c >= 0xf0 ? 4 : c >= 0xe0 ? 3 : c >= 0xc0 ? 2 : 1;
    return lead - 1 + length > end ? lead - 1 : end;
}

// `end`, or the position of the opener when text[0, end) ends after an `open` that has no `close`.
size_t outside(std::string_view text, size_t end, char open, char close)
{
    size_t opened = text.substr(0, end).find_last_of(open);
    if (opened == std::string_view::npos) return end;
    size_t closed = text.substr(0, end).find_last_of(close);
    return closed != std::string_view::npos && closed > opened ? end : opened;
}

// Plain ASCII that none of libxml2's escapers changes: no markup, quote or control character.
bool plain_ascii(const xmlChar *text)
{
    for (; *text; ++text)
        if (*text >= 0x80 || *text < 0x20 || *text == '&' || *text == '<' || *text == '>' ||
            *text == '"')
            return false;
    return true;
}

} // namespace

size_t reply_cut(std::string_view text, size_t limit)
{
    if (text.size() <= limit) return text.size();
    size_t end = limit;
    // Each step can only move the end back; it stops where no rule moves it any more.
    for (size_t before = end + 1; end != before;) {
        before = end;
        end = character_boundary(text, end);
        end = outside(text, end, '<', '>');
        end = outside(text, end, '&', ';');
    }
    return end;
}

reply_buffer::~reply_buffer()
{
    std::free(data_);
}

bool reply_buffer::reserve(size_t more)
{
    if (failed_) return false;
    if (more < capacity_ - size_) return true;
    size_t wanted = size_ + more + 1;
    if (wanted <= size_) {
        failed_ = true;
        return false;
    }
    size_t capacity = capacity_ ? capacity_ : 256;
    while (capacity < wanted)
        capacity = capacity * 2 > capacity ? capacity * 2 : wanted;
    auto *grown = static_cast<char *>(std::realloc(data_, capacity));
    if (!grown) {
        failed_ = true;
        return false;
    }
    data_ = grown;
    capacity_ = capacity;
    return true;
}

void reply_buffer::add(const char *bytes, size_t count)
{
    if (count == 0 || !reserve(count)) return;
    std::memcpy(data_ + size_, bytes, count);
    size_ += count;
    data_[size_] = '\0';
}

void reply_buffer::append(std::string_view markup)
{
    add(markup.data(), markup.size());
}

void reply_buffer::append_cut(std::string_view markup, size_t limit)
{
    append(markup.substr(0, reply_cut(markup, limit)));
}

void reply_buffer::append_text(std::string_view text)
{
    const auto *p = reinterpret_cast<const unsigned char *>(text.data());
    size_t length = text.size();
    size_t plain = 0; // bytes at the start of p that go out unchanged
    while (plain < length) {
        unsigned char c = p[plain];
        const char *escape = c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : nullptr;
        size_t valid = escape ? 0 : xml_char_length(p + plain, length - plain);
        if (valid) {
            plain += valid;
            continue;
        }
        add(reinterpret_cast<const char *>(p), plain);
        append(escape ? escape : "?");
        p += plain + 1;
        length -= plain + 1;
        plain = 0;
    }
    add(reinterpret_cast<const char *>(p), plain);
}

void reply_buffer::append_text(std::string_view text, size_t limit)
{
    size_t start = mark();
    append_text(text);
    if (size_ - start > limit) truncate(start + reply_cut(view().substr(start), limit));
}

void reply_buffer::truncate(size_t mark)
{
    if (mark >= size_) return;
    size_ = mark;
    data_[size_] = '\0';
}

xmlBufferPtr reply_buffer::scratch()
{
    if (!scratch_ && !failed_) {
        scratch_.reset(xmlBufferCreate());
        if (!scratch_) failed_ = true;
    }
    return failed_ ? nullptr : scratch_.get();
}

void reply_buffer::take_scratch(size_t least)
{
    auto length = static_cast<size_t>(xmlBufferLength(scratch_.get()));
    if (length < least)
        failed_ = true;
    else
        add(xml::chars(xmlBufferContent(scratch_.get())), length);
    xmlBufferEmpty(scratch_.get());
}

// Every byte of the value comes out as one byte or more.
void reply_buffer::append_attribute_value(xmlDocPtr doc, const xmlChar *value)
{
    if (!value) return;
    if (plain_ascii(value)) {
        append(xml::chars(value));
        return;
    }
    xmlBufferPtr buf = scratch();
    if (!buf) return;
    xmlAttrSerializeTxtContent(buf, doc, nullptr, value);
    take_scratch(static_cast<size_t>(xmlStrlen(value)));
}

int reply_buffer::append_node(xmlDocPtr doc, xmlNodePtr node)
{
    xmlBufferPtr buf = scratch();
    if (!buf) return -1;
    if (xmlNodeDump(buf, doc, node, 0, 0) < 0) {
        xmlBufferEmpty(buf);
        return -1;
    }
    take_scratch(0);
    return 0;
}

void reply_buffer::append_encoded(xmlDocPtr doc, const xmlChar *text)
{
    if (!text || !*text) return;
    // Most stored text (values and the layout between elements) needs no encoding: no copy.
    bool unchanged = true;
    for (const xmlChar *c = text; *c && unchanged; ++c)
        unchanged = *c < 0x80 && *c != '&' && *c != '<' && *c != '>' && *c != '\r';
    if (unchanged) {
        append(xml::chars(text));
        return;
    }
    xml::text_ptr encoded(xmlEncodeEntitiesReentrant(doc, text));
    if (!encoded) {
        failed_ = true;
        return;
    }
    append(xml::chars(encoded.get()));
}
