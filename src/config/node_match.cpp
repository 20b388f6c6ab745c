#include "base/log.h"
#include "config/query.h"

#include <cstring>

const xmlChar *attr_text(const xmlNode *element, const char *name)
{
    for (const xmlAttr *attr = element->properties; attr; attr = attr->next) {
        if (xmlStrcmp(attr->name, xml::uchars(name)) != 0) continue;
        const xmlNode *text = attr->children;
        return text && text->type == XML_TEXT_NODE && text->content && text->content[0]
                   ? text->content
                   : nullptr;
    }
    return nullptr;
}

// The attributes list sources by name, and a name anywhere in the text counts.
static bool listed(xmlNodePtr node, const char *attribute, request_source source)
{
    if (node->type != XML_ELEMENT_NODE) return false;
    const xmlChar *text = attr_text(node, attribute);
    return text && std::strstr(xml::chars(text), request_source_name(source));
}

int node_writable(xmlNodePtr node, request_source source)
{
    if (!listed(node, "ro", source)) return 1;
    if (debug_level > 0) {
        xml::text_ptr path(xmlGetNodePath(node));
        trace("Node %s NOT writable!\n", path ? xml::chars(path.get()) : "");
    }
    return 0;
}

int node_readable(xmlNodePtr node, request_source source)
{
    return listed(node, "wo", source) ? 0 : 1;
}

int has_index_or_name(xmlNodePtr element)
{
    return xmlHasProp(element, xml::uchars("index")) || xmlHasProp(element, xml::uchars("name"))
               ? 1
               : 0;
}

int has_element_child(xmlNodePtr node)
{
    for (xmlNodePtr child = node->children; child; child = child->next)
        if (child->type == XML_ELEMENT_NODE) return 1;
    return 0;
}

namespace
{

bool same(const xmlChar *a, const xmlChar *b)
{
    return a && b && xmlStrcmp(a, b) == 0;
}

// Matching the first instance, a request for instance 1 also finds a group stored without index
// or name.
bool first_instance_passes(xmlNodePtr stored)
{
    const xmlChar *index = attr_text(stored, "index");
    if (index) return same(index, xml::uchars("1"));
    return !xmlHasProp(stored, xml::uchars("name"));
}

bool attribute_passes(xmlNodePtr stored, const xmlAttr *attr, match_mode mode)
{
    const xmlChar *value = attr_text(attr->parent, xml::chars(attr->name));
    if (mode == match_mode::first_instance && same(attr->name, xml::uchars("index")) &&
        same(value, xml::uchars("1")))
        return first_instance_passes(stored);
    if (!value) return true;
    const xmlChar *stored_value = attr_text(stored, xml::chars(attr->name));
    bool match = same(stored_value, value);
    trace(match ? "attr %s match.\n" : "attr %s NO match.\n", xml::chars(attr->name));
    return match;
}

} // namespace

int xml_nodes_equal(xmlNodePtr stored, xmlNodePtr request, match_mode mode)
{
    if (stored->type != request->type) {
        trace("%s %s types differ.  No match.\n", xml::chars(stored->name),
              xml::chars(request->name));
        return 0;
    }
    if (!stored->name || !request->name || xmlStrcmp(stored->name, request->name) != 0) {
        trace("%s %s No match.\n", xml::chars(stored->name), xml::chars(request->name));
        return 0;
    }
    if (!stored->properties && !request->properties) return 1;
    trace(mode == match_mode::first_instance ? "xml_nodes_equal - rci_mode\n"
                                             : "xml_nodes_equal - normal mode\n");
    for (const xmlAttr *attr = request->properties; attr; attr = attr->next)
        if (!attribute_passes(stored, attr, mode)) return 0;
    trace("%s MATCH\n", xml::chars(stored->name));
    return 1;
}
