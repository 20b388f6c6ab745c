// The device state's RCI commands.
#pragma once

#include "reply/handler.h"

int set_state(xmlBufferPtr reply, xmlNodePtr command, const char *source);
int query_state(xmlBufferPtr reply, xmlNodePtr command, const char *source);
int query_descriptor(xmlBufferPtr reply, xmlNodePtr command, const char *source);
