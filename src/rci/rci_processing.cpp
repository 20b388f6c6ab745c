#include "base/log.h"
#include "base/xml.h"
#include "rci/command_table.h"
#include "rci/rci.h"
#include "reply/reply.h"

#include <climits>

namespace
{

// Checks the root and reports the result code that ends processing, or 0 to go on.
int check_root(xmlNodePtr root)
{
    if (!root || !root->name || !root->children) {
        log_msg(LOG_ERR, "No RCI sent in request.\n");
        return RCI_NO_CONTENT;
    }
    if (!xml::name_is(root, "rci_request")) {
        log_msg(LOG_ERR, "Unknown RCI type %s, expecting rci_request.\n", xml::chars(root->name));
        return RCI_WRONG_ROOT;
    }
    return 0;
}

void run_command(reply_buffer &reply, xmlNodePtr element, request_source source)
{
    const char *name = xml::chars(element->name);
    const rci_command *command = rci_find_command(name);
    if (!command) {
        log_msg(LOG_ERR, "Invalid rci_command: %s\n", name);
        reply_error(reply, 3, "Unknown command", name);
        return;
    }
    int result = command->handler(reply, element, source);
    trace("%s returned %d\n", name, result);
}

} // namespace

int RCI_Processing(const char *text, size_t size, reply_buffer &reply, request_source source)
{
    int len = size > INT_MAX ? INT_MAX : static_cast<int>(size);
    trace("RCI_Processing: %.*s\n", len, text);
    xml::doc_ptr doc = xml::parse_memory(text, len);
    if (!doc) {
        log_msg(LOG_ERR, "Unable to parse input buffer %d chars\n", len);
        trace("Unable to parse: %.*s\n", len, text);
        return RCI_NOT_WELL_FORMED;
    }
    xmlNodePtr root = xmlDocGetRootElement(doc.get());
    if (int result = check_root(root)) return result;
    reply.append("<rci_reply version=\"1.1\">");
    for (xmlNodePtr child = root->children; child; child = child->next)
        if (child->type == XML_ELEMENT_NODE) run_command(reply, child, source);
    reply.append("</rci_reply>");
    // A reply that lost a piece to a failed allocation is not sent at all.
    if (reply.failed() || reply.size() > INT_MAX) {
        log_msg(LOG_ERR, "Unable to build the reply\n");
        reply.truncate(0);
        return RCI_NO_BUFFER;
    }
    return static_cast<int>(reply.size());
}
