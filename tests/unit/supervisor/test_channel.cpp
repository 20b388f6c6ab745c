#include "parent_harness.h"
#include "rci/rci.h"
#include "supervisor/channel.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <thread>

namespace
{

// Points the engine's channel at fresh pipes: `to_parent` is what the parent would read,
// `from_parent` what it would answer into.
class engine_channel
{
  public:
    engine_channel()
    {
        (void)!pipe(to_parent_);
        (void)!pipe(from_parent_);
        to_parent_fd = to_parent_[1];
        from_parent_fd = from_parent_[0];
    }
    ~engine_channel()
    {
        to_parent_fd = from_parent_fd = -1;
        for (int fd : {to_parent_[0], to_parent_[1], from_parent_[0], from_parent_[1]})
            if (fd >= 0) close(fd);
    }
    engine_channel(const engine_channel &) = delete;
    engine_channel &operator=(const engine_channel &) = delete;

    int parent_in() const { return to_parent_[0]; }
    int parent_out() const { return from_parent_[1]; }

    // Reads one message as the parent does; its letter followed by its payload, or "" at EOF.
    std::string read_message() const
    {
        char letter = 0;
        if (read(parent_in(), &letter, 1) != 1) return "";
        std::string message(1, letter);
        if (letter != 'd' && letter != 'p') return message;
        unsigned char length = 0;
        (void)!read(parent_in(), &length, 1);
        message.resize(1 + length);
        for (size_t got = 1; got < message.size();) {
            ssize_t count = read(parent_in(), message.data() + got, message.size() - got);
            if (count <= 0) return "";
            got += static_cast<size_t>(count);
        }
        return message;
    }

  private:
    int to_parent_[2];
    int from_parent_[2];
};

constexpr int rounds = 400;

} // namespace

TEST(Channel, ConcurrentSendersNeverInterleave)
{
    engine_channel channel;
    const std::string dates(25, 'a');
    const std::string users(99, 'b');
    std::thread date_sender([&] {
        for (int i = 0; i < rounds; ++i)
            parent_send_data('d', dates.size(), dates.data());
    });
    std::thread user_sender([&] {
        for (int i = 0; i < rounds; ++i)
            parent_send_data('p', users.size(), users.data());
    });
    std::thread letter_sender([] {
        for (int i = 0; i < rounds; ++i)
            parent_send('g');
    });
    int seen[3] = {0, 0, 0};
    for (int i = 0; i < 3 * rounds; ++i) {
        std::string message = channel.read_message();
        if (message == "d" + dates)
            ++seen[0];
        else if (message == "p" + users)
            ++seen[1];
        else if (message == "g")
            ++seen[2];
        else
            ADD_FAILURE() << "broken message: " << message;
    }
    for (std::thread *sender : {&date_sender, &user_sender, &letter_sender})
        sender->join();
    EXPECT_EQ(seen[0], rounds);
    EXPECT_EQ(seen[1], rounds);
    EXPECT_EQ(seen[2], rounds);
}

TEST(Channel, EachRequesterReadsTheAnswerToItsOwnLetter)
{
    engine_channel channel;
    std::thread parent([&] {
        for (int i = 0; i < 2 * rounds; ++i) {
            std::string message = channel.read_message();
            std::this_thread::yield();
            const char answer[2] = {message.empty() ? '?' : message[0], '1'};
            (void)!write(channel.parent_out(), answer, 2);
        }
    });
    auto requester = [](char letter, const char *payload, int *mismatches) {
        for (int i = 0; i < rounds; ++i) {
            char answer[2] = {0, 0};
            ssize_t count = parent_request(letter, payload ? 5 : 0, payload, answer, sizeof answer);
            *mismatches += count != 2 || answer[0] != letter || answer[1] != '1';
        }
    };
    int mismatches[2] = {0, 0};
    std::thread firmware(requester, 'u', nullptr, &mismatches[0]);
    std::thread password(requester, 'p',
                         "a\x1e"
                         "b\x1e"
                         "c",
                         &mismatches[1]);
    firmware.join();
    password.join();
    parent.join();
    EXPECT_EQ(mismatches[0], 0);
    EXPECT_EQ(mismatches[1], 0);
}

TEST(Channel, RebootRequestIsAnsweredAndReachesTheParent)
{
    log_capture log;
    parent_harness parent;
    to_parent_fd = parent.engine_end();
    std::string request = "<rci_request version=\"1.1\"><reboot/><reboot>x</reboot></rci_request>";
    xmlBufferPtr reply = nullptr;
    ASSERT_GT(RCI_Processing(request.data(), request.size(), &reply, "nimbo"), 0);
    EXPECT_STREQ(xml::chars(xmlBufferContent(reply)),
                 "<rci_reply version=\"1.1\"><reboot/><reboot/></rci_reply>");
    xmlBufferFree(reply);
    EXPECT_TRUE(log.has(LOG_NOTICE, "vexacsd received reboot request from nimbo."));
    to_parent_fd = -1;
    parent.serve("");
    EXPECT_EQ(command_recorder::taken(),
              (std::vector<std::string>{"pause 3", "/sbin/reboot", "pause 3", "/sbin/reboot"}));
}
