// The engine's message-bus endpoint "vexacs": its listener thread, the message handler with its
// operation table, and the forward function of targets served by local clients.
#pragma once

#include "rci/registry.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>

// Operations of the endpoint besides the peer removal and forwarded-command operations of the bus.
enum bus_op : int {
    BUS_OP_RCI = 0,
    BUS_OP_REGISTER = 2,
    BUS_OP_UNREGISTER = 3,
    BUS_OP_ECHO = 4,
    BUS_OP_WRITE_CONFIG = 5,
    BUS_OP_READ_CONFIG = 6,
};

// Result of a reply that the bus refused to carry because it is larger than the bus's largest
// message: the client gets this code at once, without the text, instead of waiting in vain.
inline constexpr int BUS_RESULT_TOO_LARGE = -EMSGSIZE;

// Size of the echo reply, and of the reply area every message starts with.
inline constexpr size_t bus_reply_area_size = 256;

// Empties the registry and starts the listener thread, which calls `idle` after every 30 seconds
// without a message. 0, or -1 when the thread cannot start.
int start_bus_thread(msgbus_idle idle);

// "nimbo" for the cloud connector's identity (uid 1000, gid 72), "python" for every other peer.
const char *request_source(const struct msgbus_credentials &credentials);

// Serves one message on the listener thread and answers it, when its operation answers at all.
void bus_message_handler(msgbus_peer peer, void *arg, int op, uint32_t tag, const void *payload,
                         size_t length);

// Forwards a do_command for `name` to the local client `peer` and waits up to 45 seconds.
// nullptr when the call fails; errno is ETIMEDOUT when the client did not answer in time.
forward_reply bus_forward_call(const char *name, const char *payload, size_t length,
                               msgbus_peer peer);
