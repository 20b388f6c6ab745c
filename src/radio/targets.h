// The radio do_command targets, which do_command serves itself.
#pragma once

#include "rci/registry.h"

// Holds "pelk" and "zigbee" in the registry so that no local client can claim them.
void pelk_reserve_targets();
// The forward function of the reserved names: the radio commands never travel over the bus.
forward_reply pelk_forward_stub(const char *name, const char *payload, size_t length,
                                msgbus_peer peer);
