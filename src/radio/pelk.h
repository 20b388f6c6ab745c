// The radio's do_command targets "pelk" and "zigbee" (both names mean the same radio).
#pragma once

#include <libxml/tree.h>

// Runs every child element of the do_command element as one radio subcommand, in request order;
// each writes its own element into the reply. The target name is not used. Returns 0.
int pelk_do_command(xmlBufferPtr reply, xmlNodePtr command, const char *target);
