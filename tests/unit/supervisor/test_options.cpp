#include "base/log.h"
#include "supervisor/process.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace
{

// parse_options on "vexacsd" + `args` in a child, since it may end the process; the child's exit
// status tells 100 + 10 * no_daemon + debug_level.
int parsed(std::vector<std::string> args)
{
    args.insert(args.begin(), "vexacsd");
    pid_t pid = fork();
    if (pid == 0) {
        std::vector<char *> argv;
        for (std::string &arg : args)
            argv.push_back(arg.data());
        argv.push_back(nullptr);
        bool no_daemon = parse_options(static_cast<int>(args.size()), argv.data());
        _exit(100 + 10 * no_daemon + debug_level);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WEXITSTATUS(status);
}

} // namespace

TEST(Options, FlagsAreCountedAndValuesIgnored)
{
    EXPECT_EQ(parsed({}), 100);
    EXPECT_EQ(parsed({"-i", "x", "-c", "y"}), 100);
    EXPECT_EQ(parsed({"-d", "-n", "-c", "-d", "-d"}), 112) << "-c takes the next word";
    EXPECT_EQ(parsed({"-nd", "-i", "v"}), 111) << "-i takes the next word";
    EXPECT_STREQ(program_name("/usr/sbin/vexacsd"), "vexacsd");
    EXPECT_STREQ(program_name("vexacsd"), "vexacsd");
}
