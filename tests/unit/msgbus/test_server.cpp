#include "bus_harness.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <thread>

using namespace harness;
using namespace std::chrono_literals;
using msgbus::frame;
using msgbus::frame_kind;
using msgbus::frame_reader;
using msgbus::wire_header;

namespace
{

long elapsed_ms(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 start)
        .count();
}

bool echo_works(msgbus_client *client)
{
    int result = -1;
    return ask(client, op_echo, "still here", &result) == "still here" && result == 10;
}

// True when the server closed the raw connection (end of stream, not a timeout).
bool closed_by_server(int fd)
{
    frame_reader reader;
    frame out;
    char byte;
    return !raw_read(fd, reader, out, 2000) && read(fd, &byte, 1) == 0;
}

} // namespace

TEST(bus_server, replies_carry_both_parts_the_tag_the_result_and_the_credentials)
{
    client_ptr client = connect_client();
    ASSERT_TRUE(client);
    int result = 0;
    char *reply = nullptr;
    size_t length = 0;
    ASSERT_EQ(msgbus_request(client.get(), op_echo, 4242, "head", 4, "tail\0x", 6, &result, &reply,
                             &length, 2000),
              0);
    EXPECT_EQ(result, 10);
    ASSERT_EQ(length, 10u);
    EXPECT_EQ(std::memcmp(reply, "headtail\0x", 10), 0);
    EXPECT_EQ(reply[10], '\0');
    std::free(reply);

    EXPECT_EQ(ask(client.get(), op_echo, "", &result), "");
    EXPECT_EQ(result, 0);
    std::string large(3 * 1024 * 1024 + 17, '\0');
    for (size_t i = 0; i < large.size(); ++i)
        large[i] = static_cast<char>(i * 7);
    EXPECT_EQ(ask(client.get(), op_echo, large, &result), large);

    std::string raw = ask(client.get(), op_credentials, "", &result);
    struct msgbus_credentials seen {
    };
    ASSERT_EQ(raw.size(), sizeof seen);
    std::memcpy(&seen, raw.data(), sizeof seen);
    EXPECT_EQ(seen.pid, getpid());
    EXPECT_EQ(seen.uid, static_cast<int32_t>(getuid()));
    EXPECT_EQ(seen.gid, static_cast<int32_t>(getgid()));
}

TEST(bus_server, a_closed_connection_is_announced_once_and_its_handle_never_comes_back)
{
    client_ptr first = connect_client();
    client_ptr second = connect_client();
    msgbus_peer gone = whoami(first.get());
    msgbus_peer staying = whoami(second.get());
    ASSERT_NE(gone, 0u);
    ASSERT_NE(gone, staying);

    first.reset();
    ASSERT_TRUE(wait_for([&] { return removal_count(gone) > 0; }));
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(removal_count(gone), 1);
    EXPECT_EQ(removal_count(staying), 0);
    errno = 0;
    EXPECT_LT(msgbus_send(gone, op_echo, 1, 0, "x", 1, nullptr, 0), 0);
    EXPECT_EQ(errno, ENOTCONN);
    struct msgbus_credentials credentials {
    };
    EXPECT_LT(msgbus_credentials(gone, &credentials), 0);

    client_ptr third = connect_client();
    msgbus_peer fresh = whoami(third.get());
    EXPECT_NE(fresh, gone);
    EXPECT_NE(fresh, staying);
    EXPECT_TRUE(echo_works(second.get()));
}

TEST(bus_server, the_idle_function_runs_when_quiet_and_while_busy)
{
    start();
    int before = idle_count();
    std::this_thread::sleep_for(2200ms);
    EXPECT_GE(idle_count() - before, 2);

    client_ptr client = connect_client();
    before = idle_count();
    auto start = std::chrono::steady_clock::now();
    while (elapsed_ms(start) < 2200)
        ASSERT_TRUE(echo_works(client.get()));
    EXPECT_GE(idle_count() - before, 2);
}

TEST(bus_server, a_lying_or_oversized_frame_closes_only_its_own_connection)
{
    client_ptr good = connect_client();
    ASSERT_TRUE(good);
    wire_header lying;
    msgbus::make_header(frame_kind::request, 0, 1, 0, 3, 0, lying);
    lying.length1 = 40;
    wire_header oversized = lying;
    oversized.length1 = MSGBUS_MAX_MESSAGE;
    oversized.total = MSGBUS_MAX_MESSAGE + sizeof(wire_header);
    wire_header garbage{};
    std::memset(&garbage, 'A', sizeof garbage);

    for (const wire_header &head : {lying, oversized, garbage}) {
        msgbus::unique_fd raw = raw_connect();
        ASSERT_GE(raw.get(), 0);
        ASSERT_EQ(raw_write(raw.get(), &head, sizeof head), 0);
        raw_write(raw.get(), "abc", 3); // the server may already have closed
        EXPECT_TRUE(closed_by_server(raw.get()));
        EXPECT_TRUE(echo_works(good.get()));
    }
}

