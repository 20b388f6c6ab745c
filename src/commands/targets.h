// The do_command targets that vexacsd serves itself, and the shape of a target that do_command
// runs.
#pragma once

#include "reply/reply_buffer.h"
#include "reply/request_source.h"

// A do_command target: writes its output, or its error elements, between the do_command tags of
// the reply. `target` is the target name as requested, `source` the request source. 0 on success,
// -1 otherwise; the result is only traced.
using command_target_fn = int (*)(reply_buffer &reply, xmlNodePtr command, const char *target,
                                  request_source source);

// "update": starts the system firmware update from an image already on the device.
int firmware_update_command(reply_buffer &reply, xmlNodePtr command, const char *target,
                            request_source source);
// "set_password": asks the parent to change an account's password.
int set_password_command(reply_buffer &reply, xmlNodePtr command, const char *target,
                         request_source source);

// Appends every child node of `element`, in order, with its markup and without formatting.
// 0, or -1 when a child cannot be serialised.
int serialise_children(reply_buffer &out, xmlNodePtr element);
