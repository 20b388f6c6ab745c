// The merge of a validated set_setting request into a configuration document.
#pragma once

#include "base/xml.h"
#include "reply/reply_buffer.h"
#include "reply/request_source.h"

// Merges the children of `request` into the children of `root`, element by element, appending
// the path of every changed stored element to the worklog `worklog_fd`. Elements that are
// read-only for `source` are refused with an error element (id 9) in `errors` and the merge goes
// on with the others. Children of the request may be moved into the document. Returns 0, or 9
// when anything was refused.
int merge_request(xmlNodePtr request, xmlNodePtr root, request_source source, int worklog_fd,
                  reply_buffer &errors);
