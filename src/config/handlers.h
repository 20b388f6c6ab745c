// The configuration store's RCI commands.
#pragma once

#include "reply/handler.h"

int query_setting(xmlBufferPtr reply, xmlNodePtr command, const char *source);
int set_setting(xmlBufferPtr reply, xmlNodePtr command, const char *source);
int set_factory_default(xmlBufferPtr reply, xmlNodePtr command, const char *source);
