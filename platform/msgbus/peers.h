// The connections of the listening endpoints, by peer handle.
//
// The listening thread owns each connection's receiving side; sends may come from any thread and
// are serialised per connection. A connection stays in the table until its removal notice has
// been delivered, and its socket stays open while any caller still holds it.
#pragma once

#include "io.h"
#include "msgbus.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>

namespace msgbus
{

struct connection {
    unique_fd fd;
    msgbus_peer peer = 0;
    struct msgbus_credentials credentials {
    };
    std::thread::id owner; // the listening thread, the only reader of `in`
    inbox in;
    std::mutex send_lock;
    // Set once the connection is to go: end of stream, a refused frame, a peer that does not read.
    std::atomic<bool> closing{false};
    bool refusal_logged = false;
};
using connection_ptr = std::shared_ptr<connection>;

// A handle never given before in this process; 0 is left to callers as "no peer".
msgbus_peer new_peer_handle();
void publish_peer(const connection_ptr &peer);
void withdraw_peer(msgbus_peer peer);
connection_ptr find_peer(msgbus_peer peer);

// Marks the connection for removal and wakes the listening loop through the socket.
void drop_peer(connection &peer);
// Logs why the peer's stream was refused (once) and drops it.
void refuse_peer(connection &peer);

} // namespace msgbus
