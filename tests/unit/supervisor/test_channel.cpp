#include "supervisor/channel.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <map>
#include <string>
#include <thread>

namespace
{

constexpr int rounds = 400;

// Points the engine's channel at fresh pipes and plays the parent's side of them.
struct engine_channel {
    int to_parent[2] = {-1, -1}, from_parent[2] = {-1, -1};

    engine_channel()
    {
        (void)!pipe(to_parent);
        (void)!pipe(from_parent);
        to_parent_fd = to_parent[1];
        from_parent_fd = from_parent[0];
    }
    ~engine_channel()
    {
        to_parent_fd = from_parent_fd = -1;
        for (int fd : {to_parent[0], to_parent[1], from_parent[0], from_parent[1]})
            close(fd);
    }

    // Reads one message as the parent does: its letter followed by its payload, or "" at EOF.
    std::string read_message() const
    {
        char letter = 0;
        unsigned char length = 0;
        if (read(to_parent[0], &letter, 1) != 1) return "";
        if ((letter == 'd' || letter == 'p') && read(to_parent[0], &length, 1) != 1) return "";
        std::string message(1 + length, letter);
        for (size_t got = 1; got < message.size();) {
            ssize_t count = read(to_parent[0], message.data() + got, message.size() - got);
            if (count <= 0) return "";
            got += static_cast<size_t>(count);
        }
        return message;
    }
};

} // namespace

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
    std::thread senders[] = {repeat([&] { parent_send_data('d', dates.size(), dates.data()); }),
                             repeat([&] { parent_send_data('p', users.size(), users.data()); }),
                             repeat([] { parent_send('g'); })};
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
    auto request = [&mismatches](char letter, const char *payload) {
        char answer[2] = {0, 0};
        ssize_t count = parent_request(letter, payload ? 5 : 0, payload, answer, sizeof answer);
        mismatches += count != 2 || answer[0] != letter || answer[1] != '1';
    };
    std::thread sides[] = {std::thread(answer_all), repeat([&] { request('u', nullptr); }),
                           repeat([&] { request('p', "a\036b\036c"); })};
    for (std::thread &side : sides)
        side.join();
    EXPECT_EQ(mismatches, 0);
}
