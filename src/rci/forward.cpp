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
int forward_to_client(xmlBufferPtr reply, xmlNodePtr command, const char *target, const char *)
{
    xml::buffer_ptr content(xmlBufferCreate());
    if (!content || serialise_children(content.get(), command) < 0) return -1;
    trace("do_command target=%s\n%s\n", target, xml::chars(xmlBufferContent(content.get())));
    errno = 0;
    forward_reply answer = registry_call(target, xml::chars(xmlBufferContent(content.get())),
                                         static_cast<size_t>(xmlBufferLength(content.get())));
    int error = errno;
    content.reset();
    if (answer) {
        reply_append(reply, answer.get());
        return 0;
    }
    if (error == ETIMEDOUT)
        reply_error_quoted(reply, 3, "Timeout waiting for response", target);
    else
        reply_error_quoted(reply, 2, "Name not registered", target);
    return -1;
}

int do_command_or_forward(xmlBufferPtr reply, xmlNodePtr command, const char *source)
{
    return do_command(reply, command, source, forward_to_client);
}
