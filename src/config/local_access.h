// Configuration access for local programs over the message bus, without an RCI envelope.
#pragma once

#include "base/xml.h"
#include "reply/reply_buffer.h"
#include "reply/request_source.h"

#include <cstddef>

// Reads part of the configuration: appends "<config>", every element that `xpath` selects in the
// document of `save`, rendered with the access rules of `source`, and "</config>" to `out`. 0,
// or -1 with nothing appended for a bad selector or an empty selection.
int vexacsd_config_read_xmltree(reply_buffer &out, int save, const char *xpath,
                                request_source source);

// Applies a configuration change given as text: parses `text` as a set_setting document and
// applies it exactly as the RCI command does (write_dom), writing its set_setting reply element
// into `reply`. 0 on success, -1 when the text is missing, empty or not a usable document
// (nothing written), otherwise minus the set_setting error id.
int config_parse_xmltree(reply_buffer &reply, const char *text, int length, request_source source);
