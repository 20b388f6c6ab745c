#include "rci/bus.h"

#include <cerrno>
#include <cstring>

forward_reply bus_forward_call(const char *name, const char *payload, size_t length,
                               msgbus_peer peer)
{
    char *text = nullptr;
    int result = msgbus_call(peer, MSGBUS_OP_FORWARD, name, std::strlen(name) + 1, payload, length,
                             &text, 0, bus_forward_timeout_ms);
    forward_reply reply(text);
    if (result < 0) {
        // do_command tells a timeout from other failures by errno, which must survive the free.
        int error = errno;
        reply.reset();
        errno = error;
    }
    return reply;
}
