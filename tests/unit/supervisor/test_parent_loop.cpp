#include "parent_harness.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

using namespace std::string_literals;
using commands = std::vector<std::string>;

namespace
{

const std::string generate_line = "/usr/bin/python /etc/vexa/generate/generate.pyc";
const std::string reboot_steps[] = {"pause 3", "/sbin/reboot"};
const std::string revert_prefix = "set -e; umask 077; pw=$(/sbin/boardenv --print upasswd);";

commands served(const std::string &bytes)
{
    parent_harness parent;
    parent.serve(bytes);
    return command_recorder::taken();
}

} // namespace

TEST(ParentLoop, DeferredLettersMergeAndRunBeforeTheNextCommand)
{
    EXPECT_EQ(served(std::string(10, 'g')), commands{generate_line});
    EXPECT_EQ(served("gr"), (commands{generate_line, reboot_steps[0], reboot_steps[1]}));
    commands revert_then_generate = served("Fg");
    ASSERT_EQ(revert_then_generate.size(), 2u);
    EXPECT_TRUE(revert_then_generate[0].starts_with(revert_prefix));
    EXPECT_EQ(revert_then_generate[1], generate_line);

    parent_harness parent;
    parent.serve("sgsgs");
    EXPECT_EQ(command_recorder::taken(),
              (commands{generate_line, "/etc/init.d/nimbod_stunnel start"}));
    EXPECT_EQ(parent.answers(), "s1");
}

TEST(ParentLoop, PendingWorkRunsOnceThePipeGoesQuiet)
{
    parent_harness parent;
    parent_link link = parent.link();
    std::thread loop([&link] { parent_loop(link); });
    auto wait_for_commands = [](size_t count) {
        for (int i = 0; i < 200 && command_recorder::taken().size() < count; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return command_recorder::taken();
    };
    parent.send("gggg");
    EXPECT_EQ(wait_for_commands(1), commands{generate_line});
    parent.send("g");
    EXPECT_EQ(wait_for_commands(2), (commands{generate_line, generate_line}));
    parent.close_engine_end();
    loop.join();
}

TEST(ParentLoop, PayloadsOfRefusedLengthsAreConsumedWhole)
{
    log_capture log;
    parent_harness parent;
    // Two dates and two user sets of refused lengths, a reboot, a user set of the right length.
    parent.serve("d\023" + std::string(19, 'r') + "d\032" + std::string(26, 'r') + "rp\002rrp\144" +
                 std::string(100, 'u') + "p\005a\036b\036c");
    EXPECT_EQ(command_recorder::taken(), (commands{reboot_steps[0], reboot_steps[1]}));
    EXPECT_TRUE(log.has(LOG_ERR, "Invalid date set length 19, ignored.\n"));
    EXPECT_TRUE(log.has(LOG_ERR, "Invalid date set length 26, ignored.\n"));
    EXPECT_TRUE(log.has(LOG_ERR, "Invalid user set length 2, ignored.\n"));
    EXPECT_TRUE(log.has(LOG_ERR, "Invalid user set length 100, ignored.\n"));
    // Password changes are not available: even a well-formed request is refused.
    EXPECT_EQ(parent.answers(), "p0p0p0");
}

TEST(ParentLoop, UnknownLettersAreSkippedAndEndOfFileEndsPayloadReads)
{
    log_capture log;
    EXPECT_EQ(served("x\x00g"s), commands{generate_line});
    EXPECT_TRUE(log.has(LOG_ERR, "Unknown command '78' sent from child!"));
    EXPECT_TRUE(log.has(LOG_ERR, "Unknown command '00' sent from child!"));

    EXPECT_EQ(served("gd\024u2024"), commands{generate_line});
    EXPECT_TRUE(log.has(LOG_CRIT, "Unable to read date from pipe, errno 0\n"));
    parent_harness parent;
    parent.serve("p");
    EXPECT_TRUE(log.has(LOG_CRIT, "Unable to read length from pipe, errno 0\n"));
    EXPECT_EQ(parent.answers(), "p0");
    EXPECT_EQ(served("d\x63" + std::string(10, '9')), commands{});
    EXPECT_TRUE(log.has(LOG_ERR, "Invalid date set length 99, ignored.\n"));
}

TEST(ParentLoop, SetDateBuildsItsCommandOnlyFromAWellFormedDate)
{
    EXPECT_EQ(served("d\x14u2024-05-01 10:20:30"),
              commands{"/bin/date -u -s '2024-05-01 10:20:30' && /sbin/hwclock -u -w"});
    EXPECT_EQ(served("d\x19l1999-12-31 23:59:59     "),
              commands{"/bin/date -s '1999-12-31 23:59:59     ' && /sbin/hwclock -u -w"});
    for (std::string text :
         {"u2024-05-01 10:20:3'"s, "x2024-05-01 10:20:30"s, "u2024-05-01T10:20:30"s,
          "l2024-05-01 10:20:30Z"s, "u2024-05-01 10:20:30 ;"s, "u2024-05-0\0 10:20:30"s}) {
        log_capture refused;
        EXPECT_EQ(served("d" + std::string(1, static_cast<char>(text.size())) + text), commands{})
            << text;
        EXPECT_TRUE(refused.has(LOG_ERR, "Invalid date set text, ignored.\n")) << text;
    }

    log_capture log;
    parent_harness parent;
    parent.dir().write("chronyd.pid", "42\n");
    parent.serve("d\x14u2024-05-01 10:20:30g");
    EXPECT_EQ(command_recorder::taken(), commands{generate_line});
    EXPECT_TRUE(log.has(LOG_WARNING, "Date set ignored because ntp is enabled."));
}

TEST(ParentLoop, ActionsAreJudgedByTheExitStatusByte)
{
    log_capture log;
    parent_harness parent;
    command_recorder::answer("/usr/bin/python", 256);
    command_recorder::answer("output=$(/usr/bin/vexa_update_firmware", 9);
    command_recorder::answer("/sbin/reboot", -1);
    parent.serve("gur");
    EXPECT_TRUE(log.has(LOG_CRIT, "generate failed, exit status 1"));
    // Killed by a signal still passes the exit-status rule, but only a raw 0 answers "1".
    EXPECT_TRUE(log.has(
        LOG_INFO, "firmware update succeeded with return value 9, exit status 0, rebooting.\n"));
    EXPECT_EQ(parent.answers(), "u0");
    EXPECT_TRUE(log.has(LOG_CRIT, "reset failed, exit status 255"));

    parent_harness second;
    command_recorder::answer("set -e", 512);
    command_recorder::answer("/etc/init.d/nimbod_stunnel", 3 << 8);
    second.serve("uFs");
    EXPECT_TRUE(log.has(
        LOG_INFO, "firmware update succeeded with return value 0, exit status 0, rebooting.\n"));
    EXPECT_EQ(second.answers(), "u1s0");
    EXPECT_TRUE(log.has(LOG_ERR, "Password revert failed, exit status 2"));
    EXPECT_TRUE(log.has(LOG_CRIT, "revert_to_factory: Unable to reset associated items!\n"));
    EXPECT_TRUE(log.has(LOG_CRIT, "start stunnel failed, exit status 3"));
}

TEST(ParentLoop, AnswersToAVanishedEngineAreLoggedNotFatal)
{
    log_capture log;
    parent_harness parent;
    parent.close_answer_reader();
    parent.serve("ug");
    EXPECT_TRUE(log.has(LOG_CRIT, "Unable to write to child 32 (Broken pipe)"));
    EXPECT_EQ(command_recorder::taken().back(), generate_line);
}
