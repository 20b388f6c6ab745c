// The server's calls towards one peer: replies, synchronous calls and credentials.
#include "peers.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace msgbus
{

namespace
{

std::atomic<uint32_t> last_call_tag{0};

// Sends one message, giving up at `until` or after the bus's send timeout, whichever is first.
int send_to(connection &peer, const deadline &until, frame_kind kind, int op, uint32_t tag,
            int result, const void *part1, size_t length1, const void *part2, size_t length2)
{
    if (peer.closing) return -ENOTCONN;
    deadline bound = deadline_after_ms(send_timeout_ms);
    if (until && *until < *bound) bound = until;
    std::lock_guard hold(peer.send_lock);
    int sent =
        write_frame(peer.fd.get(), kind, op, tag, result, part1, length1, part2, length2, bound);
    if (sent == -ETIMEDOUT)
        bus_log("peer %u (pid %d) does not read, connection closed", peer.peer,
                peer.credentials.pid);
    // A message that was never valid leaves the connection as it was; anything else broke it.
    if (sent < 0 && sent != -EMSGSIZE && sent != -EINVAL) drop_peer(peer);
    return sent;
}

int call_peer(connection &peer, int op, const void *part1, size_t length1, const void *part2,
              size_t length2, char **reply, int timeout_ms)
{
    if (peer.owner != std::this_thread::get_id())
        return -EINVAL; // only the listening thread may read the peer's stream
    uint32_t tag = ++last_call_tag;
    // One deadline for the whole call: a peer that reads nothing cannot stretch it.
    deadline until = deadline_after_ms(timeout_ms);
    int sent =
        send_to(peer, until, frame_kind::request, op, tag, 0, part1, length1, part2, length2);
    if (sent < 0) return sent;
    frame answer;
    int got = await_reply(peer.fd.get(), peer.in, op, tag, until, answer);
    if (got == -EPROTO)
        refuse_peer(peer);
    else if (got < 0 && got != -ETIMEDOUT)
        drop_peer(peer);
    if (got < 0) return got == -ETIMEDOUT ? got : -ENOTCONN;
    *reply = copy_text(answer.payload(), answer.length());
    return *reply ? answer.head.result : -ENOMEM;
}

} // namespace

} // namespace msgbus

using namespace msgbus;

extern "C" int msgbus_send(msgbus_peer peer, int op, uint32_t tag, int result, const void *part1,
                           size_t length1, const void *part2, size_t length2)
{
    connection_ptr found = find_peer(peer);
    if (!found) return fail(-ENOTCONN);
    int sent = send_to(*found, std::nullopt, frame_kind::reply, op, tag, result, part1, length1,
                       part2, length2);
    return sent < 0 ? fail(sent) : 0;
}

extern "C" int msgbus_call(msgbus_peer peer, int op, const void *part1, size_t length1,
                           const void *part2, size_t length2, char **reply, int flags,
                           int timeout_ms)
{
    if (!reply || flags != 0) return fail(-EINVAL);
    *reply = nullptr;
    connection_ptr found = find_peer(peer);
    if (!found) return fail(-ENOTCONN);
    int answered = call_peer(*found, op, part1, length1, part2, length2, reply, timeout_ms);
    return answered < 0 && !*reply ? fail(answered) : answered;
}

extern "C" int msgbus_credentials(msgbus_peer peer, struct msgbus_credentials *out)
{
    connection_ptr found = find_peer(peer);
    if (!found || !out) return fail(found ? -EINVAL : -ENOTCONN);
    *out = found->credentials;
    return 0;
}
