#include "reply/reply.h"

#include "base/readers.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

void reply_printf(reply_buffer &reply, const char *fmt, ...)
{
    // One byte beyond the limit shows whether the output was longer.
    char text[reply_piece_limit + 2];
    va_list ap;
    va_start(ap, fmt);
    int length = vsnprintf(text, sizeof text, fmt, ap);
    va_end(ap);
    if (length < 0) return;
    size_t kept = std::min(static_cast<size_t>(length), sizeof text - 1);
    reply.append_cut(std::string_view(text, kept), reply_piece_limit);
}

void reply_error(reply_buffer &reply, int id, const char *desc, const char *hint)
{
    if (!reply.empty() && reply.view().back() != '>') reply.append(">");
    reply_printf(reply, "<error id=\"%d\"><desc>", id);
    reply.append_text(desc);
    reply.append("</desc>");
    if (hint) {
        constexpr std::string_view open = "<hint>", close = "</hint>";
        reply.append(open);
        reply.append_text(hint, reply_piece_limit - open.size() - close.size());
        reply.append(close);
    }
    reply.append("</error>");
}

void reply_open_tag(reply_buffer &reply, const char *tag, const char *name)
{
    reply.append("<");
    reply.append(tag);
    if (name) reply_printf(reply, " name=\"%s\"", name);
    reply.append(">");
}

void reply_close_tag(reply_buffer &reply, const char *tag)
{
    reply.append("</");
    reply.append(tag);
    reply.append(">");
}

// Serialises like xmlNodeDump of the attribute, except that entity references in the value are
// written expanded: a reply carries no DTD, so a reference would leave it unparsable.
void reply_attribute(reply_buffer &reply, xmlAttrPtr attr)
{
    reply.append(" ");
    if (attr->ns && attr->ns->prefix) {
        reply.append(xml::chars(attr->ns->prefix));
        reply.append(":");
    }
    reply.append(xml::chars(attr->name));
    reply.append("=\"");
    const xmlNode *only = attr->children;
    if (only && !only->next && only->type == XML_TEXT_NODE) {
        // The usual value, one text node, needs no copy.
        reply.append_attribute_value(attr->doc, only->content);
    } else {
        xml::text_ptr value(xmlNodeGetContent(reinterpret_cast<xmlNodePtr>(attr)));
        reply.append_attribute_value(attr->doc, value.get());
    }
    reply.append("\"");
}

static void append_start_tag(reply_buffer &reply, xmlNodePtr element, const char *end)
{
    reply.append("<");
    reply.append(xml::chars(element->name));
    for (xmlAttrPtr attr = element->properties; attr; attr = attr->next)
        reply_attribute(reply, attr);
    reply.append(end);
}

void reply_open_tag_attrs(reply_buffer &reply, xmlNodePtr element)
{
    append_start_tag(reply, element, ">");
}

void reply_empty_tag_attrs(reply_buffer &reply, xmlNodePtr element)
{
    append_start_tag(reply, element, "/>");
}

void reply_empty_children(reply_buffer &reply, xmlNodePtr element)
{
    for (xmlNodePtr child = element->children; child; child = child->next)
        if (child->type != XML_TEXT_NODE && child->type != XML_CDATA_SECTION_NODE)
            reply_empty_tag_attrs(reply, child);
}

int append_file(reply_buffer &reply, const char *path, size_t piece)
{
    return read_pieces(path, piece, SIZE_MAX, [&reply](const char *data, size_t count) {
        reply.append(std::string_view(data, count));
    });
}
