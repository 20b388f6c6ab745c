#include "bus_harness.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <thread>
#include <vector>

namespace harness
{

std::atomic<int> flood_result{1};
std::atomic<int> flood_errno{0};
std::atomic<long> flood_ms{-1};

namespace
{

std::mutex removals_lock; // guards removals and names
std::map<msgbus_peer, int> removals;
std::map<std::string, msgbus_peer> names;
std::atomic<int> idles{0};

long ms_since(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 start)
        .count();
}

void run_call(msgbus_peer peer, uint32_t tag, const void *payload, size_t length)
{
    call_order order{};
    std::memcpy(&order, payload, std::min(length, sizeof order));
    char *reply = nullptr;
    auto start = std::chrono::steady_clock::now();
    errno = 0;
    int result = msgbus_call(order.target, order.op, "svc", 4, order.text, std::strlen(order.text),
                             &reply, 0, order.timeout_ms);
    call_outcome outcome{.result = result, .error = errno, .elapsed_ms = ms_since(start)};
    std::string text = reply ? reply : "";
    std::free(reply);
    msgbus_send(peer, op_call, tag, 0, &outcome, sizeof outcome, text.data(), text.size());
}

void flood(msgbus_peer peer, uint32_t tag)
{
    std::vector<char> big(12u * 1024 * 1024, 'x');
    auto start = std::chrono::steady_clock::now();
    flood_result = msgbus_send(peer, op_flood, tag, 0, big.data(), big.size(), nullptr, 0);
    flood_errno = errno;
    flood_ms = ms_since(start);
}

void reply_with(msgbus_peer peer, int op, uint32_t tag, const void *data, size_t length)
{
    msgbus_send(peer, op, tag, 0, data, length, nullptr, 0);
}

void answer_rci(msgbus_peer peer, int op, uint32_t tag, const char *payload, size_t length)
{
    std::string text(payload, length);
    if (text.starts_with("fail:"))
        msgbus_send(peer, op, tag, -9, text.data() + 5, text.size() - 5, nullptr, 0);
    else
        msgbus_send(peer, op, tag, static_cast<int>(length), payload, length, nullptr, 0);
}

void register_name(msgbus_peer peer, uint32_t tag, const char *name)
{
    std::lock_guard hold(removals_lock);
    bool taken = std::string(name) == "taken";
    if (!taken) names[name] = peer;
    msgbus_send(peer, op_register, tag, taken ? -1 : 0, nullptr, 0, nullptr, 0);
}

void handle(msgbus_peer peer, void *, int op, uint32_t tag, const void *payload, size_t length)
{
    struct msgbus_credentials credentials {
    };
    switch (op) {
    case MSGBUS_OP_PEER_REMOVED: {
        std::lock_guard hold(removals_lock);
        ++removals[peer];
        return;
    }
    case op_rci:
    case op_write:
    case op_read:
        return answer_rci(peer, op, tag, static_cast<const char *>(payload), length);
    case op_register:
        return register_name(peer, tag, static_cast<const char *>(payload));
    case op_echo:
        msgbus_send(peer, op, tag, static_cast<int>(length), payload, length, nullptr, 0);
        return;
    case op_credentials:
        msgbus_credentials(peer, &credentials);
        return reply_with(peer, op, tag, &credentials, sizeof credentials);
    case op_whoami:
        return reply_with(peer, op, tag, &peer, sizeof peer);
    case op_call:
        return run_call(peer, tag, payload, length);
    case op_flood:
        return flood(peer, tag);
    default:
        return;
    }
}

void count_idle()
{
    ++idles;
}

const std::string &scratch_dir()
{
    static const std::string dir = [] {
        char pattern[] = "/tmp/msgbus-test-XXXXXX";
        return std::string(mkdtemp(pattern));
    }();
    return dir;
}

} // namespace

const std::string &bus_dir()
{
    // A folder below the scratch one: the listener must create it.
    static const std::string dir = scratch_dir() + "/run/msgbus";
    return dir;
}

void start()
{
    static std::once_flag once;
    std::call_once(once, [] {
        setenv("MSGBUS_DIR", bus_dir().c_str(), 1);
        // Reachable by another account, for clients that change identity.
        chmod(scratch_dir().c_str(), 0755);
        for (const char *name : {endpoint, daemon_endpoint}) {
            std::thread([name] { msgbus_listen(name, handle, nullptr, 1, count_idle); }).detach();
            std::string socket_path = bus_dir() + "/" + name;
            wait_for([&] { return access(socket_path.c_str(), F_OK) == 0; });
        }
        std::atexit([] { std::system(("rm -rf '" + scratch_dir() + "'").c_str()); });
    });
}

client_ptr connect_client(const char *name)
{
    start();
    return client_ptr(msgbus_connect(name));
}

int removal_count(msgbus_peer peer)
{
    std::lock_guard hold(removals_lock);
    auto found = removals.find(peer);
    return found == removals.end() ? 0 : found->second;
}

msgbus_peer registered(const std::string &name)
{
    std::lock_guard hold(removals_lock);
    auto found = names.find(name);
    return found == names.end() ? 0 : found->second;
}

int idle_count()
{
    return idles;
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

msgbus::unique_fd raw_connect()
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::string path = bus_dir() + "/" + endpoint;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    msgbus::unique_fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (connect(fd.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) < 0) fd.reset(-1);
    return fd;
}

int raw_write(int fd, const void *bytes, size_t count)
{
    return send(fd, bytes, count, MSG_NOSIGNAL) == static_cast<ssize_t>(count) ? 0 : -1;
}

int raw_send(int fd, msgbus::frame_kind kind, int op, uint32_t tag, const std::string &part1,
             const std::string &part2)
{
    msgbus::wire_header head;
    if (msgbus::make_header(kind, op, tag, 0, part1.size(), part2.size(), head) < 0) return -1;
    std::string bytes(reinterpret_cast<const char *>(&head), sizeof head);
    bytes += part1 + part2;
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

int open_fd_count()
{
    auto entries = std::filesystem::directory_iterator("/proc/self/fd");
    return static_cast<int>(std::distance(begin(entries), end(entries)));
}

} // namespace harness
