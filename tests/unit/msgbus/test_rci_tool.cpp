// The answer command of `rci --serve`: what forwarded payloads reach and how much it carries.
#include "answer_cmd.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

TEST(rci_answer_cmd, feeds_the_payload_and_collects_the_output_without_a_shell_in_between)
{
    signal(SIGPIPE, SIG_IGN); // as the tool does
    std::string marker = "/tmp/rci-answer-marker-" + std::to_string(getpid()), output;
    // More than a pipe holds: feeding and draining must go together.
    std::string payload =
        "$(touch " + marker + ")`touch " + marker + "`" + std::string(1 << 20, 'z');
    ASSERT_EQ(run_answer_cmd("cat", payload.data(), payload.size(), output), 0);
    EXPECT_EQ(output, payload);
    EXPECT_NE(access(marker.c_str(), F_OK), 0);
    output.clear();
    // A command that stops reading early still answers with what it printed.
    ASSERT_EQ(run_answer_cmd("echo early; exit 3", payload.data(), payload.size(), output), 0);
    EXPECT_EQ(output, "early\n");
}
