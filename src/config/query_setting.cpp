#include "base/log.h"
#include "config/config.h"
#include "config/handlers.h"
#include "config/query.h"
#include "reply/reply.h"

#include <cstring>

namespace
{

// The document that a query's `source` attribute names, or nullptr with the log line for an
// unknown name (`known` tells the two apart).
xmlDocPtr query_document(xmlNodePtr request, bool *known)
{
    *known = true;
    if (!request || !xmlHasProp(request, xml::uchars("source"))) return config_current();
    // An empty (or unreadable) source names no document: it is refused like any unknown name.
    const xmlChar *source = attr_text(request, "source");
    if (!source) source = xml::uchars("");
    if (xmlStrEqual(source, xml::uchars("current"))) return config_current();
    if (xmlStrEqual(source, xml::uchars("defaults")) ||
        xmlStrEqual(source, xml::uchars("internal_defaults")))
        return config_defaults();
    log_msg(LOG_ERR, "Invalid source %s specified for read_dom\n", xml::chars(source));
    *known = false;
    return nullptr;
}

void report_unknown(reply_buffer &buf, xmlNodePtr request)
{
    log_msg(LOG_WARNING, "Unable to find %s in config.\n", xml::chars(request->name));
    reply_error(buf, 1, "Setting group unknown", xml::chars(request->name));
}

// Renders every stored sibling named like the request; false when there is none.
bool render_all_named(reply_buffer &buf, xmlNodePtr request, xmlNodePtr stored,
                      request_source source)
{
    bool found = false;
    for (; stored; stored = stored->next) {
        if (stored->type == XML_ELEMENT_NODE && xmlStrEqual(stored->name, request->name)) {
            render_node(buf, stored, source);
            found = true;
        }
    }
    return found;
}

xmlNodePtr find_match(xmlNodePtr request, xmlNodePtr stored)
{
    for (; stored; stored = stored->next)
        if (xml_nodes_equal(stored, request, match_mode::first_instance)) return stored;
    return nullptr;
}

void walk(reply_buffer &buf, xmlNodePtr request_first, xmlNodePtr stored_first,
          request_source source);

// A request element with children narrows the reply to the settings it names. Its start tag
// echoes the request (without ro and wo); every start tag written here is closed again, also
// when the stored match has no settings at all, so the reply always parses.
void descend(reply_buffer &buf, xmlNodePtr request, xmlNodePtr match, request_source source)
{
    buf.append("<");
    buf.append(xml::chars(request->name));
    for (xmlAttrPtr attr = request->properties; attr; attr = attr->next)
        render_node(buf, reinterpret_cast<xmlNodePtr>(attr), source);
    buf.append(">");
    if (match->children) {
        walk(buf, request->children, match->children, source);
    } else {
        for (xmlNodePtr child = request->children; child; child = child->next)
            if (child->type == XML_ELEMENT_NODE) report_unknown(buf, child);
    }
    buf.append("</");
    buf.append(xml::chars(request->name));
    buf.append(">");
}

// Answers each request element from the stored siblings; every search starts again at the first
// stored sibling, so two requests for one plain group both render all of its instances.
void walk(reply_buffer &buf, xmlNodePtr request_first, xmlNodePtr stored_first,
          request_source source)
{
    for (xmlNodePtr request = request_first; request; request = request->next) {
        if (request->type != XML_ELEMENT_NODE) continue;
        bool narrowed = has_element_child(request);
        if (!narrowed && !has_index_or_name(request)) {
            if (!render_all_named(buf, request, stored_first, source)) report_unknown(buf, request);
            continue;
        }
        xmlNodePtr match = find_match(request, stored_first);
        if (!match)
            report_unknown(buf, request);
        else if (narrowed)
            descend(buf, request, match, source);
        else
            render_node(buf, match, source);
    }
}

} // namespace

int read_dom(reply_buffer &reply, xmlNodePtr request, request_source source)
{
    bool known = false;
    xmlDocPtr doc = query_document(request, &known);
    if (!known) return -1;
    if (!doc) {
        log_msg(LOG_ERR, "Unable to get config for read_dom\n");
        return -1;
    }
    xmlNodePtr root = xmlDocGetRootElement(doc);
    if (!root || !root->children) {
        trace("No cfg!\n");
        return -1;
    }
    if (request)
        reply_open_tag_attrs(reply, request);
    else
        reply.append("<query_setting>");
    if (request && has_element_child(request)) {
        walk(reply, request->children, root->children, source);
    } else {
        for (xmlNodePtr child = root->children; child; child = child->next)
            render_node(reply, child, source);
    }
    reply.append("</query_setting>");
    return 0;
}

int query_setting(reply_buffer &reply, xmlNodePtr command, request_source source)
{
    if (read_dom(reply, command, source) < 0)
        reply_error(reply, 4, "Internal error", "query_setting");
    return 0;
}
