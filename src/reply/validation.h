// Schema validation of an RCI command element (set_setting, set_state) against a RelaxNG grammar
// read from disk for every request.
#pragma once

#include "base/xml.h"

// What sets one command's validation apart from another's.
struct validation_rule {
    const char *command;      // names the command in the log lines, e.g. "set_setting"
    int invalid_id;           // id of the error element written per problem; returned when invalid
    int missing_id;           // returned when the grammar is missing or cannot be read
    const char *missing_text; // logged at LOG_ERR when the grammar file is missing
};

// Validates the command element, with its whole subtree, as if it were the root of a document of
// its own. The request document is left exactly as it was (later commands of the same request
// still run), and the error handler that writes into `errors` is in force for this validation
// only. Each problem libxml2 reports becomes one error element (rule.invalid_id, the message as
// description, the node's name as hint). Returns 0 when the element is valid, rule.invalid_id
// when it is not and rule.missing_id when the grammar is missing or cannot be read.
int validate_request(xmlNodePtr request, const char *schema, const validation_rule &rule,
                     xmlBufferPtr errors);
