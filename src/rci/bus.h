// The engine's message-bus endpoint "vexacs": its listener thread, the message handler with its
// operation table, and the forward function of targets served by local clients.
#pragma once

#include "base/bus_endpoint.h"
#include "rci/registry.h"
#include "reply/request_source.h"

#include <cstddef>
#include <cstdint>

// Empties the registry and starts the listener thread, which calls `idle` after every 30 seconds
// without a message. 0, or -1 when the thread cannot start.
int start_bus_thread(msgbus_idle idle);

// The cloud connector for its identity, a local program for every other peer.
request_source request_source_of(const struct msgbus_credentials &credentials);

// Serves one message on the listener thread and answers it, when its operation answers at all.
void bus_message_handler(msgbus_peer peer, void *arg, int op, uint32_t tag, const void *payload,
                         size_t length);

// Forwards a do_command for `name` to the local client `peer` and waits for its answer up to
// bus_forward_timeout_ms.
// nullptr when the call fails; errno is ETIMEDOUT when the client did not answer in time.
forward_reply bus_forward_call(const char *name, const char *payload, size_t length,
                               msgbus_peer peer);
