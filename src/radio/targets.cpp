#include "radio/targets.h"

void pelk_reserve_targets()
{
    // Results ignored: a name that is held already stays out of the clients' reach as well.
    registry_add("pelk", pelk_forward_stub, 0);
    registry_add("zigbee", pelk_forward_stub, 0);
}

forward_reply pelk_forward_stub(const char *, const char *, size_t, msgbus_peer)
{
    return nullptr;
}
