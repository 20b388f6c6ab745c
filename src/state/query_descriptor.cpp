#include "base/log.h"
#include "base/readers.h"
#include "base/xml.h"
#include "reply/reply.h"
#include "state/handlers.h"

#include <cerrno>
#include <cstring>
#include <string>

namespace
{

constexpr const char *prefix = "/usr/share/descriptors/query_descriptor";

xmlNodePtr next_element(xmlNodePtr node)
{
    while (node && node->type != XML_ELEMENT_NODE)
        node = node->next;
    return node;
}

// "-NAME" of the first element child, "@ATTR#VALUE" of its first attribute, "-NAME" of each of
// its element children; each piece goes through the 255-character formatter.
void append_shape(reply_buffer &name, xmlNodePtr command)
{
    xmlNodePtr asked = next_element(command->children);
    if (!asked) return;
    reply_printf(name, "-%s", xml::chars(asked->name));
    if (xmlAttrPtr attr = asked->properties) {
        xml::text_ptr value(xmlNodeGetContent(reinterpret_cast<xmlNodePtr>(attr)));
        reply_printf(name, "@%s#%s", xml::chars(attr->name), value ? xml::chars(value.get()) : "");
    }
    for (xmlNodePtr child = next_element(asked->children); child; child = next_element(child->next))
        reply_printf(name, "-%s", xml::chars(child->name));
}

// Attribute values may hold "/": such a name leads nowhere, so no request reads a file outside
// the descriptor folder.
int stream_descriptor(reply_buffer &reply, const char *path)
{
    if (std::strchr(path + std::strlen(prefix), '/')) {
        errno = ENOENT;
        return -1;
    }
    return append_file(reply, path, 1024);
}

} // namespace

int query_descriptor(reply_buffer &reply, xmlNodePtr command, request_source)
{
    reply_buffer path;
    log_msg(LOG_INFO, "Processing %s -", xml::chars(command->name));
    path.append(prefix);
    append_shape(path, command);
    path.append(".xml");
    if (path.failed()) {
        reply.fail();
        return -1;
    }
    const char *file = path.c_str();
    log_msg(LOG_INFO, " %s\n", file);
    reply.append("<query_descriptor>");
    int result = stream_descriptor(reply, file);
    if (result < 0) {
        log_msg(LOG_ERR, "Error %d reading %s\n", errno, file);
        reply_error(reply, 2, "Descriptor not available", file);
    }
    reply.append("</query_descriptor>");
    return result;
}
