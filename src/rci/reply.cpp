#include "rci/reply.h"

#include "base/xml.h"

#include <libxml/xmlsave.h>

#include <cstdarg>
#include <cstdio>

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

void reply_error(xmlBufferPtr buf, int id, const char *desc, const char *hint)
{
    int len = xmlBufferLength(buf);
    if (len > 0 && xmlBufferContent(buf)[len - 1] != '>') xmlBufferCCat(buf, ">");
    reply_printf(buf, "<error id=\"%d\"><desc>", id);
    xmlBufferCCat(buf, desc);
    xmlBufferCCat(buf, "</desc>");
    if (hint) reply_printf(buf, "<hint>%s</hint>", hint);
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

void reply_empty_children(xmlBufferPtr buf, xmlNodePtr element)
{
    for (xmlNodePtr child = element->children; child; child = child->next)
        if (child->type != XML_TEXT_NODE) reply_empty_tag_attrs(buf, child);
}

int reply_trim_end(xmlBufferPtr buf, int count)
{
    if (!buf || count < 0 || count > xmlBufferLength(buf)) return -1;
    buf->use -= static_cast<unsigned>(count);
    buf->content[buf->use] = 0;
    return 0;
}
