#include "base/log.h"
#include "config/query.h"
#include "reply/reply.h"

#include <cstring>

namespace
{

bool hidden(xmlNodePtr element, const char *source)
{
    if (!node_readable(element, source)) return true;
    // Read-only settings are hidden from the cloud; local scripts see them.
    return std::strcmp(source, "nimbo") == 0 && !node_writable(element, source);
}

bool access_attribute(const xmlNode *attr)
{
    return xml::name_is(attr, "ro") || xml::name_is(attr, "wo");
}

// True when the entity encoding would return the text unchanged: plain ASCII without markup.
bool needs_no_encoding(const xmlChar *text)
{
    for (; *text; ++text)
        if (*text >= 0x80 || *text == '&' || *text == '<' || *text == '>' || *text == '\r')
            return false;
    return true;
}

void render_text(xmlBufferPtr buf, xmlNodePtr text)
{
    if (!text->content || !text->content[0]) return;
    // Most stored text (values and the layout between elements) needs no escaping: skip the copy.
    if (needs_no_encoding(text->content)) {
        xmlBufferCat(buf, text->content);
        return;
    }
    xml::text_ptr encoded(xmlEncodeEntitiesReentrant(text->doc, text->content));
    if (encoded) xmlBufferCat(buf, encoded.get());
}

void render_element(xmlBufferPtr buf, xmlNodePtr element, const char *source)
{
    xmlBufferCCat(buf, "<");
    xmlBufferCat(buf, element->name);
    if (!element->children) {
        xmlBufferCCat(buf, "/>");
        return;
    }
    for (xmlAttrPtr attr = element->properties; attr; attr = attr->next)
        render_node(buf, reinterpret_cast<xmlNodePtr>(attr), source);
    xmlBufferCCat(buf, ">");
    for (xmlNodePtr child = element->children; child; child = child->next)
        render_node(buf, child, source);
    xmlBufferCCat(buf, "</");
    xmlBufferCat(buf, element->name);
    xmlBufferCCat(buf, ">");
}

} // namespace

void render_node(xmlBufferPtr buf, xmlNodePtr node, const char *source)
{
    if (!node) return;
    switch (node->type) {
    case XML_ELEMENT_NODE:
        if (!hidden(node, source)) render_element(buf, node, source);
        break;
    case XML_ATTRIBUTE_NODE:
        if (!access_attribute(node)) reply_attribute(buf, reinterpret_cast<xmlAttrPtr>(node));
        break;
    case XML_TEXT_NODE:
        render_text(buf, node);
        break;
    default:
        trace("Unknown xml node type %d, ignoring.\n", node->type);
        break;
    }
}
