// Providers of the state groups that write a whole block of statistics.
#pragma once

#include "state/state_table.h"

int python_info(xmlBufferPtr reply, xmlNodePtr element, int mode, const state_arg &arg);
