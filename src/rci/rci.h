// RCI request processing: one rci_request document in, one rci_reply text out.
#pragma once

#include "reply/reply_buffer.h"

#include <cstddef>

// Results of RCI_Processing besides the reply length.
enum rci_result : int {
    RCI_NO_CONTENT = -2, // no root, unnamed root, or a root without child nodes
    RCI_WRONG_ROOT = -3, // the root is not rci_request
    RCI_NO_BUFFER = -4,  // the reply could not be built (memory ran out)
    RCI_NOT_WELL_FORMED = -5,
};

// Parses `size` bytes of `text` (not necessarily terminated) and runs each command element,
// writing the rci_reply into `reply`, which the caller passes empty. Returns the reply's length;
// on a negative rci_result `reply` holds nothing to send.
int RCI_Processing(const char *text, size_t size, reply_buffer &reply, const char *source);
