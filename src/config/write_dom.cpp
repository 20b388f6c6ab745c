#include "config/write_dom.h"

#include "base/log.h"
#include "channel/channel.h"
#include "config/config.h"
#include "config/handlers.h"
#include "config/merge.h"
#include "config/query.h"
#include "config/save.h"
#include "config/worklog.h"
#include "reply/reply.h"

#include <array>
#include <cerrno>

namespace
{

// One row of the set_setting error table: the id sent to the client (and, negated, returned by
// write_dom) and its description.
struct change_error {
    int id;
    const char *text;
};

constexpr std::array change_errors{
    change_error{.id = 1, .text = "Invalid source specified"},
    change_error{.id = 2, .text = "Unable to get LOCAL config"},
    change_error{.id = 3, .text = "Unable to read new values"},
    change_error{.id = 4, .text = "Empty config"},
    change_error{.id = 5, .text = "Unable to open configuration worklog"},
    change_error{.id = 6, .text = "Internal error"},
    change_error{.id = 7, .text = "Invalid RCI Request"},
    change_error{.id = 8, .text = "Set setting validation file could not be found"},
    change_error{.id = 9, .text = "Item is not writable"},
};

change_paths paths_in_use = device_change_paths;

// index="1" means the first instance and would otherwise stop the request from matching a group
// stored with another index; ro and wo are the store's to set, never a client's.
void strip_request_attributes(xmlNodePtr parent)
{
    for (xmlNodePtr node = parent->children; node; node = node->next) {
        if (node->type != XML_ELEMENT_NODE) continue;
        const xmlChar *index = attr_text(node, "index");
        const char *name = xml::chars(node->name);
        if (index && xmlStrEqual(index, xml::uchars("1")) &&
            xmlUnsetProp(node, xml::uchars("index")) == 0)
            trace("Removing index=1 attribute from node %s\n", name);
        if (xmlUnsetProp(node, xml::uchars("ro")) == 0)
            trace("Removing ro= attribute from node %s\n", name);
        if (xmlUnsetProp(node, xml::uchars("wo")) == 0)
            trace("Removing wo= attribute from node %s\n", name);
        strip_request_attributes(node);
    }
}

bool attribute_is(xmlNodePtr element, const char *name, const char *value)
{
    xml::text_ptr text(xmlGetProp(element, xml::uchars(name)));
    return text && xmlStrEqual(text.get(), xml::uchars(value));
}

// The checks before validation: 0 to go on, or the error id.
int check_request(xmlNodePtr request, bool *deferred)
{
    if (!request || !request->children) {
        log_msg(LOG_ERR, "Unable to read new values.\n");
        return 3;
    }
    strip_request_attributes(request);
    *deferred = attribute_is(request, "action", "deferred");
    if (xmlHasProp(request, xml::uchars("source")) && !attribute_is(request, "source", "current")) {
        log_msg(LOG_ERR, "Invalid source specified for write_dom\n");
        return 1;
    }
    xmlDocPtr doc = config_current();
    if (!doc) {
        log_msg(LOG_ERR, "Unable to get LOCAL config\n");
        return 2;
    }
    xmlNodePtr root = xmlDocGetRootElement(doc);
    if (!root || !root->children) {
        log_msg(LOG_ERR, "Empty config!\n");
        return 4;
    }
    return 0;
}

// All or nothing: the accepted changes of a request that had a refused one are dropped too.
int discard_changes(int error)
{
    config_reload_local();
    return error;
}

// Validates, merges, saves and notifies; 0 or the error id.
int apply_change(xmlNodePtr request, request_source source, change_notice notify,
                 reply_buffer &errors)
{
    bool deferred = false;
    if (int error = check_request(request, &deferred)) return error;
    if (int error = validate_request(request, paths_in_use.schema, set_setting_rule, errors))
        return error;
    log_msg(LOG_INFO, "Validation of RCI set_setting request successful\n");
    worklog_lock worklog;
    if (worklog.fd() < 0) {
        log_msg(LOG_ERR, "Unable to open configuration worklog(%d). (%d)\n", worklog.fd(), errno);
        return 5;
    }
    xmlNodePtr root = xmlDocGetRootElement(config_current());
    int error = merge_request(request, root, source, worklog.fd(), errors);
    error = error ? discard_changes(error) : config_save(config_current());
    if (worklog.close() < 0) {
        log_msg(LOG_ERR, "Unable to write to worklog! %d\n", errno);
        error = 6;
    }
    if (error == 0 && !deferred && notify == change_notice::regenerate)
        parent_send(LETTER_GENERATE);
    return error;
}

} // namespace

const change_paths &current_change_paths()
{
    return paths_in_use;
}

void set_change_paths(const change_paths &paths)
{
    paths_in_use = paths;
}

const char *change_error_text(int id)
{
    for (const change_error &row : change_errors)
        if (row.id == id) return row.text;
    return "";
}

// The merge leaves the request's own children and their attributes in place: the echo of a
// success is written from them afterwards.
int write_dom(reply_buffer &reply, xmlNodePtr request, request_source source, change_notice notify)
{
    if (request) reply_open_tag_attrs(reply, request);
    int error = apply_change(request, source, notify, reply);
    // Validation and access errors have already written their own elements.
    if (error == 0)
        reply_empty_children(reply, request);
    else if (error != 7 && error != 9)
        reply_error(reply, error, change_error_text(error), nullptr);
    if (request) reply_close_tag(reply, xml::chars(request->name));
    trace("response is: %s\n", reply.c_str());
    return -error;
}

int set_setting(reply_buffer &reply, xmlNodePtr command, request_source source)
{
    return write_dom(reply, command, source, change_notice::regenerate);
}
