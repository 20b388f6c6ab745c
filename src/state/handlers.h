// The device state's RCI commands.
#pragma once

#include "reply/handler.h"

int set_state(reply_buffer &reply, xmlNodePtr command, request_source source);
int query_state(reply_buffer &reply, xmlNodePtr command, request_source source);
int query_descriptor(reply_buffer &reply, xmlNodePtr command, request_source source);
