// The listening loop: one poll() over the endpoint's socket and every connection.
//
// Every socket is non-blocking and every connection reads into its own frame reader, so a client
// that sends a frame a byte at a time, or stops halfway, only ever costs one read per wake-up.
#include "address.h"
#include "peers.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

namespace msgbus
{

namespace
{

// How long accepting pauses when the process is out of descriptors.
constexpr auto accept_pause = std::chrono::seconds(1);

class server
{
  public:
    server(unique_fd listener, msgbus_handler handler, void *arg, int idle_seconds,
           msgbus_idle idle)
        : listener_(std::move(listener)), handler_(handler), arg_(arg), idle_(idle),
          idle_period_(std::chrono::seconds(idle_seconds > 0 && idle ? idle_seconds : 0))
    {
        next_idle_ = clock::now() + idle_period_;
    }

    int run();

  private:
    int wait();
    void accept_peers();
    void add_peer(unique_fd fd);
    void receive(connection &peer);
    void dispatch(connection &peer);
    void retire_closed();
    void idle_if_due();

    unique_fd listener_;
    msgbus_handler handler_;
    void *arg_;
    msgbus_idle idle_;
    clock::duration idle_period_;
    clock::time_point next_idle_;
    clock::time_point accept_paused_until_{};
    std::vector<connection_ptr> peers_;
    std::vector<pollfd> polls_;
    frame current_;
};

int server::run()
{
    for (;;) {
        int ready = wait();
        if (ready < 0) return ready;
        if (polls_[0].revents & POLLIN) accept_peers();
        // polls_[i + 1] belongs to peers_[i]; peers accepted just now come after them.
        for (size_t i = 0; i + 1 < polls_.size(); ++i)
            if (polls_[i + 1].revents) receive(*peers_[i]);
        for (size_t i = 0; i < peers_.size(); ++i)
            dispatch(*peers_[i]);
        retire_closed();
        idle_if_due();
    }
}

// Polls until something arrives or the idle function is due; -errno when poll itself fails.
int server::wait()
{
    auto now = clock::now();
    polls_.clear();
    short accepting = now >= accept_paused_until_ ? POLLIN : 0;
    polls_.push_back({.fd = listener_.get(), .events = accepting, .revents = 0});
    for (const connection_ptr &peer : peers_)
        polls_.push_back({.fd = peer->fd.get(), .events = POLLIN, .revents = 0});
    deadline until;
    if (idle_period_.count() > 0) until = next_idle_;
    if (!accepting) until = until ? std::min(*until, accept_paused_until_) : accept_paused_until_;
    int ready = poll(polls_.data(), polls_.size(), remaining_ms(until));
    if (ready < 0 && errno == EINTR) {
        for (pollfd &entry : polls_)
            entry.revents = 0;
        return 0;
    }
    return ready < 0 ? -errno : ready;
}

void server::accept_peers()
{
    for (;;) {
        int fd = accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd >= 0) {
            add_peer(unique_fd(fd));
            continue;
        }
        if (errno == EMFILE || errno == ENFILE) {
            bus_log("out of descriptors, accepting paused");
            accept_paused_until_ = clock::now() + accept_pause;
        }
        if (errno != EINTR && errno != ECONNABORTED) return;
    }
}

void server::add_peer(unique_fd fd)
{
    ucred kernel{};
    socklen_t size = sizeof kernel;
    if (getsockopt(fd.get(), SOL_SOCKET, SO_PEERCRED, &kernel, &size) < 0) return;
    auto peer = std::make_shared<connection>();
    peer->fd = std::move(fd);
    peer->peer = new_peer_handle();
    peer->credentials = {.pid = kernel.pid,
                         .uid = static_cast<int32_t>(kernel.uid),
                         .gid = static_cast<int32_t>(kernel.gid)};
    peer->owner = std::this_thread::get_id();
    publish_peer(peer);
    peers_.push_back(std::move(peer));
}

void server::receive(connection &peer)
{
    if (peer.closing) return;
    long count = read_into(peer.fd.get(), peer.in.reader);
    if (count == 0 || (count < 0 && count != -EAGAIN && count != -EPROTO)) drop_peer(peer);
}

// Hands every whole request buffered for the peer to the handler, queued ones first. Requests
// that arrived before the end of the stream are still delivered.
void server::dispatch(connection &peer)
{
    for (;;) {
        int taken = peer.in.next_request(current_);
        if (taken == 0) return;
        if (taken < 0) {
            refuse_peer(peer);
            return;
        }
        handler_(peer.peer, arg_, current_.head.op, current_.head.tag, current_.payload(),
                 current_.length());
        current_.trim();
    }
}

// Removal notices go out once per connection, after its last request; only then does the
// handle leave the table.
void server::retire_closed()
{
    auto open = [](const connection_ptr &peer) { return !peer->closing; };
    if (std::all_of(peers_.begin(), peers_.end(), open)) return;
    auto closed = std::stable_partition(peers_.begin(), peers_.end(), open);
    std::vector<connection_ptr> leaving(closed, peers_.end());
    peers_.erase(closed, peers_.end());
    for (const connection_ptr &peer : leaving) {
        handler_(peer->peer, arg_, MSGBUS_OP_PEER_REMOVED, 0, nullptr, 0);
        withdraw_peer(peer->peer);
    }
}

void server::idle_if_due()
{
    if (idle_period_.count() == 0) return;
    auto now = clock::now();
    if (now < next_idle_) return;
    next_idle_ = now + idle_period_;
    idle_();
}

// The socket file of a dead server is removed; a live one keeps its endpoint.
// A lock on "<socket>.lock", held for the server's lifetime, tells a live endpoint from a
// leftover socket file; probing the socket cannot, since a server that has bound but not yet
// listened refuses connections like a dead one.
int claim_path(const sockaddr_un &address, unique_fd &lock)
{
    std::string lock_path = std::string(address.sun_path) + ".lock";
    unique_fd fd(open(lock_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    if (fd.get() < 0) return -errno;
    if (flock(fd.get(), LOCK_EX | LOCK_NB) < 0) return errno == EWOULDBLOCK ? -EADDRINUSE : -errno;
    if (unlink(address.sun_path) < 0 && errno != ENOENT) return -errno;
    lock = std::move(fd);
    return 0;
}

int open_endpoint(const char *endpoint, unique_fd &out, unique_fd &lock)
{
    sockaddr_un address;
    int ok = endpoint_address(endpoint, address);
    if (ok == 0) ok = make_bus_dir();
    if (ok == 0) ok = claim_path(address, lock);
    if (ok < 0) return ok;
    unique_fd listener(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (listener.get() < 0 ||
        bind(listener.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) < 0)
        return -errno;
    // Local scripts of any account are clients.
    if (chmod(address.sun_path, 0666) < 0 || listen(listener.get(), SOMAXCONN) < 0) return -errno;
    out = std::move(listener);
    return 0;
}

} // namespace

} // namespace msgbus

using namespace msgbus;

extern "C" int msgbus_listen(const char *endpoint, msgbus_handler handler, void *arg,
                             int idle_seconds, msgbus_idle idle)
{
    if (!handler) return fail(-EINVAL);
    unique_fd listener, lock;
    int opened = open_endpoint(endpoint, listener, lock);
    if (opened < 0) return fail(opened);
    server loop(std::move(listener), handler, arg, idle_seconds, idle);
    return fail(loop.run());
}
