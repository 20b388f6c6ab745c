#include "support/engine_channel.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <future>
#include <map>
#include <string>
#include <thread>

using namespace std::chrono_literals;

constexpr int rounds = 400;

TEST(Channel, ConcurrentSendersNeverInterleaveAndEachRequesterReadsItsOwnAnswer)
{
    engine_channel channel;
    const std::string dates(25, 'a'), users(99, 'b');
    auto repeat = [](auto step) {
        return std::thread([step] {
            for (int i = 0; i < rounds; ++i)
                step();
        });
    };
    std::thread senders[] = {
        repeat([&] { parent_send_data(LETTER_DATE, dates.size(), dates.data()); }),
        repeat([&] { parent_send_data(LETTER_PASSWORD, users.size(), users.data()); }),
        repeat([] { parent_send(LETTER_GENERATE); })};
    std::map<std::string, int> seen;
    for (int i = 0; i < 3 * rounds; ++i)
        ++seen[channel.read_message()];
    for (std::thread &sender : senders)
        sender.join();
    EXPECT_EQ(seen, (std::map<std::string, int>{
                        {"d" + dates, rounds}, {"p" + users, rounds}, {"g", rounds}}));

    auto answer_all = [&] {
        for (int i = 0; i < 2 * rounds; ++i) {
            std::string message = channel.read_message();
            std::this_thread::yield();
            const char answer[2] = {message.empty() ? '?' : message[0], '1'};
            (void)!write(channel.from_parent[1], answer, 2);
        }
    };
    std::atomic<int> mismatches{0};
    auto request = [&mismatches](parent_letter letter, const char *payload) {
        char answer[2] = {0, 0};
        ssize_t count = parent_request(letter, payload ? 5 : 0, payload, answer, sizeof answer);
        mismatches += !parent_answer_accepted(letter, answer, count);
    };
    std::thread sides[] = {std::thread(answer_all),
                           repeat([&] { request(LETTER_FIRMWARE, nullptr); }),
                           repeat([&] { request(LETTER_PASSWORD, "a\036b\036c"); })};
    for (std::thread &side : sides)
        side.join();
    EXPECT_EQ(mismatches, 0);
}

// A firmware apply keeps its exchange open for minutes; every other letter must still go out.
TEST(Channel, SendingNeverWaitsForAnOpenExchange)
{
    engine_channel channel;
    std::atomic<bool> answered{false};
    char answer[2] = {0, 0};
    std::thread apply([&] {
        ssize_t count = parent_request(LETTER_FIRMWARE, 0, nullptr, answer, sizeof answer);
        answered = parent_answer_accepted(LETTER_FIRMWARE, answer, count);
    });
    EXPECT_EQ(channel.read_message(), "u");
    const char date[] = "u2024-05-01 10:20:30";
    auto sending = std::async(std::launch::async, [&] {
        parent_send(LETTER_GENERATE);
        parent_send_data(LETTER_DATE, sizeof date - 1, date);
    });
    EXPECT_EQ(sending.wait_for(500ms), std::future_status::ready)
        << "the senders waited for the open exchange";
    EXPECT_FALSE(answered);
    channel.answer("u1");
    apply.join();
    sending.wait();
    EXPECT_EQ(channel.read_message(), "g");
    EXPECT_EQ(channel.read_message(), std::string("d") + date);
    EXPECT_TRUE(answered);
}
