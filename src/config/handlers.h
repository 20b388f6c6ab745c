// The configuration store's RCI commands.
#pragma once

#include "reply/handler.h"

int query_setting(reply_buffer &reply, xmlNodePtr command, request_source source);
int set_setting(reply_buffer &reply, xmlNodePtr command, request_source source);
int set_factory_default(reply_buffer &reply, xmlNodePtr command, request_source source);
