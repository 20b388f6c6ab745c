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

void run_command(xmlBufferPtr reply, xmlNodePtr element, const char *source)
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

int RCI_Processing(const char *text, size_t size, xmlBufferPtr *reply, const char *source)
{
    *reply = nullptr;
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
    xml::buffer_ptr buf(xmlBufferCreate());
    if (!buf) return RCI_NO_BUFFER;
    xmlBufferCCat(buf.get(), "<rci_reply version=\"1.1\">");
    for (xmlNodePtr child = root->children; child; child = child->next)
        if (child->type == XML_ELEMENT_NODE) run_command(buf.get(), child, source);
    xmlBufferCCat(buf.get(), "</rci_reply>");
    *reply = buf.release();
    return xmlBufferLength(*reply);
}
