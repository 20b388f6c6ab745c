// A listening endpoint inside the test process, with operations that let tests drive the
// server side: echo, calls to another peer, floods. What the server saw (removal notices, idle
// calls, registered names, the outcome of a flood) is recorded for the tests. The client-side
// helpers are defined here, the endpoint in bus_harness.cpp.
#pragma once

#include "base/bus_endpoint.h"
#include "base/fd.h"
#include "frame.h"
#include "msgbus.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace harness
{

// Operations of the test endpoint.
enum test_op : int {
    op_register = BUS_OP_REGISTER, // payload: a name, recorded for registered(); result 0
    op_echo = BUS_OP_ECHO,         // reply: both parts back, result = payload length
    op_whoami = 21,                // reply: the peer's handle
    op_call = 22,   // payload call_order: msgbus_call another peer with "svc" and "hello";
                    // reply: call_outcome, then the call's reply text
    op_flood = 23,  // send a 12 MiB reply; its errno (0 when sent) is recorded in flood_errno
    op_silent = 24, // no reply at all
};

struct call_order {
    msgbus_peer target;
    int op, timeout_ms;
};

struct call_outcome {
    int result, error;
    long elapsed_ms;
};

constexpr const char *endpoint = "test";
// The same operations under the daemon's endpoint name, for the command-line client.
constexpr const char *daemon_endpoint = bus_endpoint_name;

// Starts both endpoints (once per process) in a scratch bus folder, idle period one second.
void start();
const std::string &bus_dir();

int removal_count(msgbus_peer peer);
// The peer that registered `name`, or 0.
msgbus_peer registered(const std::string &name);
extern std::atomic<int> flood_errno;
// Calls of the idle function.
extern std::atomic<int> idles;

using client_ptr = std::unique_ptr<msgbus_client, decltype(&msgbus_disconnect)>;
// Starts the endpoints and connects to one of them.
client_ptr connect_client(const char *name = endpoint);

inline long ms_since(std::chrono::steady_clock::time_point start)
{
    auto elapsed = std::chrono::steady_clock::now() - start;
    return std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count();
}

// Polls `done` every 10 ms until it holds or `limit` passes.
inline bool wait_for(const std::function<bool()> &done,
                     std::chrono::milliseconds limit = std::chrono::milliseconds(3000))
{
    for (auto start = std::chrono::steady_clock::now(); !done();
         std::this_thread::sleep_for(std::chrono::milliseconds(10)))
        if (ms_since(start) > limit.count()) return false;
    return true;
}

// The bytes of a plain value, and back (`fallback` when too few bytes came).
template <class T> std::string bytes_of(const T &value)
{
    return std::string(reinterpret_cast<const char *>(&value), sizeof value);
}
template <class T> T value_of(const std::string &bytes, T fallback = {})
{
    if (bytes.size() >= sizeof fallback) std::memcpy(&fallback, bytes.data(), sizeof fallback);
    return fallback;
}

// One request; the reply text ("<no reply>" when none came in time), its result in *result
// when given.
inline std::string ask(msgbus_client *client, int op, const std::string &payload,
                       int *result = nullptr, int timeout_ms = 2000)
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

inline msgbus_peer whoami(msgbus_client *client)
{
    return value_of<msgbus_peer>(ask(client, op_whoami, ""));
}

// Has the endpoint call `target` (op_call); the call's outcome, its reply text in *text.
inline call_outcome call_through(msgbus_client *client, msgbus_peer target, int op, int timeout_ms,
                                 std::string *text)
{
    call_order order{.target = target, .op = op, .timeout_ms = timeout_ms};
    *text = ask(client, op_call, bytes_of(order), nullptr, timeout_ms + 2000);
    auto outcome = value_of(*text, call_outcome{.result = -100, .error = 0, .elapsed_ms = -1});
    text->erase(0, text->size() < sizeof outcome ? 0 : sizeof outcome);
    return outcome;
}

// Raw socket access, for clients that misbehave.
inline unique_fd raw_connect()
{
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    (bus_dir() + "/" + endpoint).copy(address.sun_path, sizeof address.sun_path - 1);
    unique_fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (connect(fd.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) < 0) fd.reset(-1);
    return fd;
}

// The bytes of one frame with a single part.
inline std::string wire(msgbus::frame_kind kind, int op, uint32_t tag, const std::string &part1)
{
    msgbus::wire_header head{};
    msgbus::make_header(kind, op, tag, 0, part1.size(), 0, head);
    return bytes_of(head) + part1;
}

// Writes all bytes without raising SIGPIPE; negative when the server has closed.
inline int raw_write(int fd, const std::string &bytes)
{
    ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    return sent == static_cast<ssize_t>(bytes.size()) ? 0 : -1;
}

// Reads one frame; false on end of stream or after `timeout_ms`.
inline bool raw_read(int fd, msgbus::frame_reader &reader, msgbus::frame &out,
                     int timeout_ms = 2000)
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
