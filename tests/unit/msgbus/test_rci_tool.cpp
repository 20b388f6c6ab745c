#include "answer_cmd.h"
#include "bus_harness.h"
#include "options.h"
#include "stats.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

using namespace harness;

namespace
{

int parse(std::vector<const char *> words, rci_options &out)
{
    words.insert(words.begin(), "rci");
    std::string error;
    return parse_options(static_cast<int>(words.size()), const_cast<char *const *>(words.data()),
                         out, error);
}

std::string slurp(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

struct tool_run {
    int status;
    std::string out;
    std::string err;
};

// Runs the tool through the shell with `input` on its standard input.
tool_run run_rci(const std::string &arguments, const std::string &input = "")
{
    start();
    std::string in = bus_dir() + "/in", err = bus_dir() + "/err";
    std::ofstream(in, std::ios::binary) << input;
    std::string command = std::string(RCI_TOOL) + " " + arguments + " <" + in + " 2>" + err;
    FILE *pipe = popen(command.c_str(), "r");
    std::string out;
    char chunk[4096];
    size_t count;
    while (pipe && (count = fread(chunk, 1, sizeof chunk, pipe)) > 0)
        out.append(chunk, count);
    int status = pipe ? pclose(pipe) : -1;
    return {.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1, .out = out, .err = slurp(err)};
}

} // namespace

TEST(rci_options, reads_each_command_form)
{
    rci_options plain;
    ASSERT_EQ(parse({"--cloud", "--pretty", "--repeat", "3", "req.xml"}, plain), 0);
    EXPECT_EQ(plain.mode, rci_mode::rci);
    EXPECT_TRUE(plain.cloud && plain.pretty);
    EXPECT_EQ(plain.repeat, 3);
    EXPECT_EQ(plain.input, "req.xml");
    EXPECT_EQ(plain.timeout_ms, 60000);

    rci_options read;
    ASSERT_EQ(parse({"--read", "4", "/config/x"}, read), 0);
    EXPECT_EQ(read.mode, rci_mode::read);
    EXPECT_EQ(read.selector, 4);
    EXPECT_EQ(read.xpath, "/config/x");

    rci_options op;
    ASSERT_EQ(parse({"--op", "-1", "--tag", "4294967295", "--timeout", "0.25", "-"}, op), 0);
    EXPECT_EQ(op.op, -1);
    EXPECT_EQ(op.tag, 4294967295u);
    EXPECT_EQ(op.timeout_ms, 250);
    EXPECT_EQ(op.input, "-");

    rci_options serve;
    ASSERT_EQ(parse({"--serve", "svc", "--answer-cmd", "cat", "--delay", "1.5"}, serve), 0);
    EXPECT_EQ(serve.mode, rci_mode::serve);
    EXPECT_EQ(serve.serve_name, "svc");
    EXPECT_EQ(serve.answer_cmd, "cat");
    EXPECT_FALSE(serve.has_answer_text);
    EXPECT_DOUBLE_EQ(serve.delay_seconds, 1.5);
    rci_options empty_answer;
    ASSERT_EQ(parse({"--serve", "svc", "--answer", ""}, empty_answer), 0);
    EXPECT_TRUE(empty_answer.has_answer_text);
}

TEST(rci_options, refuses_what_cannot_be_one_command)
{
    std::vector<std::vector<const char *>> wrong = {
        {"--read", "2"},
        {"--read", "256", "/x"},
        {"--read", "2x", "/x"},
        {"--op", "4", "--write"},
        {"--write", "--serve", "svc", "--answer", "x"},
        {"--serve", "svc"},
        {"--serve", "svc", "--answer", "x", "--answer-cmd", "cat"},
        {"--serve", "svc", "--answer", "x", "file"},
        {"--serve", "svc", "--answer", "x", "--repeat", "2"},
        {"--answer", "x"},
        {"--delay", "1"},
        {"--repeat", "0"},
        {"--delay", "-1"},
        {"--tag", "-3"},
        {"--frobnicate"},
        {"a.xml", "b.xml"},
    };
    for (const auto &words : wrong) {
        SCOPED_TRACE(words[0]);
        rci_options options;
        EXPECT_LT(parse(words, options), 0);
    }
}

TEST(rci_stats, nearest_rank_percentiles_and_rate)
{
    std::vector<double> trips;
    for (int i = 100; i >= 1; --i)
        trips.push_back(i);
    round_trip_stats stats = summarize(trips, 0.5);
    EXPECT_EQ(stats.p50_us, 50);
    EXPECT_EQ(stats.p99_us, 99);
    EXPECT_EQ(stats.per_second, 200);
    EXPECT_EQ(format_stats(stats), "p50 50.0 us, p99 99.0 us, 200 req/s");
    std::vector<double> one{7.25};
    stats = summarize(one, 1);
    EXPECT_EQ(stats.p50_us, 7.25);
    EXPECT_EQ(stats.p99_us, 7.25);
}

TEST(rci_answer_cmd, feeds_the_payload_and_collects_the_output_without_a_shell_in_between)
{
    signal(SIGPIPE, SIG_IGN); // as the tool does
    std::string big(1024 * 1024 + 3, 'z');
    std::string output;
    ASSERT_EQ(run_answer_cmd("cat", big.data(), big.size(), output), 0);
    EXPECT_EQ(output, big);

    output.clear();
    ASSERT_EQ(run_answer_cmd("echo early; exit 3", big.data(), big.size(), output), 0);
    EXPECT_EQ(output, "early\n");

    std::string marker = bus_dir() + "-marker";
    std::string hostile = "$(touch " + marker + ")`touch " + marker + "`";
    output.clear();
    ASSERT_EQ(run_answer_cmd("cat", hostile.data(), hostile.size(), output), 0);
    EXPECT_EQ(output, hostile);
    EXPECT_NE(access(marker.c_str(), F_OK), 0);
}

TEST(rci_tool, prints_replies_results_and_figures)
{
    tool_run run = run_rci("--op 4 --tag 9 -", "hello");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "result 5\nhello");

