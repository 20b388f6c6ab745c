// The error table of the radio subcommands and the one way they write an error element.
#pragma once

#include "reply/reply_buffer.h"

#include <array>

enum pelk_error_id : int {
    PELK_UNKNOWN_SUBCOMMAND = 1,
    PELK_UNKNOWN_GROUP = 2,
    PELK_UNKNOWN_FIELD = 3,
    PELK_MISSING_PARAMETER = 4,
    PELK_INVALID_PARAMETER = 5,
    PELK_NODE_NOT_FOUND = 6,
    PELK_COMMAND_ERROR = 7,
    PELK_FILE_READ_ERROR = 8,
    PELK_FIRMWARE_ERROR = 9,
    PELK_LOAD_ERROR = 10,
    PELK_SAVE_ERROR = 11,
    PELK_NO_SUCH_FIELD = 12,
    PELK_INVALID_VALUE = 13,
    PELK_NOT_SUPPORTED = 14,
};

// The desc text of each id; id 0 is never used.
extern const std::array<const char *, 15> pelk_errors;

// Appends the error element of `id` (closing an open start tag first). The hint may come from the
// request or a tool: reply_error escapes it and cuts it by the cut rule. nullptr: no hint.
void pelk_error(reply_buffer &reply, int id, const char *hint);
