#include "radio/pelk.h"

#include "rci/reply.h"

// No radio subcommand is served yet: every one is answered as unknown.
int pelk_do_command(xmlBufferPtr reply, xmlNodePtr command, const char *)
{
    for (xmlNodePtr child = command->children; child; child = child->next)
        if (child->type == XML_ELEMENT_NODE)
            reply_error(reply, 1, "Unknown subcommand", reinterpret_cast<const char *>(child->name));
    return 0;
}
