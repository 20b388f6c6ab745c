// Configuration access for local programs over the message bus, without an RCI envelope.
#pragma once

#include "base/xml.h"

#include <cstddef>

// "<config>" + every element that `xpath` selects in the document of `save`, rendered with the
// access rules of `source`, + "</config>"; nullptr for a bad selector or an empty selection.
xml::buffer_ptr vexacsd_config_read_xmltree(int save, const char *xpath, const char *source);

// Applies a set_setting document exactly as the RCI command does and writes its set_setting reply
// element into `reply`. 0 on success, -1 when the text is missing, empty or not a usable
// document (nothing written), otherwise minus the set_setting error id.
int config_parse_xmltree(xmlBufferPtr reply, const char *text, int length, const char *source);
