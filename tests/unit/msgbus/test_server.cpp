// The bus as the daemon uses it, over real sockets in a scratch folder: the idle function, calls
// to serving clients, and clients that stop reading.
#include "msgbus.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

using namespace std::chrono_literals;

namespace
{

// Operations of the test endpoint. Each answers with the result named here.
enum test_op : int {
    op_echo = 4,   // the payload back; the peer's handle
    op_call = 22,  // payload "TARGET TIMEOUT_MS": msgbus_call TARGET with "svc" and "hello";
                   // the call's reply text; its result, or -errno when it failed
    op_flood = 23, // a 12 MiB reply; the errno of its send (0 when sent) goes to flood_errno
};

constexpr const char *endpoint = "test";
std::atomic<int> flood_errno{-1}, idles{0};

void handle(msgbus_peer peer, void *, int op, uint32_t tag, const void *payload, size_t length)
{
    if (op == MSGBUS_OP_PEER_REMOVED) return;
    std::string reply(static_cast<const char *>(payload), length);
    int result = static_cast<int>(peer);
    if (op == op_flood) reply.assign(12u * 1024 * 1024, 'x');
    if (op == op_call) {
        msgbus_peer target = 0;
        int timeout_ms = 0;
        std::sscanf(reply.c_str(), "%u %d", &target, &timeout_ms);
        char *text = nullptr;
        result = msgbus_call(target, MSGBUS_OP_FORWARD, "svc", 4, "hello", 5, &text, 0, timeout_ms);
        result = result < 0 ? -errno : result;
        reply = text ? text : "";
        std::free(text);
    }
    int sent = msgbus_send(peer, op, tag, result, reply.data(), reply.size(), nullptr, 0);
    if (op == op_flood) flood_errno = sent < 0 ? errno : 0;
}

long ms_since(std::chrono::steady_clock::time_point start)
{
    auto elapsed = std::chrono::steady_clock::now() - start;
    return std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count();
}

using client_ptr = std::unique_ptr<msgbus_client, decltype(&msgbus_disconnect)>;

// Starts the endpoint (once per process, idle period one second) and connects to it.
client_ptr connect_client()
{
    static std::once_flag once;
    std::call_once(once, [] {
        // Two levels below a scratch folder: the listener must create them.
        static const std::filesystem::path scratch =
            mkdtemp(std::string("/tmp/msgbus-XXXXXX").data());
        setenv("MSGBUS_DIR", (scratch / "run/msgbus").c_str(), 1);
        std::atexit([] { std::filesystem::remove_all(scratch); });
        std::thread(msgbus_listen, endpoint, handle, nullptr, 1, [] { ++idles; }).detach();
        // Its socket file appears at bind(), before it listens: only a connection shows it serves.
        for (int i = 0; i < 300 && !client_ptr(msgbus_connect(endpoint), msgbus_disconnect); ++i)
            std::this_thread::sleep_for(10ms);
    });
    return client_ptr(msgbus_connect(endpoint), msgbus_disconnect);
}

// One request; the reply text ("<no reply>" when none came in time), its result in *result.
std::string ask(msgbus_client *client, int op, const std::string &payload, int *result = nullptr,
                int timeout_ms = 2000)
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

bool echo_works(msgbus_client *client)
{
    return ask(client, op_echo, "still here") == "still here";
}

msgbus_peer whoami(msgbus_client *client)
{
    int handle = 0;
    ask(client, op_echo, "", &handle);
    return static_cast<msgbus_peer>(handle);
}

// Has the endpoint call `target`: the call's result, its reply text in *text.
int call_through(msgbus_client *client, msgbus_peer target, int timeout_ms, std::string *text)
{
    int result = -1000;
    *text = ask(client, op_call, std::to_string(target) + " " + std::to_string(timeout_ms), &result,
                timeout_ms + 2000);
    return result;
}

// The answer names the delay it waited, so that a late one cannot pass for another's.
char *answer_call(const char *name, const char *payload, size_t length, void *arg)
{
    int delay_ms = static_cast<std::atomic<int> *>(arg)->load();
    std::this_thread::sleep_for(std::chrono::milliseconds(delay_ms));
    std::string text = std::string(name) + ":" + std::string(payload, length);
    return strdup((text + ":" + std::to_string(delay_ms)).c_str());
}

} // namespace

TEST(bus_server, idle_runs_quiet_or_busy)
{
    client_ptr client = connect_client();
    int before = idles.load();
    std::this_thread::sleep_for(2100ms);
    EXPECT_GE(idles.load() - before, 2);
    // The watchdog's beat must not starve while requests keep coming.
    before = idles.load();
    for (auto start = std::chrono::steady_clock::now(); ms_since(start) < 2200;)
        ASSERT_TRUE(echo_works(client.get()));
    EXPECT_GE(idles.load() - before, 2);
}

TEST(bus_server, a_client_that_stops_reading_is_given_up_within_the_send_bound)
{
    client_ptr good = connect_client(), deaf = connect_client();
    auto start = std::chrono::steady_clock::now();
    // A client reads only while it waits for a reply: after this one it reads nothing more.
    EXPECT_EQ(ask(deaf.get(), op_flood, "", nullptr, 1), "<no reply>");
    while (flood_errno < 0 && ms_since(start) < 10000)
        std::this_thread::sleep_for(10ms);
    EXPECT_EQ(flood_errno, ETIMEDOUT);
    EXPECT_TRUE(ms_since(start) >= 4500 && ms_since(start) < 7000) << ms_since(start);
    EXPECT_TRUE(echo_works(good.get()));
}

// Then the serving client's connection closes: calls fail, its handle is never reused.
TEST(bus_server, calls_reach_a_serving_client_time_out_and_ignore_late_answers)
{
    client_ptr asker = connect_client(), server_side = connect_client();
    msgbus_peer target = whoami(server_side.get()), staying = whoami(asker.get());
    std::atomic<int> delay_ms{0};
    volatile int stop = 0;
    int served = -1;
    std::thread serving(
        [&] { served = msgbus_serve(server_side.get(), answer_call, &delay_ms, &stop); });
    std::string text;
    EXPECT_EQ(call_through(asker.get(), target, 2000, &text), 0);
    EXPECT_EQ(text, "svc:hello:0");
    delay_ms = 800;
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(call_through(asker.get(), target, 200, &text), -ETIMEDOUT);
    EXPECT_TRUE(ms_since(start) >= 190 && ms_since(start) < 700) << ms_since(start);
    EXPECT_EQ(text, "");
    // The late answer to the timed-out call arrives first and must not pass for this one's.
    delay_ms = 0;
    EXPECT_EQ(call_through(asker.get(), target, 3000, &text), 0);
    EXPECT_EQ(text, "svc:hello:0");
    stop = 1;
    serving.join();
    EXPECT_EQ(served, 0);

    server_side.reset();
    EXPECT_EQ(call_through(asker.get(), target, 3000, &text), -ENOTCONN);
    msgbus_peer fresh = whoami(connect_client().get());
    EXPECT_TRUE(fresh != 0 && fresh != target && fresh != staying);
}