TEST(bus_server, a_client_stalled_mid_frame_does_not_hold_the_others)
{
    client_ptr good = connect_client();
    msgbus::unique_fd slow = raw_connect();
    wire_header head;
    msgbus::make_header(frame_kind::request, op_echo, 9, 0, 5, 0, head);
    std::string frame_bytes = std::string(reinterpret_cast<char *>(&head), sizeof head) + "hello";
    ASSERT_EQ(raw_write(slow.get(), frame_bytes.data(), 10), 0);

    auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 50; ++i)
        ASSERT_TRUE(echo_works(good.get()));
    EXPECT_LT(elapsed_ms(start), 1000);

    for (size_t at = 10; at < frame_bytes.size(); ++at) {
        ASSERT_EQ(raw_write(slow.get(), &frame_bytes[at], 1), 0);
        std::this_thread::sleep_for(2ms);
    }
    frame_reader reader;
    frame reply;
    ASSERT_TRUE(raw_read(slow.get(), reader, reply));
    EXPECT_TRUE(reply.is_reply());
    EXPECT_EQ(reply.head.tag, 9u);
    EXPECT_EQ(std::string(reply.payload(), reply.length()), "hello");
}

namespace
{

struct serving {
    std::atomic<int> delay_ms{0};
    std::atomic<int> calls{0};
};

char *answer_call(const char *name, const char *payload, size_t length, void *arg)
{
    auto *state = static_cast<serving *>(arg);
    ++state->calls;
    std::this_thread::sleep_for(std::chrono::milliseconds(state->delay_ms.load()));
    return strdup(("got:" + std::string(name) + ":" + std::string(payload, length)).c_str());
}

call_outcome call_through(msgbus_client *client, msgbus_peer target, int op, int timeout_ms,
                          std::string *text)
{
    call_order order{.target = target, .op = op, .timeout_ms = timeout_ms, .text = "hello"};
    int result = -1;
    std::string reply =
        ask(client, op_call, std::string(reinterpret_cast<char *>(&order), sizeof order), &result,
            10000);
    call_outcome outcome{.result = -100, .error = 0, .elapsed_ms = -1};
    if (reply.size() >= sizeof outcome) std::memcpy(&outcome, reply.data(), sizeof outcome);
    *text = reply.size() >= sizeof outcome ? reply.substr(sizeof outcome) : "";
    return outcome;
}

} // namespace

TEST(bus_server, calls_reach_a_serving_client_time_out_and_ignore_late_answers)
{
    client_ptr asker = connect_client();
    client_ptr server_side = connect_client();
    msgbus_peer target = whoami(server_side.get());
    serving state;
    volatile int stop = 0;
    int served = -1;
    std::thread serve_thread(
        [&] { served = msgbus_serve(server_side.get(), answer_call, &state, &stop); });

    std::string text;
    call_outcome outcome = call_through(asker.get(), target, MSGBUS_OP_FORWARD, 2000, &text);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(text, "got:svc:hello");

    state.delay_ms = 800;
    outcome = call_through(asker.get(), target, MSGBUS_OP_FORWARD, 200, &text);
    EXPECT_LT(outcome.result, 0);
    EXPECT_EQ(outcome.error, ETIMEDOUT);
    EXPECT_GE(outcome.elapsed_ms, 190);
    EXPECT_LT(outcome.elapsed_ms, 700);
    EXPECT_EQ(text, "");

    // The late answer to the timed-out call arrives first and must not pass for this one's.
    state.delay_ms = 0;
    outcome = call_through(asker.get(), target, MSGBUS_OP_FORWARD, 3000, &text);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(text, "got:svc:hello");
    EXPECT_EQ(state.calls, 3);

    outcome = call_through(asker.get(), target, 9, 3000, &text);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_LT(outcome.elapsed_ms, 1000);
    EXPECT_EQ(state.calls, 3);
    outcome = call_through(asker.get(), 0x7fffffff, MSGBUS_OP_FORWARD, 3000, &text);
    EXPECT_EQ(outcome.error, ENOTCONN);

    auto start = std::chrono::steady_clock::now();
    stop = 1;
    serve_thread.join();
    EXPECT_EQ(served, 0);
    EXPECT_LT(elapsed_ms(start), 1500);
    server_side.reset();
    ASSERT_TRUE(wait_for([&] { return removal_count(target) == 1; }));
    outcome = call_through(asker.get(), target, MSGBUS_OP_FORWARD, 3000, &text);
    EXPECT_EQ(outcome.error, ENOTCONN);
}

