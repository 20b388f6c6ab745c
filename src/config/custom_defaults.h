// Custom default settings that a product installation applies after every factory revert.
#pragma once

#include "base/xml.h"
#include "reply/reply_buffer.h"
#include "reply/request_source.h"

// Applies each set_setting command of the custom defaults file in turn, with the access rules of
// `source` and without asking the parent to regenerate (the revert does that once). Stops at the
// first failure and writes its error, or the failed set_setting reply, into `reply`; commands
// before it stay applied. 0 when there is no file or every command succeeded, else negative.
int apply_custom_defaults(reply_buffer &reply, xmlNodePtr request, request_source source);
