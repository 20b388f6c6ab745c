// The shape of an RCI command handler, which every subsystem's commands take.
#pragma once

#include "reply/reply_buffer.h"
#include "reply/request_source.h"

// A handler appends its command's output to the reply (errors as error elements inside it) and
// returns 0 or a negative number, which is only traced.
using rci_handler = int (*)(reply_buffer &reply, xmlNodePtr command, request_source source);
