#include "base/log.h"
#include "config/query.h"
#include "reply/reply.h"

#include <cstring>

namespace
{

bool hidden(xmlNodePtr element, request_source source)
{
    if (!node_readable(element, source)) return true;
    // Read-only settings are hidden from the cloud; local scripts see them.
    return source == request_source::cloud && !node_writable(element, source);
}

bool access_attribute(const xmlNode *attr)
{
    return xml::name_is(attr, "ro") || xml::name_is(attr, "wo");
}

// Stored text is encoded as libxml2 encodes it, against its own document.
void render_text(reply_buffer &buf, xmlNodePtr text)
{
    buf.append_encoded(text->doc, text->content);
}

void render_element(reply_buffer &buf, xmlNodePtr element, request_source source)
{
    buf.append("<");
    buf.append(xml::chars(element->name));
    if (!element->children) {
        buf.append("/>");
        return;
    }
    for (xmlAttrPtr attr = element->properties; attr; attr = attr->next)
        render_node(buf, reinterpret_cast<xmlNodePtr>(attr), source);
    buf.append(">");
    for (xmlNodePtr child = element->children; child; child = child->next)
        render_node(buf, child, source);
    buf.append("</");
    buf.append(xml::chars(element->name));
    buf.append(">");
}

} // namespace

void render_node(reply_buffer &buf, xmlNodePtr node, request_source source)
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
