// The RCI command handlers, one per row of the command table.
#pragma once

#include "rci/rci.h"

int query_setting(xmlBufferPtr reply, xmlNodePtr command, const char *source);
int set_setting(xmlBufferPtr reply, xmlNodePtr command, const char *source);
int set_factory_default(xmlBufferPtr reply, xmlNodePtr command, const char *source);
int reboot_command(xmlBufferPtr reply, xmlNodePtr command, const char *source);
int query_state(xmlBufferPtr reply, xmlNodePtr command, const char *source);
int do_command(xmlBufferPtr reply, xmlNodePtr command, const char *source);
