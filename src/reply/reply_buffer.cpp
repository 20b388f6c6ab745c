#include "reply/reply_buffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

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

// A character that XML admits (its Char production), as libxml2 tests a decoded character.
bool xml_char(unsigned code)
{
    return code == '\t' || code == '\n' || code == '\r' || (code >= 0x20 && code <= 0xd7ff) ||
           (code >= 0xe000 && code <= 0xfffd) || (code >= 0x10000 && code <= 0x10ffff);
}

// The length of the character that xmlEncodeEntitiesReentrant decodes at `p` (a byte from 0x80
// up) to write it as a character reference: a lead byte, the continuation bytes it announces and
// a character XML admits, overlong forms included. 0 when the library refuses the lead byte.
size_t referenced_length(const unsigned char *p, size_t left)
{
    unsigned c = p[0];
    size_t length = c < 0xc0 ? 0 : c < 0xe0 ? 2 : c < 0xf0 ? 3 : c < 0xf8 ? 4 : 0;
    if (length == 0 || length > left) return 0;
    unsigned code = c & (0x3f >> (length - 1));
    for (size_t i = 1; i < length; ++i) {
        if ((p[i] & 0xc0) != 0x80) return 0;
        code = (code << 6) | (p[i] & 0x3f);
    }
    return xml_char(code) ? length : 0;
}

// Appends to `out` the bytes that xmlEncodeEntitiesReentrant copies as they stand: the control
// characters it drops are left out first, so that the bytes are judged as they will stand, and a
// byte that is no UTF-8 of a character XML admits becomes "?".
void append_copied(std::string_view text, std::string &out)
{
    std::string kept;
    for (char c : text)
        if (static_cast<unsigned char>(c) >= 0x20 || c == '\t' || c == '\n' || c == '\r')
            kept.push_back(c);
    const auto *p = reinterpret_cast<const unsigned char *>(kept.data());
    for (size_t i = 0; i < kept.size();) {
        size_t length = xml_char_length(p + i, kept.size() - i);
        if (length == 0) out.push_back('?');
        out.append(kept, i, length);
        i += length > 0 ? length : 1;
    }
}

// The guard: `text` as xmlEncodeEntitiesReentrant may take it for `doc` without writing bytes that
// break the reply. The library copies bytes from 0x80 up as they stand when `doc` names an
// encoding. Without one it writes each non-ASCII character as a character reference, and a byte
// it cannot decode as a reference to that byte; but then it names the encoding ISO-8859-1 in `doc`
// itself, so from the next byte on it copies. Without a document it always writes references.
std::string guarded(xmlDocPtr doc, std::string_view text)
{
    std::string out;
    const auto *p = reinterpret_cast<const unsigned char *>(text.data());
    size_t i = 0;
    bool copies = doc && doc->encoding;
    while (!copies && i < text.size()) {
        size_t length = p[i] < 0x80 ? 1 : referenced_length(p + i, text.size() - i);
        copies = length == 0 && doc;
        out.append(text, i, length > 0 ? length : 1);
        i += length > 0 ? length : 1;
    }
    append_copied(text.substr(i), out);
    return out;
}

// A byte that xmlEncodeEntitiesReentrant writes as it stands whatever the document.
bool encoded_unchanged(char byte)
{
    auto c = static_cast<unsigned char>(byte);
    return (c >= 0x20 && c < 0x80 && c != '&' && c != '<' && c != '>') || c == '\t' || c == '\n';
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

void reply_buffer::append_encoded(xmlDocPtr doc, std::string_view text)
{
    text = text.substr(0, text.find('\0'));
    // Most text (stored values and the layout between elements) needs no encoding: no copy.
    if (std::all_of(text.begin(), text.end(), encoded_unchanged)) {
        append(text);
        return;
    }
    std::string safe = guarded(doc, text);
    xml::text_ptr encoded(xmlEncodeEntitiesReentrant(doc, xml::uchars(safe.c_str())));
    if (!encoded) {
        failed_ = true;
        return;
    }
    append(xml::chars(encoded.get()));
}

// Stored text is encoded here, one text node at a time: one pass finds the common case.
void reply_buffer::append_encoded(xmlDocPtr doc, const xmlChar *text)
{
    if (!text) return;
    const xmlChar *end = text;
    while (*end && encoded_unchanged(static_cast<char>(*end)))
        ++end;
    if (*end)
        append_encoded(doc, std::string_view(xml::chars(text)));
    else
        add(xml::chars(text), static_cast<size_t>(end - text));
}