    run = run_rci("", "<rci_request/>");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "<rci_request/>");
    EXPECT_EQ(run.err, "");

    run = run_rci("-", "fail:<why/>");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "<why/>");
    EXPECT_EQ(run.err, "result -9\n");

    run = run_rci("--read 2 /config/static_position");
    EXPECT_EQ(run.out, std::string("\x02/config/static_position"));
    run = run_rci("--write", "<set_setting/>");
    EXPECT_EQ(run.out, "<set_setting/>");

    run = run_rci("--pretty", "<a><b>x</b></a>");
    EXPECT_EQ(run.out, "<?xml version=\"1.0\"?>\n<a>\n  <b>x</b>\n</a>\n");
    run = run_rci("--pretty", "not xml");
    EXPECT_EQ(run.out, "not xml");

    run = run_rci("--op 4 --repeat 50");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "result 0\n");
    double p50 = 0, p99 = 0;
    long rate = 0;
    char end = 0;
    EXPECT_EQ(std::sscanf(run.err.c_str(), "p50 %lf us, p99 %lf us, %ld req/s%c", &p50, &p99, &rate,
                          &end),
              4)
        << run.err;
    EXPECT_EQ(end, '\n');
    EXPECT_GT(p50, 0);
    EXPECT_LE(p50, p99);
    EXPECT_GT(rate, 0);

    run = run_rci("--read 2");
    EXPECT_EQ(run.status, 2);
    EXPECT_TRUE(run.err.starts_with("rci: --read needs an argument\nusage: rci"));
    run = run_rci("--op 24 --timeout 0.2");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "rci: no reply: Connection timed out\n");
}

TEST(rci_tool, serves_a_name_until_stopped)
{
    start();
    std::string out_path = bus_dir() + "/served";
    pid_t child = fork();
    if (child == 0) {
        FILE *out = freopen(out_path.c_str(), "w", stdout);
        if (out)
            execl(RCI_TOOL, "rci", "--serve", "svc", "--answer-cmd", "tr a-z A-Z",
                  static_cast<char *>(nullptr));
        _exit(127);
    }
    ASSERT_TRUE(wait_for([] { return registered("svc") != 0; }));
    // Calls are made by the listening thread that owns the serving peer.
    client_ptr asker = connect_client(daemon_endpoint);
    call_order order{.target = registered("svc"), .op = 1, .timeout_ms = 3000, .text = "hello"};
    int result = -1;
    std::string reply =
        ask(asker.get(), op_call, std::string(reinterpret_cast<char *>(&order), sizeof order),
            &result, 5000);
    ASSERT_GE(reply.size(), sizeof(call_outcome));
    EXPECT_EQ(reply.substr(sizeof(call_outcome)), "HELLO");

    kill(child, SIGTERM);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(slurp(out_path), "received svc: hello\n");

    tool_run refused = run_rci("--serve taken --answer x");
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err, "result -1\n");
}

TEST(rci_tool, cloud_switches_to_the_connector_identity)
{
    if (getuid() != 0) GTEST_SKIP() << "taking another identity needs root";
    tool_run run = run_rci("--cloud --op 20");
    ASSERT_EQ(run.status, 0) << run.err;
    std::string head = "result 0\n";
    ASSERT_EQ(run.out.size(), head.size() + sizeof(struct msgbus_credentials));
    struct msgbus_credentials seen {
    };
    std::memcpy(&seen, run.out.data() + head.size(), sizeof seen);
    EXPECT_EQ(seen.uid, 1000);
    EXPECT_EQ(seen.gid, 72);
}
