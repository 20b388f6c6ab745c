#include "bus_harness.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

using namespace harness;
using namespace std::chrono_literals;
using msgbus::frame;
using msgbus::frame_kind;
using msgbus::frame_reader;

namespace
{

bool echo_works(msgbus_client *client)
{
    int result = -1;
    return ask(client, op_echo, "still here", &result) == "still here" && result == 10;
}

msgbus_peer raw_whoami(int fd, frame_reader &reader)
{
    frame got;
    msgbus_peer peer = 0;
    if (raw_send(fd, frame_kind::request, op_whoami, 1, "") == 0 && raw_read(fd, reader, got))
        std::memcpy(&peer, got.payload(), std::min(got.length(), sizeof peer));
    return peer;
}

// The errno of a msgbus_listen that must fail, in a child process: a listen that wrongly succeeds
// would serve for ever, and is cut short there instead of hanging the test.
int listen_refusal(const char *name, msgbus_handler handler)
{
    pid_t child = fork();
    if (child == 0) {
        alarm(3);
        _exit(msgbus_listen(name, handler, nullptr, 0, nullptr) < 0 ? errno : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

TEST(bus_server, replies_carry_both_parts_the_tag_the_result_and_the_credentials)
{
    client_ptr client = connect_client();
    int result = 0;
    char *reply = nullptr;
    size_t length = 0;
    ASSERT_EQ(msgbus_request(client.get(), op_echo, 4242, "head", 4, "tail\0x", 6, &result, &reply,
                             &length, 2000),
              0);
    EXPECT_EQ(result, 10);
    EXPECT_EQ(std::string(reply, length + 1), std::string("headtail\0x", 11)); // zero-terminated
    std::free(reply);
    std::string large(3 * 1024 * 1024 + 17, '\0');
    for (size_t i = 0; i < large.size(); ++i)
        large[i] = static_cast<char>(i * 7);
    EXPECT_EQ(ask(client.get(), op_echo, large, &result), large);
    pid_t pid = getpid();
    EXPECT_EQ(ask(client.get(), op_credentials, "", &result).substr(0, sizeof pid),
              std::string(reinterpret_cast<char *>(&pid), sizeof pid));
}

TEST(bus_server, a_closed_connection_is_announced_once_and_its_handle_never_comes_back)
{
    client_ptr first = connect_client();
    client_ptr second = connect_client();
    msgbus_peer gone = whoami(first.get());
    msgbus_peer staying = whoami(second.get());
    ASSERT_TRUE(gone != 0 && gone != staying);
    first.reset();
    ASSERT_TRUE(wait_for([&] { return removal_count(gone) > 0; }));
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(removal_count(gone), 1);
    EXPECT_EQ(removal_count(staying), 0);
    errno = 0;
    EXPECT_TRUE(msgbus_send(gone, op_echo, 1, 0, "x", 1, nullptr, 0) < 0 && errno == ENOTCONN);
    struct msgbus_credentials credentials = {};
    EXPECT_LT(msgbus_credentials(gone, &credentials), 0);
    msgbus_peer fresh = whoami(connect_client().get());
    EXPECT_TRUE(fresh != gone && fresh != staying);
    EXPECT_TRUE(echo_works(second.get()));
}

TEST(bus_server, the_idle_function_runs_when_quiet_and_while_busy)
{
    client_ptr client = connect_client();
    int before = idles.load();
    std::this_thread::sleep_for(2200ms);
    EXPECT_GE(idles.load() - before, 2);
    before = idles.load();
    for (auto start = std::chrono::steady_clock::now(); ms_since(start) < 2200;)
        ASSERT_TRUE(echo_works(client.get()));
    EXPECT_GE(idles.load() - before, 2);
}

TEST(bus_server, raw_clients_that_stall_or_send_garbage_or_unasked_replies_harm_only_themselves)
{
    client_ptr good = connect_client();
    msgbus::unique_fd slow = raw_connect(), bad = raw_connect(), odd = raw_connect();
    msgbus::wire_header head;
    msgbus::make_header(frame_kind::request, op_echo, 9, 0, 5, 0, head);
    std::string frame_bytes = std::string(reinterpret_cast<char *>(&head), sizeof head) + "hello";
    ASSERT_EQ(raw_write(slow.get(), frame_bytes.data(), 10), 0);
    std::string garbage(sizeof head, 'A');
    ASSERT_EQ(raw_write(bad.get(), garbage.data(), garbage.size()), 0);
    ASSERT_EQ(raw_send(odd.get(), frame_kind::reply, op_echo, 3, "unasked"), 0);
    auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 50; ++i)
        ASSERT_TRUE(echo_works(good.get()));
    EXPECT_LT(ms_since(start), 1000);
    frame_reader from_bad, from_slow, from_odd;
    frame got;
    char byte;
    EXPECT_FALSE(raw_read(bad.get(), from_bad, got));
    EXPECT_EQ(read(bad.get(), &byte, 1), 0) << "closed by the server, not timed out";
    ASSERT_EQ(raw_write(slow.get(), &frame_bytes[10], frame_bytes.size() - 10), 0);
    ASSERT_TRUE(raw_read(slow.get(), from_slow, got));
    EXPECT_TRUE(got.is_reply() && got.head.tag == 9u);
    EXPECT_EQ(std::string(got.payload(), got.length()), "hello");
    // The unasked reply was dropped without closing its connection.
    ASSERT_EQ(raw_send(odd.get(), frame_kind::request, op_echo, 4, "asked"), 0);
    ASSERT_TRUE(raw_read(odd.get(), from_odd, got));
    EXPECT_EQ(std::string(got.payload(), got.length()), "asked");
}

namespace
{

// The answer names the delay it waited, so that a late one cannot pass for another's.
char *answer_call(const char *name, const char *payload, size_t length, void *arg)
{
    int delay_ms = static_cast<std::atomic<int> *>(arg)->load();
    std::this_thread::sleep_for(std::chrono::milliseconds(delay_ms));
    std::string text = std::string(name) + ":" + std::string(payload, length);
    return strdup((text + ":" + std::to_string(delay_ms)).c_str());
}

} // namespace

TEST(bus_server, calls_reach_a_serving_client_time_out_and_ignore_late_answers)
{
    client_ptr asker = connect_client();
    client_ptr server_side = connect_client();
    msgbus_peer target = whoami(server_side.get());
    std::atomic<int> delay_ms{0};
    volatile int stop = 0;
    int served = -1;
    std::thread serving(
        [&] { served = msgbus_serve(server_side.get(), answer_call, &delay_ms, &stop); });
    std::string text;
    EXPECT_EQ(call_through(asker.get(), target, MSGBUS_OP_FORWARD, 2000, &text).result, 0);
    EXPECT_EQ(text, "svc:hello:0");
    delay_ms = 800;
    call_outcome outcome = call_through(asker.get(), target, MSGBUS_OP_FORWARD, 200, &text);
    EXPECT_TRUE(outcome.result < 0 && outcome.error == ETIMEDOUT && text.empty());
    EXPECT_TRUE(outcome.elapsed_ms >= 190 && outcome.elapsed_ms < 700) << outcome.elapsed_ms;
    // The late answer to the timed-out call arrives first and must not pass for this one's.
    delay_ms = 0;
    EXPECT_EQ(call_through(asker.get(), target, MSGBUS_OP_FORWARD, 3000, &text).result, 0);
    EXPECT_EQ(text, "svc:hello:0");
    // Operations other than forwarded calls are refused by the serving client.
    outcome = call_through(asker.get(), target, 9, 3000, &text);
    EXPECT_TRUE(outcome.result == -1 && outcome.elapsed_ms < 1000);
    auto start = std::chrono::steady_clock::now();
    stop = 1;
    serving.join();
    EXPECT_EQ(served, 0);
    EXPECT_LT(ms_since(start), 1500);
    server_side.reset();
    ASSERT_TRUE(wait_for([&] { return removal_count(target) == 1; }));
    EXPECT_EQ(call_through(asker.get(), target, MSGBUS_OP_FORWARD, 3000, &text).error, ENOTCONN);
}

TEST(bus_server, requests_arriving_during_a_call_are_served_after_it)
{
    client_ptr asker = connect_client();
    msgbus::unique_fd callee = raw_connect();
    frame_reader reader;
    frame got;
    msgbus_peer target = raw_whoami(callee.get(), reader);
    std::string text;
    call_outcome outcome{};
    std::thread asking([&] { outcome = call_through(asker.get(), target, 1, 3000, &text); });
    ASSERT_TRUE(raw_read(callee.get(), reader, got));
    EXPECT_TRUE(!got.is_reply() && got.head.op == MSGBUS_OP_FORWARD);
    EXPECT_EQ(std::string(got.part2(), got.head.length2), "hello");
    ASSERT_EQ(raw_send(callee.get(), frame_kind::request, op_echo, 5, "queued"), 0);
    ASSERT_EQ(raw_send(callee.get(), frame_kind::reply, 1, got.head.tag, "answer"), 0);
    asking.join();
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(text, "answer");
    ASSERT_TRUE(raw_read(callee.get(), reader, got));
    EXPECT_TRUE(got.is_reply() && got.head.tag == 5u);
    EXPECT_EQ(std::string(got.payload(), got.length()), "queued");
}

TEST(bus_server, a_client_that_never_reads_is_dropped_within_the_send_bound)
{
    client_ptr good = connect_client();
    msgbus::unique_fd deaf = raw_connect();
    frame_reader reader;
    msgbus_peer peer = raw_whoami(deaf.get(), reader);
    ASSERT_EQ(raw_send(deaf.get(), frame_kind::request, op_flood, 2, ""), 0);
    ASSERT_TRUE(wait_for([] { return flood_ms >= 0; }, 10s));
    EXPECT_EQ(flood_errno, ETIMEDOUT);
    EXPECT_TRUE(flood_ms >= 4500 && flood_ms < 7000) << flood_ms;
    EXPECT_TRUE(wait_for([&] { return removal_count(peer) == 1; }));
    EXPECT_TRUE(echo_works(good.get()));
}

TEST(bus_listen, refuses_bad_and_taken_endpoints)
{
    start();
    auto handler = [](msgbus_peer, void *, int, uint32_t, const void *, size_t) {};
    EXPECT_EQ(listen_refusal(endpoint, handler), EADDRINUSE);
    for (const char *name : {"a/b", "", ".."})
        EXPECT_EQ(listen_refusal(name, handler), EINVAL) << name;
    EXPECT_EQ(listen_refusal("fine", nullptr), EINVAL);
    errno = 0;
    EXPECT_EQ(msgbus_connect("nobody-listens"), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST(bus_client, a_request_times_out_and_the_connection_stays_usable)
{
    client_ptr client = connect_client();
    int result = 0;
    auto start = std::chrono::steady_clock::now();
    errno = 0;
    EXPECT_EQ(ask(client.get(), op_silent, "", &result, 200), "<no reply>");
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_TRUE(ms_since(start) >= 190 && ms_since(start) < 1000) << ms_since(start);
    EXPECT_TRUE(echo_works(client.get()));
}
