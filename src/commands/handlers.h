// The RCI commands of the commands subsystem: reboot and do_command.
#pragma once

#include "commands/targets.h"
#include "reply/handler.h"

int reboot_command(reply_buffer &reply, xmlNodePtr command, request_source source);
// Runs the target named by the command's `target` attribute: a target vexacsd serves itself, or
// else `other_target` (the bus forwards it to the local client that registered the name).
int do_command(reply_buffer &reply, xmlNodePtr command, request_source source,
               command_target_fn other_target);
