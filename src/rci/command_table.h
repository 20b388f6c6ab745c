#pragma once

#include "reply/handler.h"

#include <array>

// One row of the RCI command table: the element name of the command, matched exactly and
// case-sensitively, and the handler that writes its output into the reply.
struct rci_command {
    const char *name;
    rci_handler handler;
};

// The first row whose name equals `name`, or nullptr.
const rci_command *rci_find_command(const char *name);
