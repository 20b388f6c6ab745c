#include "bus_harness.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <mutex>

namespace harness
{

std::atomic<int> flood_errno{-1};
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
} &seen = *new seen_state;

msgbus_idle count_idle = [] { ++idles; };

void run_call(msgbus_peer peer, uint32_t tag, const void *payload, size_t length)
{
    call_order order{};
    std::memcpy(&order, payload, std::min(length, sizeof order));
    char *reply = nullptr;
    auto start = std::chrono::steady_clock::now();
    int result =
        msgbus_call(order.target, order.op, "svc", 4, "hello", 5, &reply, 0, order.timeout_ms);
    call_outcome outcome{.result = result, .error = errno, .elapsed_ms = ms_since(start)};
    std::string text = bytes_of(outcome) + (reply ? reply : "");
    std::free(reply);
    msgbus_send(peer, op_call, tag, 0, text.data(), text.size(), nullptr, 0);
}

void handle(msgbus_peer peer, void *, int op, uint32_t tag, const void *payload, size_t length)
{
    if (op == op_call) return run_call(peer, tag, payload, length);
    const char *bytes = static_cast<const char *>(payload);
    std::string reply;
    if (op == op_echo) reply.assign(bytes, length);
    if (op == op_whoami) reply = bytes_of(peer);
    if (op == op_flood) reply.assign(12u * 1024 * 1024, 'x');
    {
        std::lock_guard hold(seen.lock);
        if (op == MSGBUS_OP_PEER_REMOVED) ++seen.removals[peer];
        if (op == op_register) seen.names[bytes] = peer;
    }
    if (op == MSGBUS_OP_PEER_REMOVED || op == op_silent) return;
    int sent = msgbus_send(peer, op, tag, static_cast<int>(reply.size()), reply.data(),
                           reply.size(), nullptr, 0);
    if (op == op_flood) flood_errno = sent < 0 ? errno : 0;
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
            if (!wait_for([name] {
                    return client_ptr(msgbus_connect(name), msgbus_disconnect) != nullptr;
                }))
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
    return client_ptr(msgbus_connect(name), msgbus_disconnect);
}

int removal_count(msgbus_peer peer)
{
    std::lock_guard hold(seen.lock);
    return seen.removals.contains(peer) ? seen.removals[peer] : 0;
}

msgbus_peer registered(const std::string &name)
{
    std::lock_guard hold(seen.lock);
    return seen.names.contains(name) ? seen.names[name] : 0;
}

} // namespace harness
