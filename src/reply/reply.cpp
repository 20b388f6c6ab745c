#include "reply/reply.h"

#include "base/readers.h"
#include "base/xml.h"

#include <libxml/xmlsave.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

void reply_printf(xmlBufferPtr buf, const char *fmt, ...)
{
    char text[256];
    va_list ap;
    va_start(ap, fmt);
    vsnprintf(text, sizeof text, fmt, ap);
    va_end(ap);
    xmlBufferCCat(buf, text);
}

void reply_append(xmlBufferPtr buf, const char *text)
{
    xmlBufferCCat(buf, text);
}

static void error_head(xmlBufferPtr buf, int id, const char *desc)
{
    int len = xmlBufferLength(buf);
    if (len > 0 && xmlBufferContent(buf)[len - 1] != '>') xmlBufferCCat(buf, ">");
    reply_printf(buf, "<error id=\"%d\"><desc>", id);
    xmlBufferCCat(buf, desc);
    xmlBufferCCat(buf, "</desc>");
}

void reply_error(xmlBufferPtr buf, int id, const char *desc, const char *hint)
{
    error_head(buf, id, desc);
    if (hint) reply_printf(buf, "<hint>%s</hint>", hint);
    xmlBufferCCat(buf, "</error>");
}

// The length of the longest start of escaped text within `limit` bytes that ends on a character
// boundary and not inside an escape (the longest, "&amp;", has 5 characters).
static size_t whole_prefix(const char *text, size_t length, size_t limit)
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

void reply_error_quoted(xmlBufferPtr buf, int id, const char *desc, const char *hint)
{
    error_head(buf, id, desc);
    if (hint) {
        xml::buffer_ptr escaped(xmlBufferCreate());
        if (escaped) reply_text(escaped.get(), hint);
        const char *text = escaped ? xml::chars(xmlBufferContent(escaped.get())) : "";
        constexpr size_t room = 255 - (sizeof "<hint></hint>" - 1);
        xmlBufferCCat(buf, "<hint>");
        xmlBufferAdd(buf, xml::uchars(text),
                     static_cast<int>(whole_prefix(text, std::strlen(text), room)));
        xmlBufferCCat(buf, "</hint>");
    }
    xmlBufferCCat(buf, "</error>");
}

void reply_open_tag(xmlBufferPtr buf, const char *tag, const char *name)
{
    xmlBufferCCat(buf, "<");
    xmlBufferCCat(buf, tag);
    if (name) reply_printf(buf, " name=\"%s\"", name);
    xmlBufferCCat(buf, ">");
}

void reply_close_tag(xmlBufferPtr buf, const char *tag)
{
    xmlBufferCCat(buf, "</");
    xmlBufferCCat(buf, tag);
    xmlBufferCCat(buf, ">");
}

// Serialises like xmlNodeDump of the attribute, except that entity references in the value are
// written expanded: a reply carries no DTD, so a reference would leave it unparsable.
void reply_attribute(xmlBufferPtr buf, xmlAttrPtr attr)
{
    xmlBufferCCat(buf, " ");
    if (attr->ns && attr->ns->prefix) {
        xmlBufferCat(buf, attr->ns->prefix);
        xmlBufferCCat(buf, ":");
    }
    xmlBufferCat(buf, attr->name);
    xmlBufferCCat(buf, "=\"");
    const xmlNode *only = attr->children;
    if (only && !only->next && only->type == XML_TEXT_NODE) {
        // The usual value, one text node, needs no copy.
        xmlAttrSerializeTxtContent(buf, attr->doc, attr, only->content);
    } else {
        xml::text_ptr value(xmlNodeGetContent(reinterpret_cast<xmlNodePtr>(attr)));
        if (value) xmlAttrSerializeTxtContent(buf, attr->doc, attr, value.get());
    }
    xmlBufferCCat(buf, "\"");
}

static void append_start_tag(xmlBufferPtr buf, xmlNodePtr element, const char *end)
{
    xmlBufferCCat(buf, "<");
    xmlBufferCat(buf, element->name);
    for (xmlAttrPtr attr = element->properties; attr; attr = attr->next)
        reply_attribute(buf, attr);
    xmlBufferCCat(buf, end);
}

void reply_open_tag_attrs(xmlBufferPtr buf, xmlNodePtr element)
{
    append_start_tag(buf, element, ">");
}

void reply_empty_tag_attrs(xmlBufferPtr buf, xmlNodePtr element)
{
    append_start_tag(buf, element, "/>");
}

// CDATA sections, comments and processing instructions have no name worth echoing: written as
// elements they would make the reply unparsable.
void reply_empty_children(xmlBufferPtr buf, xmlNodePtr element)
{
    for (xmlNodePtr child = element->children; child; child = child->next)
        if (child->type == XML_ELEMENT_NODE) reply_empty_tag_attrs(buf, child);
}

int reply_trim_end(xmlBufferPtr buf, int count)
{
    if (!buf || count < 0 || count > xmlBufferLength(buf)) return -1;
    buf->use -= static_cast<unsigned>(count);
    buf->content[buf->use] = 0;
    return 0;
}

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

} // namespace

void reply_text(xmlBufferPtr buf, const char *text, size_t length)
{
    const auto *p = reinterpret_cast<const unsigned char *>(text);
    size_t plain = 0; // bytes at the start of p that go out unchanged
    auto flush = [&] {
        if (plain) xmlBufferAdd(buf, p, static_cast<int>(plain));
        p += plain;
        length -= plain;
        plain = 0;
    };
    while (plain < length) {
        unsigned char c = p[plain];
        const char *escape = c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : nullptr;
        size_t valid = escape ? 0 : xml_char_length(p + plain, length - plain);
        if (valid) {
            plain += valid;
            continue;
        }
        flush();
        xmlBufferCCat(buf, escape ? escape : "?");
        ++p;
        --length;
    }
    flush();
}

void reply_text(xmlBufferPtr buf, const char *text)
{
    if (text) reply_text(buf, text, std::strlen(text));
}

int append_file(xmlBufferPtr buf, const char *path, size_t piece)
{
    return read_pieces(path, piece, SIZE_MAX, [buf](const char *data, size_t count) {
        xmlBufferAdd(buf, xml::uchars(data), static_cast<int>(count));
    });
}
