// Schema validation of set_setting requests.
#pragma once

#include "base/xml.h"

// Validates the request element, with its whole subtree, against the RelaxNG grammar in
// `schema`, which is read anew for every request. Each problem libxml2 reports becomes one error
// element (id 7) in `errors`. Returns 0 when the request is valid, 7 when it is not, and 8 when
// the grammar is missing or cannot be read.
int validate_request(xmlNodePtr request, const char *schema, xmlBufferPtr errors);