TEST(bus_server, requests_arriving_during_a_call_are_served_after_it)
{
    client_ptr asker = connect_client();
    msgbus::unique_fd callee = raw_connect();
    frame_reader reader;
    frame got;
    ASSERT_EQ(raw_send(callee.get(), frame_kind::request, op_whoami, 1, ""), 0);
    ASSERT_TRUE(raw_read(callee.get(), reader, got));
    msgbus_peer target;
    std::memcpy(&target, got.payload(), sizeof target);

    std::string text;
    call_outcome outcome{};
    std::thread asking([&] { outcome = call_through(asker.get(), target, 1, 3000, &text); });
    ASSERT_TRUE(raw_read(callee.get(), reader, got));
    EXPECT_FALSE(got.is_reply());
    EXPECT_EQ(got.head.op, MSGBUS_OP_FORWARD);
    EXPECT_EQ(std::string(got.part2(), got.head.length2), "hello");
    ASSERT_EQ(raw_send(callee.get(), frame_kind::request, op_echo, 5, "queued"), 0);
    ASSERT_EQ(raw_send(callee.get(), frame_kind::reply, 1, got.head.tag, "answer"), 0);
    asking.join();
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(text, "answer");

    ASSERT_TRUE(raw_read(callee.get(), reader, got));
    EXPECT_TRUE(got.is_reply());
    EXPECT_EQ(got.head.tag, 5u);
    EXPECT_EQ(std::string(got.payload(), got.length()), "queued");
}

TEST(bus_server, a_client_that_never_reads_is_dropped_within_the_send_bound)
{
    client_ptr good = connect_client();
    msgbus::unique_fd deaf = raw_connect();
    ASSERT_EQ(raw_send(deaf.get(), frame_kind::request, op_whoami, 1, ""), 0);
    frame_reader reader;
    frame got;
    ASSERT_TRUE(raw_read(deaf.get(), reader, got));
    msgbus_peer peer;
    std::memcpy(&peer, got.payload(), sizeof peer);

    ASSERT_EQ(raw_send(deaf.get(), frame_kind::request, op_flood, 2, ""), 0);
    ASSERT_TRUE(wait_for([] { return flood_ms >= 0; }, 10s));
    EXPECT_EQ(flood_result, -1);
    EXPECT_EQ(flood_errno, ETIMEDOUT);
    EXPECT_GE(flood_ms, 4500);
    EXPECT_LT(flood_ms, 7000);
    EXPECT_TRUE(wait_for([&] { return removal_count(peer) == 1; }));
    EXPECT_TRUE(echo_works(good.get()));
}

TEST(bus_server, descriptors_stay_flat_over_many_connections)
{
    msgbus_peer last = whoami(connect_client().get());
    ASSERT_TRUE(wait_for([&] { return removal_count(last) == 1; }));
    int before = open_fd_count();
    std::set<msgbus_peer> handles;
    for (int i = 0; i < 200; ++i) {
        client_ptr client = connect_client();
        ASSERT_TRUE(client);
        last = whoami(client.get());
        handles.insert(last);
    }
    EXPECT_EQ(handles.size(), 200u);
    ASSERT_TRUE(wait_for([&] { return removal_count(last) == 1; }));
    EXPECT_EQ(open_fd_count(), before);
}

TEST(bus_listen, refuses_bad_and_taken_endpoints)
{
    start();
    auto handler = [](msgbus_peer, void *, int, uint32_t, const void *, size_t) {};
    struct refusal {
        const char *endpoint;
        msgbus_handler handler;
        int error;
    };
    for (const refusal &row : {refusal{endpoint, handler, EADDRINUSE},
                               refusal{"a/b", handler, EINVAL}, refusal{"", handler, EINVAL},
                               refusal{"..", handler, EINVAL}, refusal{"fine", nullptr, EINVAL}}) {
        SCOPED_TRACE(row.endpoint);
        errno = 0;
        EXPECT_LT(msgbus_listen(row.endpoint, row.handler, nullptr, 0, nullptr), 0);
        EXPECT_EQ(errno, row.error);
    }
    errno = 0;
    EXPECT_EQ(msgbus_connect("nobody-listens"), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST(bus_client, a_request_times_out_and_the_connection_stays_usable)
{
    client_ptr client = connect_client();
    int result = 0;
    char *reply = nullptr;
    auto start = std::chrono::steady_clock::now();
    errno = 0;
    EXPECT_LT(msgbus_request(client.get(), op_silent, 1, "", 0, nullptr, 0, &result, &reply,
                             nullptr, 200),
              0);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_EQ(reply, nullptr);
    EXPECT_GE(elapsed_ms(start), 190);
    EXPECT_LT(elapsed_ms(start), 1000);
    EXPECT_TRUE(echo_works(client.get()));

    // A reply nobody asked for is dropped without closing the connection.
    msgbus::unique_fd raw = raw_connect();
    ASSERT_EQ(raw_send(raw.get(), frame_kind::reply, op_echo, 3, "unasked"), 0);
    ASSERT_EQ(raw_send(raw.get(), frame_kind::request, op_echo, 4, "asked"), 0);
    frame_reader reader;
    frame got;
    ASSERT_TRUE(raw_read(raw.get(), reader, got));
    EXPECT_EQ(got.head.tag, 4u);
    EXPECT_EQ(std::string(got.payload(), got.length()), "asked");
}
