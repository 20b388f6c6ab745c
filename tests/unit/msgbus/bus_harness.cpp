#include "bus_harness.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <thread>

namespace harness
{

std::atomic<int> flood_errno{-1};
std::atomic<long> flood_ms{-1};
std::atomic<int> idles{0};

namespace
{

// What the listeners saw. The listener threads run until the process ends, after static
// destructors have run: this state is never destroyed, so a late peer removal cannot touch freed
// memory.
struct seen_state {
    std::mutex lock; // guards removals and names
    std::map<msgbus_peer, int> removals;
    std::map<std::string, msgbus_peer> names;
};

seen_state &seen()
{
    static seen_state *state = new seen_state;
    return *state;
}
msgbus_idle count_idle = [] { ++idles; };

void run_call(msgbus_peer peer, uint32_t tag, const void *payload, size_t length)
{
    call_order order{};
    std::memcpy(&order, payload, std::min(length, sizeof order));
    char *reply = nullptr;
    auto start = std::chrono::steady_clock::now();
    errno = 0;
    int result =
        msgbus_call(order.target, order.op, "svc", 4, "hello", 5, &reply, 0, order.timeout_ms);
    call_outcome outcome{.result = result, .error = errno, .elapsed_ms = ms_since(start)};
    std::string text = reply ? reply : "";
    std::free(reply);
    msgbus_send(peer, op_call, tag, 0, &outcome, sizeof outcome, text.data(), text.size());
}

void flood(msgbus_peer peer, uint32_t tag)
{
    std::string big(12u * 1024 * 1024, 'x');
    auto start = std::chrono::steady_clock::now();
    int sent = msgbus_send(peer, op_flood, tag, 0, big.data(), big.size(), nullptr, 0);
    flood_errno = sent < 0 ? errno : 0;
    flood_ms = ms_since(start);
}

void handle(msgbus_peer peer, void *, int op, uint32_t tag, const void *payload, size_t length)
{
    if (op == op_call) return run_call(peer, tag, payload, length);
    if (op == op_flood) return flood(peer, tag);
    const char *bytes = static_cast<const char *>(payload);
    struct msgbus_credentials credentials = {};
    std::string reply;
    if (op == op_echo) reply.assign(bytes, length);
    if (op == op_whoami) reply.assign(reinterpret_cast<const char *>(&peer), sizeof peer);
    if (op == op_credentials && msgbus_credentials(peer, &credentials) == 0)
        reply.assign(reinterpret_cast<const char *>(&credentials), sizeof credentials);
    {
        std::lock_guard hold(seen().lock);
        if (op == MSGBUS_OP_PEER_REMOVED) ++seen().removals[peer];
        if (op == op_register) seen().names[bytes] = peer;
    }
    if (op != MSGBUS_OP_PEER_REMOVED && op != op_silent)
        msgbus_send(peer, op, tag, static_cast<int>(reply.size()), reply.data(), reply.size(),
                    nullptr, 0);
}

} // namespace

const std::string &bus_dir()
{
    // Two levels below a scratch folder: the listener must create them.
    static const std::string dir =
        std::string(mkdtemp(std::string("/tmp/msgbus-test-XXXXXX").data())) + "/run/msgbus";
    return dir;
}

void start()
{
    static std::once_flag once;
    std::call_once(once, [] {
        setenv("MSGBUS_DIR", bus_dir().c_str(), 1);
        for (const char *name : {endpoint, daemon_endpoint}) {
            std::thread(msgbus_listen, name, handle, nullptr, 1, count_idle).detach();
            // Its socket file appears at bind(), before the endpoint listens: only a connection
            // shows that it serves.
            if (!wait_for([name] { return client_ptr(msgbus_connect(name)) != nullptr; }))
                ADD_FAILURE() << "endpoint " << name << " does not come up";
        }
        std::atexit([] {
            std::error_code ignored;
            std::filesystem::remove_all(
                std::filesystem::path(bus_dir()).parent_path().parent_path(), ignored);
        });
    });
}

client_ptr connect_client(const char *name)
{
    start();
    return client_ptr(msgbus_connect(name));
}

int removal_count(msgbus_peer peer)
{
    std::lock_guard hold(seen().lock);
    return seen().removals.contains(peer) ? seen().removals[peer] : 0;
}

msgbus_peer registered(const std::string &name)
{
    std::lock_guard hold(seen().lock);
    return seen().names.contains(name) ? seen().names[name] : 0;
}

long ms_since(std::chrono::steady_clock::time_point start)
{
    auto elapsed = std::chrono::steady_clock::now() - start;
    return std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count();
}

bool wait_for(const std::function<bool()> &done, std::chrono::milliseconds limit)
{
    auto until = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > until) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

std::string ask(msgbus_client *client, int op, const std::string &payload, int *result,
                int timeout_ms)
{
    char *reply = nullptr;
    size_t length = 0;
    if (msgbus_request(client, op, 77, payload.data(), payload.size(), nullptr, 0, result, &reply,
                       &length, timeout_ms) < 0)
        return "<no reply>";
    std::string text(reply, length);
    std::free(reply);
    return text;
}

msgbus_peer whoami(msgbus_client *client)
{
    int result = -1;
    std::string reply = ask(client, op_whoami, "", &result);
    msgbus_peer peer = 0;
    if (reply.size() == sizeof peer) std::memcpy(&peer, reply.data(), sizeof peer);
    return peer;
}

call_outcome call_through(msgbus_client *client, msgbus_peer target, int op, int timeout_ms,
                          std::string *text)
{
    call_order order{.target = target, .op = op, .timeout_ms = timeout_ms};
    int result = -1;
    *text = ask(client, op_call, std::string(reinterpret_cast<char *>(&order), sizeof order),
                &result, timeout_ms + 2000);
    call_outcome outcome{.result = -100, .error = 0, .elapsed_ms = -1};
    if (text->size() < sizeof outcome) return outcome;
    std::memcpy(&outcome, text->data(), sizeof outcome);
    text->erase(0, sizeof outcome);
    return outcome;
}

msgbus::unique_fd raw_connect()
{
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    (bus_dir() + "/" + endpoint).copy(address.sun_path, sizeof address.sun_path - 1);
    msgbus::unique_fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (connect(fd.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) < 0) fd.reset(-1);
    return fd;
}

int raw_write(int fd, const void *bytes, size_t count)
{
    return send(fd, bytes, count, MSG_NOSIGNAL) == static_cast<ssize_t>(count) ? 0 : -1;
}

int raw_send(int fd, msgbus::frame_kind kind, int op, uint32_t tag, const std::string &part1)
{
    msgbus::wire_header head;
    if (msgbus::make_header(kind, op, tag, 0, part1.size(), 0, head) < 0) return -1;
    std::string bytes = std::string(reinterpret_cast<const char *>(&head), sizeof head) + part1;
    return raw_write(fd, bytes.data(), bytes.size());
}

bool raw_read(int fd, msgbus::frame_reader &reader, msgbus::frame &out, int timeout_ms)
{
    int taken;
    while ((taken = reader.take(out)) == 0) {
        pollfd entry{.fd = fd, .events = POLLIN, .revents = 0};
        std::span<char> room = reader.room();
        if (poll(&entry, 1, timeout_ms) <= 0) return false;
        ssize_t count = read(fd, room.data(), room.size());
        if (count <= 0) return false;
        reader.filled(static_cast<size_t>(count));
    }
    return taken > 0;
}

} // namespace harness
