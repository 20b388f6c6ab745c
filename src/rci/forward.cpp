#include "rci/forward.h"
#include "base/log.h"
#include "base/xml.h"
#include "commands/handlers.h"
#include "rci/registry.h"
#include "reply/reply.h"

#include <cerrno>

// The client's answer is trusted as it is: a client serves its own target and answers with
// well-formed XML for it. The bus bounds what it may do otherwise: an answer larger than a bus
// message, or none within the call's timeout, ends as an error element.
int forward_to_client(reply_buffer &reply, xmlNodePtr command, const char *target, request_source)
{
    reply_buffer content;
    if (serialise_children(content, command) < 0) return -1;
    if (content.failed()) {
        reply.fail();
        return -1;
    }
    trace("do_command target=%s\n%s\n", target, content.c_str());
    errno = 0;
    forward_reply answer = registry_call(target, content.c_str(), content.size());
    int error = errno;
    if (answer) {
        reply.append(answer.get());
        return 0;
    }
    if (error == ETIMEDOUT)
        reply_error(reply, 3, "Timeout waiting for response", target);
    else
        reply_error(reply, 2, "Name not registered", target);
    return -1;
}

int do_command_or_forward(reply_buffer &reply, xmlNodePtr command, request_source source)
{
    return do_command(reply, command, source, forward_to_client);
}
