#include "bus_harness.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

using namespace harness;
using namespace msgbus;
using namespace std::chrono_literals;

namespace
{

bool echo_works(msgbus_client *client)
{
    int result = -1;
    return ask(client, op_echo, "still here", &result) == "still here" && result == 10;
}

std::string text_of(const frame &got)
{
    return std::string(got.payload(), got.length());
}

msgbus_peer raw_whoami(int fd, frame_reader &reader)
{
    frame got;
    bool asked = raw_write(fd, wire(frame_kind::request, op_whoami, 1, "")) == 0;
    return asked && raw_read(fd, reader, got) ? value_of<msgbus_peer>(text_of(got)) : 0;
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

// The answer names the delay it waited, so that a late one cannot pass for another's.
char *answer_call(const char *name, const char *payload, size_t length, void *arg)
{
    int delay_ms = static_cast<std::atomic<int> *>(arg)->load();
    std::this_thread::sleep_for(std::chrono::milliseconds(delay_ms));
    std::string text = std::string(name) + ":" + std::string(payload, length);
    return strdup((text + ":" + std::to_string(delay_ms)).c_str());
}

} // namespace

TEST(bus_server, replies_carry_both_parts_and_the_result_a_silent_one_times_out_idle_still_runs)
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
    EXPECT_EQ(ask(client.get(), op_echo, large), large);

    int before = idles.load();
    auto start = std::chrono::steady_clock::now();
    errno = 0;
    EXPECT_EQ(ask(client.get(), op_silent, "", nullptr, 200), "<no reply>");
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_TRUE(ms_since(start) >= 190 && ms_since(start) < 1000) << ms_since(start);
    std::this_thread::sleep_for(2000ms);
    EXPECT_GE(idles.load() - before, 2);
    before = idles.load();
    for (start = std::chrono::steady_clock::now(); ms_since(start) < 2200;)
        ASSERT_TRUE(echo_works(client.get())); // the timed-out request left the connection usable
    EXPECT_GE(idles.load() - before, 2);
}

// The last of them never reads a large reply: the server gives up on it within its send bound.
TEST(bus_server, raw_clients_that_stall_send_garbage_or_never_read_harm_only_themselves)
{
    client_ptr good = connect_client();
    unique_fd slow = raw_connect(), bad = raw_connect(), odd = raw_connect();
    frame_reader from_bad, from_slow, from_odd;
    msgbus_peer odd_peer = raw_whoami(odd.get(), from_odd);
    std::string hello = wire(frame_kind::request, op_echo, 9, "hello");
    ASSERT_EQ(raw_write(slow.get(), hello.substr(0, 10)), 0);
    ASSERT_EQ(raw_write(bad.get(), std::string(sizeof(wire_header), 'A')), 0);
    ASSERT_EQ(raw_write(odd.get(), wire(frame_kind::reply, op_echo, 3, "unasked")), 0);
    auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 50; ++i)
        ASSERT_TRUE(echo_works(good.get()));
    EXPECT_LT(ms_since(start), 1000);
    frame got;
    char byte;
    EXPECT_FALSE(raw_read(bad.get(), from_bad, got));
    EXPECT_EQ(read(bad.get(), &byte, 1), 0) << "closed by the server, not timed out";
    ASSERT_EQ(raw_write(slow.get(), hello.substr(10)), 0);
    ASSERT_TRUE(raw_read(slow.get(), from_slow, got));
    EXPECT_TRUE(got.is_reply() && got.head.tag == 9u && text_of(got) == "hello");
    // The unasked reply was dropped without closing its connection.
    ASSERT_EQ(raw_write(odd.get(), wire(frame_kind::request, op_echo, 4, "asked")), 0);
    ASSERT_TRUE(raw_read(odd.get(), from_odd, got));
    EXPECT_EQ(text_of(got), "asked");
    start = std::chrono::steady_clock::now();
    ASSERT_EQ(raw_write(odd.get(), wire(frame_kind::request, op_flood, 2, "")), 0);
    ASSERT_TRUE(wait_for([] { return flood_errno >= 0; }, 10s));
    EXPECT_EQ(flood_errno, ETIMEDOUT);
    EXPECT_TRUE(ms_since(start) >= 4500 && ms_since(start) < 7000) << ms_since(start);
    EXPECT_TRUE(wait_for([&] { return removal_count(odd_peer) == 1; }));
    EXPECT_TRUE(echo_works(good.get()));
}

// Then a raw callee gets a request while it owes an answer, and the serving client's connection
// closes: announced once, its handle never reused.
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

    unique_fd callee = raw_connect();
    frame_reader reader;
    frame got;
    msgbus_peer raw_target = raw_whoami(callee.get(), reader);
    std::thread asking([&] { outcome = call_through(asker.get(), raw_target, 1, 3000, &text); });
    ASSERT_TRUE(raw_read(callee.get(), reader, got));
    EXPECT_TRUE(!got.is_reply() && got.head.op == MSGBUS_OP_FORWARD);
    EXPECT_EQ(std::string(got.part2(), got.head.length2), "hello");
    ASSERT_EQ(raw_write(callee.get(), wire(frame_kind::request, op_echo, 5, "queued")), 0);
    ASSERT_EQ(raw_write(callee.get(), wire(frame_kind::reply, 1, got.head.tag, "answer")), 0);
    asking.join();
    EXPECT_TRUE(outcome.result == 0 && text == "answer");
    ASSERT_TRUE(raw_read(callee.get(), reader, got)) << "the request that came during the call";
    EXPECT_TRUE(got.is_reply() && got.head.tag == 5u && text_of(got) == "queued");

    server_side.reset();
    ASSERT_TRUE(wait_for([&] { return removal_count(target) > 0; }));
    std::this_thread::sleep_for(200ms);
    EXPECT_TRUE(removal_count(target) == 1 && removal_count(staying) == 0);
    EXPECT_EQ(call_through(asker.get(), target, MSGBUS_OP_FORWARD, 3000, &text).error, ENOTCONN);
    errno = 0;
    EXPECT_TRUE(msgbus_send(target, op_echo, 1, 0, "x", 1, nullptr, 0) < 0 && errno == ENOTCONN);
    struct msgbus_credentials credentials = {};
    EXPECT_LT(msgbus_credentials(target, &credentials), 0);
    msgbus_peer fresh = whoami(connect_client().get());
    EXPECT_TRUE(fresh != 0 && fresh != target && fresh != staying);
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
    EXPECT_TRUE(msgbus_connect("nobody-listens") == nullptr && errno == ENOENT);
}
