#include "peers.h"

#include <sys/socket.h>

#include <cerrno>
#include <unordered_map>

namespace msgbus
{

namespace
{

struct peer_table {
    std::mutex lock;
    std::unordered_map<msgbus_peer, connection_ptr> peers;
};

// Never destroyed: a listening thread may still run while the process exits.
peer_table &table()
{
    static auto *instance = new peer_table;
    return *instance;
}

std::atomic<msgbus_peer> last_handle{0};

} // namespace

msgbus_peer new_peer_handle()
{
    msgbus_peer handle;
    do {
        handle = ++last_handle;
    } while (handle == 0);
    return handle;
}

void publish_peer(const connection_ptr &peer)
{
    std::lock_guard hold(table().lock);
    table().peers[peer->peer] = peer;
}

void withdraw_peer(msgbus_peer peer)
{
    std::lock_guard hold(table().lock);
    table().peers.erase(peer);
}

connection_ptr find_peer(msgbus_peer peer)
{
    std::lock_guard hold(table().lock);
    auto found = table().peers.find(peer);
    return found == table().peers.end() ? nullptr : found->second;
}

void drop_peer(connection &peer)
{
    if (!peer.closing.exchange(true)) shutdown(peer.fd.get(), SHUT_RDWR);
}

void refuse_peer(connection &peer)
{
    if (!peer.refusal_logged) {
        peer.refusal_logged = true;
        bus_log("peer %u (pid %d): %s, connection closed", peer.peer, peer.credentials.pid,
                frame_error_text(peer.in.reader.error()));
    }
    drop_peer(peer);
}

} // namespace msgbus
