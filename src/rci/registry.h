// The registry of do_command targets that local clients serve themselves.
//
// A target name maps to the peer that serves it and the function that forwards a command to that
// peer. The list is guarded by one recursive mutex, so a forward function may itself use the
// registry; registry_call keeps the mutex for the whole walk, forward calls included.
#pragma once

#include "base/bus_endpoint.h"
#include "msgbus.h"

#include <cstddef>
#include <cstdlib>
#include <memory>

struct malloc_deleter {
    void operator()(char *p) const { std::free(p); }
};
// A reply text allocated with malloc (by the bus library or a forward function).
using forward_reply = std::unique_ptr<char, malloc_deleter>;

// Forwards `length` bytes of `payload` for target `name` to `peer`; the reply text or nullptr.
using registry_forward = forward_reply (*)(const char *name, const char *payload, size_t length,
                                           msgbus_peer peer);

// Empties the registry; the engine calls it before the listener thread starts.
void registry_init();
// Adds `name` unless any peer holds it already (REGISTRY_TAKEN).
int registry_add(const char *name, registry_forward forward, msgbus_peer peer);
// Holds `name` for a target that vexacsd serves itself, so that no local client can claim it; its
// forward function answers nothing. A name that is held already stays out of reach as well.
void registry_reserve(const char *name);
// Removes every entry that matches all three; 0 also when none did.
int registry_remove(const char *name, registry_forward forward, msgbus_peer peer);
// Removes every entry of `peer`.
void registry_remove_peer(msgbus_peer peer);
// The first non-null reply of the forward functions registered for `name`, newest entry first.
forward_reply registry_call(const char *name, const char *payload, size_t length);
