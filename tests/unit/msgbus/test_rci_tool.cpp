// What the system tests cannot show of rci: the command lines it refuses, the round-trip figures,
// the answer command, and a name served with it until the tool is stopped.
#include "answer_cmd.h"
#include "bus_harness.h"
#include "options.h"
#include "stats.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <optional>

using namespace harness;

namespace
{

std::optional<rci_options> parse(std::string line)
{
    std::vector<char *> argv;
    line.insert(0, "rci ");
    for (char *word = std::strtok(line.data(), " "); word; word = std::strtok(nullptr, " "))
        argv.push_back(word);
    rci_options out;
    std::string error;
    if (parse_options(static_cast<int>(argv.size()), argv.data(), out, error) < 0) return {};
    return out;
}

} // namespace

TEST(rci_options, reads_numbers_and_refuses_what_cannot_be_one_command)
{
    EXPECT_EQ(parse("--op -1 --tag 4294967295 --timeout 0.25 -").value().timeout_ms, 250);
    for (const char *line :
         {"--read 2", "--read 256 /x", "--read 2x /x", "--op 4 --write", "--serve svc",
          "--serve s --answer x f", "--serve s --answer x --repeat 2", "--answer x", "--delay -1",
          "--serve s --answer x --answer-cmd cat", "--tag -3", "--frobnicate", "a.xml b.xml"})
        EXPECT_FALSE(parse(line)) << line;
}

TEST(rci_stats, nearest_rank_percentiles_and_rate)
{
    std::vector<double> trips, one{7};
    for (int i = 100; i >= 1; --i)
        trips.push_back(i);
    EXPECT_EQ(format_stats(summarize(trips, 0.5)), "p50 50.0 us, p99 99.0 us, 200 req/s");
    EXPECT_EQ(format_stats(summarize(one, 0)), "p50 7.0 us, p99 7.0 us, 0 req/s");
}

TEST(rci_answer_cmd, feeds_the_payload_and_collects_the_output_without_a_shell_in_between)
{
    signal(SIGPIPE, SIG_IGN); // as the tool does
    std::string marker = bus_dir() + "-marker", output;
    // More than a pipe holds: feeding and draining must go together.
    std::string payload =
        "$(touch " + marker + ")`touch " + marker + "`" + std::string(1 << 20, 'z');
    ASSERT_EQ(run_answer_cmd("cat", payload.data(), payload.size(), output), 0);
    EXPECT_EQ(output, payload);
    EXPECT_NE(access(marker.c_str(), F_OK), 0);
    output.clear();
    ASSERT_EQ(run_answer_cmd("echo early; exit 3", payload.data(), payload.size(), output), 0);
    EXPECT_EQ(output, "early\n");
}

TEST(rci_tool, serves_a_name_through_an_answer_command_until_stopped)
{
    start();
    FILE *served = popen(RCI_TOOL " --serve svc --answer-cmd 'tr a-z A-Z'", "r");
    ASSERT_TRUE(served && wait_for([] { return registered("svc") != 0; }));
    // Calls are made by the listening thread that owns the serving peer.
    std::string text;
    call_through(connect_client(daemon_endpoint).get(), registered("svc"), 1, 3000, &text);
    EXPECT_EQ(text, "HELLO");
    struct msgbus_credentials tool = {};
    ASSERT_EQ(msgbus_credentials(registered("svc"), &tool), 0);
    kill(tool.pid, SIGTERM);
    char line[64] = "";
    EXPECT_STREQ(fgets(line, sizeof line, served), "received svc: hello\n");
    EXPECT_EQ(pclose(served), 0);
}
