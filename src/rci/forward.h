// do_command as the command table runs it: a target that vexacsd does not serve itself is
// forwarded to the local client that registered its name.
#pragma once

#include "reply/reply_buffer.h"
#include "reply/request_source.h"

// Sends the serialised children of the command to the client registered as `target` and copies
// its answer into the reply unchanged: a client must answer well-formed XML. Error 2 when no
// client answered, error 3 when it did not answer within the bus call's timeout.
int forward_to_client(reply_buffer &reply, xmlNodePtr command, const char *target,
                      request_source source);
// The do_command row of the command table.
int do_command_or_forward(reply_buffer &reply, xmlNodePtr command, request_source source);
