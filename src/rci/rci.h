// RCI request processing: one rci_request document in, one rci_reply text out.
#pragma once

#include <libxml/tree.h>

#include <cstddef>

// Results of RCI_Processing besides the reply length.
enum rci_result : int {
    RCI_NO_CONTENT = -2, // no root, unnamed root, or a root without child nodes
    RCI_WRONG_ROOT = -3, // the root is not rci_request
    RCI_NO_BUFFER = -4,  // the reply buffer could not be created
    RCI_NOT_WELL_FORMED = -5,
};

// Parses `size` bytes of `text` (not necessarily terminated) and runs each command element.
// On success *reply receives a new buffer owned by the caller and the reply length is returned;
// on a negative rci_result no buffer is handed out.
int RCI_Processing(const char *text, size_t size, xmlBufferPtr *reply, const char *source);
