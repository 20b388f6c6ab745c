// Setting changes: validate a set_setting request, merge it into the current document, record
// each change in the worklog, save the document and ask the parent to regenerate system files.
#pragma once

#include "base/xml.h"

// Applies a set_setting request (or any element passed as one: the schema admits only a valid
// set_setting) for the request source `source`. The request's children may be moved into the
// configuration; the caller still owns and frees the request. Writes the set_setting reply
// element into `reply` when it is not null. `notify` 0 never sends 'g' to the parent.
// Returns 0, or minus the error id of the reply.
int write_dom(xmlBufferPtr reply, xmlNodePtr request, const char *source, int notify);
