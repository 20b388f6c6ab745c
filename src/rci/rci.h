// RCI request processing: one rci_request document in, one rci_reply text out.
#pragma once

#include "base/bus_endpoint.h"
#include "reply/reply_buffer.h"
#include "reply/request_source.h"

#include <cstddef>

// RCI_Processing's results besides the reply length are rci_result (base/bus_endpoint.h).

// Parses `size` bytes of `text` (not necessarily terminated) and runs each command element,
// writing the rci_reply into `reply`, which the caller passes empty. Returns the reply's length;
// on a negative rci_result `reply` holds nothing to send.
int RCI_Processing(const char *text, size_t size, reply_buffer &reply, request_source source);
