#include "base/log.h"
#include "config/local_access.h"
#include "config/write_dom.h"

int config_parse_xmltree(reply_buffer &reply, const char *text, int length, request_source source)
{
    if (!text || length <= 0) {
        log_msg(LOG_ERR, "config_parse_xmltree called with invalid params %p %d\n",
                static_cast<const void *>(text), length);
        return -1;
    }
    trace("RCI_parse: %.*s\n", length, text);
    xml::doc_ptr doc = xml::parse_memory(text, length);
    if (!doc) {
        log_msg(LOG_ERR, "config_parse_xmltree parse failed! %d\n", length);
        trace("Unable to parse input buffer %d chars (%.*s)\n", length, length, text);
        return -1;
    }
    xmlNodePtr root = xmlDocGetRootElement(doc.get());
    if (!root || !root->name || !root->children) {
        trace("\nEmpty RCI! (%.*s)\n", length, text);
        return -1;
    }
    return write_dom(reply, root, source, change_notice::regenerate);
}
