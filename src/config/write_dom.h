// Setting changes: validate a set_setting request, merge it into the current document, record
// each change in the worklog, save the document and ask the parent to regenerate system files.
#pragma once

#include "base/xml.h"
#include "reply/request_source.h"
#include "reply/validation.h"

// Files of the device that configuration changes read besides the configuration file table.
// The daemon always uses the device's; tests point them at scratch files.
struct change_paths {
    const char *schema;          // RelaxNG grammar of set_setting, read for every request
    const char *custom_defaults; // set_setting commands applied after a factory revert
    const char *certs;           // folder of identity/, socket_*/ and wifi_ca/
};
inline constexpr change_paths device_change_paths{
    .schema = "/usr/share/validation/set_setting.rng",
    .custom_defaults = "/userfs/custom/config_custom.rci",
    .certs = "/userfs/certs",
};
const change_paths &current_change_paths();
void set_change_paths(const change_paths &paths);

// Validation errors are id 7, one per problem; a grammar that cannot be read is id 8.
inline constexpr validation_rule set_setting_rule{
    .command = "set_setting",
    .invalid_id = 7,
    .missing_id = 8,
    .missing_text = "RelaxNG validation, set_setting.rng file not present\n",
};

// The description of a set_setting error id, or "" for an id outside the table.
const char *change_error_text(int id);

// Whether a saved change tells the parent.
enum class change_notice { regenerate, none };

// Applies a set_setting request (or any element passed as one: the schema admits only a valid
// set_setting) for the request source `source`. The request's children may be moved into the
// configuration; the caller still owns and frees the request. Appends the set_setting reply
// element to `reply`: on success the request's groups as empty elements, else the error elements.
// With change_notice::regenerate a saved change that is not deferred asks the parent to regenerate
// the system files (LETTER_GENERATE); change_notice::none never does. This is what answers
// set_setting. Returns 0, or minus the error id of the reply.
int write_dom(reply_buffer &reply, xmlNodePtr request, request_source source, change_notice notify);
