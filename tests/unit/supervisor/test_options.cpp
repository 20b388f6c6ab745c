// The command line: flags counted, the values of -i and -c taken and ignored.
#include "base/log.h"
#include "supervisor/process.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <vector>

namespace
{

// parse_options on "vexacsd" + `args` in a child, since it may end the process; the child's exit
// status tells 100 + 10 * no_daemon + debug_level.
int parsed(std::vector<const char *> args)
{
    args.insert(args.begin(), "vexacsd");
    args.push_back(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
        // getopt reorders the pointers, never the words they point to.
        char **argv = const_cast<char **>(args.data());
        bool no_daemon = parse_options(static_cast<int>(args.size()) - 1, argv);
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
    EXPECT_EQ(parsed({"-d", "-n", "-c", "-d", "-d"}), 112) << "-c takes the next word";
    EXPECT_EQ(parsed({"-nd", "-i", "v"}), 111) << "-i takes the next word";
    EXPECT_STREQ(program_name("/usr/sbin/vexacsd"), "vexacsd");
    EXPECT_STREQ(program_name("vexacsd"), "vexacsd");
}
