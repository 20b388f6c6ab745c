#include "config/custom_defaults.h"

#include "base/log.h"
#include "config/write_dom.h"
#include "reply/reply.h"

#include <sys/stat.h>

namespace
{

// Checks the document's root: 0 to go on, or the negative result of the whole step.
int check_root(reply_buffer &reply, xmlNodePtr root)
{
    if (!root || !root->name || !root->children) {
        log_msg(LOG_ERR, "No RCI in custom defaults.\n");
        return -2;
    }
    if (!xml::name_is(root, "rci_request")) {
        const char *name = xml::chars(root->name);
        log_msg(LOG_ERR, "Unknown RCI type %s in custom defaults, expecting rci_request.\n", name);
        reply_error(reply, 7, "set_factory_default: unknown RCI type in custom defaults.", name);
        return -3;
    }
    return 0;
}

int apply_commands(reply_buffer &reply, xmlNodePtr root, request_source source)
{
    for (xmlNodePtr command = root->children; command; command = command->next) {
        if (command->type != XML_ELEMENT_NODE) continue;
        const char *name = xml::chars(command->name);
        if (!xml::name_is(command, "set_setting")) {
            log_msg(LOG_ERR, "Invalid RCI command %s in custom defaults, expecting set_setting.\n",
                    name);
            reply_error(reply, 7, "set_factory_default: invalid RCI command in custom defaults.",
                        name);
            return -5;
        }
        // Only a failed command's set_setting reply is kept.
        size_t before = reply.mark();
        if (int result = write_dom(reply, command, source, change_notice::none); result < 0)
            return result;
        reply.truncate(before);
    }
    return 0;
}

} // namespace

int apply_custom_defaults(reply_buffer &reply, xmlNodePtr, request_source source)
{
    const char *path = current_change_paths().custom_defaults;
    struct stat info;
    if (stat(path, &info) != 0) return 0;
    log_msg(LOG_INFO, "set_factory_default: loading custom default settings.");
    xml::doc_ptr custom = xml::parse_file(path);
    if (!custom) {
        log_msg(LOG_ERR, "Unable to parse file '%s'\n", path);
        reply_error(reply, 7, "set_factory_default: unable to parse custom defaults.", path);
        return -1;
    }
    xmlNodePtr root = xmlDocGetRootElement(custom.get());
    if (int result = check_root(reply, root)) return result;
    return apply_commands(reply, root, source);
}
