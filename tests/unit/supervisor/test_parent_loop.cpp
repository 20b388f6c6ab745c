// The root parent's loop over the engine's letters; the engine's end is left to the system tests.
#include "supervisor/process.h"
#include "supervisor/root_daemon.h"
#include "support/log_capture.h"
#include "support/scratch_dir.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace std::string_literals;
using commands = std::vector<std::string>;

namespace
{

// Commands the parent asked to run, in order: shell lines, "pause N" for the reboot pause and
// "password USER CURRENT NEW" for a password change. A command that starts with a prefix in
// `raw_results` (set before the loop runs) gets that raw system() value, others 0.
std::vector<std::string> ran;
std::vector<std::pair<std::string, int>> raw_results;

int record(const std::string &command)
{
    ran.push_back(command);
    for (const auto &[prefix, raw] : raw_results)
        if (command.starts_with(prefix)) return raw;
    return 0;
}

// Runs the parent loop over real pipes, with the shell commands and the reboot pause recorded
// instead of run. Every fixture gets its own scratch folder for the ntp pid file and heartbeats.
struct parent_harness {
    scratch_dir dir;
    std::string ntp_path = dir.file("chronyd.pid");
    parent_hooks saved_hooks = root_hooks;
    int to_parent[2] = {-1, -1}, to_engine[2] = {-1, -1};

    parent_harness()
    {
        (void)!pipe(to_parent);
        (void)!pipe2(to_engine, O_NONBLOCK);
        root_hooks = {.command_runner = [](const char *command) { return record(command); },
                      .pause =
                          [](unsigned seconds) {
                              return unsigned(record("pause " + std::to_string(seconds)));
                          },
                      .ntp_pid_path = ntp_path.c_str(),
                      .password_changer =
                          [](const char *user, const char *current, const char *next) {
                              return record("password "s + user + " " + current + " " + next);
                          }};
        ran.clear();
        raw_results.clear();
        setenv("VEXA_SIM_DIR", dir.path().c_str(), 1);
        stop_requested = 0;
        child_changed = 0;
    }
    ~parent_harness()
    {
        root_hooks = saved_hooks;
        for (int fd : {to_parent[0], to_parent[1], to_engine[0], to_engine[1]})
            close(fd); // -1 for an end a test closed
    }

    // Sends `bytes`, closes the engine's end and serves everything up to the end of file.
    void serve(std::string_view bytes)
    {
        (void)!write(to_parent[1], bytes.data(), bytes.size());
        close(std::exchange(to_parent[1], -1));
        parent_link link{.from_engine = to_parent[0], .to_engine = to_engine[1], .engine = 0};
        parent_loop(link);
    }
    std::string answers() const
    {
        char buf[256];
        ssize_t count = read(to_engine[0], buf, sizeof buf);
        return count > 0 ? std::string(buf, static_cast<size_t>(count)) : "";
    }
};

const std::string generate_line = "/usr/bin/python /etc/vexa/generate/generate.pyc";
const std::string reboot_steps[] = {"pause 3", "/sbin/reboot"};

commands served(const std::string &bytes)
{
    parent_harness parent;
    parent.serve(bytes);
    return ran;
}

} // namespace

TEST(ParentLoop, DeferredLettersMergeAndRunBeforeTheNextCommand)
{
    EXPECT_EQ(served(std::string(10, 'g')), commands{generate_line});
    EXPECT_EQ(served("gr"), (commands{generate_line, reboot_steps[0], reboot_steps[1]}));

    parent_harness parent;
    parent.serve("sgsgs");
    EXPECT_EQ(ran, (commands{generate_line, "/etc/init.d/nimbod_stunnel start"}));
    EXPECT_EQ(parent.answers(), "s1");
}

TEST(ParentLoop, RefusedLengthsUnknownLettersAndEndOfFileInPayloadsAreSurvived)
{
    log_capture quiet;
    parent_harness parent;
    // Two dates and two user sets of refused lengths, a reboot, a user set of the right length.
    parent.serve("d\023" + std::string(19, 'r') + "d\032" + std::string(26, 'r') + "rp\002rrp\144" +
                 std::string(100, 'u') + "p\005a\036b\036c");
    EXPECT_EQ(ran, (commands{reboot_steps[0], reboot_steps[1], "password a b c"}));
    EXPECT_EQ(parent.answers(), "p0p0p1");

    EXPECT_EQ(served("x\x00g"s), commands{generate_line});
    EXPECT_EQ(served("gd\024u2024"), commands{generate_line});
    EXPECT_EQ(served("d\x63" + std::string(10, '9')), commands{});
    parent_harness cut;
    cut.serve("p");
    EXPECT_EQ(cut.answers(), "p0");
}

TEST(ParentLoop, SetDateQuotesEveryDateTextButOneThatCouldLeaveItsQuotes)
{
    EXPECT_EQ(served("d\x14u2024-05-01 10:20:30"),
              commands{"/bin/date -u -s '2024-05-01 10:20:30' && /sbin/hwclock -u -w"});
    // A zone-less time with a trailing Z is passed on as local time; the date tool judges it.
    EXPECT_EQ(served("d\x15l2024-05-01 10:20:30Z"),
              commands{"/bin/date -s '2024-05-01 10:20:30Z' && /sbin/hwclock -u -w"});
    for (std::string text : {"u' ; /sbin/reboot ; '"s, "u2024-05-01\n10:20:30"s,
                             "u2024-05-0\0 10:20:30"s, "l2024-05-01 10:20:30\x7f"s}) {
        log_capture refused;
        EXPECT_EQ(served("d" + std::string(1, static_cast<char>(text.size())) + text), commands{})
            << text;
        EXPECT_TRUE(refused.has(LOG_ERR, "Invalid date set text, ignored.\n")) << text;
    }

    log_capture log;
    parent_harness parent;
    parent.dir.write("chronyd.pid", "42\n");
    parent.serve("d\x14u2024-05-01 10:20:30g");
    EXPECT_EQ(ran, commands{generate_line});
    EXPECT_TRUE(log.has(LOG_WARNING, "Date set ignored because ntp is enabled."));
}

TEST(ParentLoop, OnlyARawZeroAnswersSuccessAndAVanishedEngineIsSurvived)
{
    log_capture log;
    parent_harness parent;
    raw_results = {{"output=$(/usr/bin/vexa_update_firmware", 9}};
    parent.serve("u");
    EXPECT_EQ(parent.answers(), "u0") << "an update killed by a signal has exit status 0";

    // Answers to a vanished engine are logged, not fatal.
    parent_harness vanished;
    close(std::exchange(vanished.to_engine[0], -1));
    vanished.serve("ug");
    EXPECT_TRUE(log.has(LOG_CRIT, "Unable to write to child 32 (Broken pipe)"));
    EXPECT_EQ(ran.back(), generate_line);
}
