#include "base/log.h"
#include "supervisor/process.h"

#include <gtest/gtest.h>

#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace
{

std::vector<char *> argv_of(std::vector<std::string> &args)
{
    std::vector<char *> argv;
    for (std::string &arg : args)
        argv.push_back(arg.data());
    argv.push_back(nullptr);
    return argv;
}

struct run_result {
    int status;
    std::string err;
};

// Runs the daemon executable with `args`, as user `uid` when it is not 0, and collects its
// standard error and exit status.
run_result run_daemon(std::vector<std::string> args, uid_t uid = 0)
{
    int err_pipe[2];
    if (pipe(err_pipe) != 0) return {-1, ""};
    args.insert(args.begin(), VEXACSD);
    pid_t pid = fork();
    if (pid == 0) {
        dup2(err_pipe[1], STDERR_FILENO);
        std::vector<char *> argv = argv_of(args);
        if (uid != 0 && (setgid(uid) != 0 || setuid(uid) != 0)) _exit(99);
        execv(VEXACSD, argv.data());
        _exit(98);
    }
    close(err_pipe[1]);
    std::string err;
    char buf[512];
    for (ssize_t count; (count = read(err_pipe[0], buf, sizeof buf)) > 0;)
        err.append(buf, static_cast<size_t>(count));
    close(err_pipe[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, err};
}

const std::string usage_text = "Usage: vexacsd [-v|-n|-d]\n"
                               "\t-v\t: Show version and exit.\n"
                               "\t-n\t: Do not daemonize\n"
                               "\t-d\t: Increase debugging verbosity\n";

// parse_options in a child, reporting 100 + 10 * no_daemon + debug_level as its exit status.
int parsed(std::vector<std::string> args)
{
    pid_t pid = fork();
    if (pid == 0) {
        std::vector<char *> argv = argv_of(args);
        bool no_daemon = parse_options(static_cast<int>(args.size()), argv.data());
        _exit(100 + 10 * no_daemon + debug_level);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WEXITSTATUS(status);
}

} // namespace

TEST(Options, VersionAndUsageEndTheProcess)
{
    run_result version = run_daemon({"-n", "-d", "-v"});
    EXPECT_EQ(version.status, 1);
    EXPECT_EQ(version.err, "vexacsd version 0.1\n");
    for (const char *option : {"-h", "-?"}) {
        run_result usage = run_daemon({option, "-v"});
        EXPECT_EQ(usage.status, 2) << option;
        EXPECT_EQ(usage.err, usage_text) << option;
    }
    for (const char *bad : {"-z", "-i"}) {
        run_result usage = run_daemon({bad});
        EXPECT_EQ(usage.status, 2) << bad;
        EXPECT_TRUE(usage.err.ends_with(usage_text)) << usage.err;
    }
}

TEST(Options, FlagsAreCountedAndValuesIgnored)
{
    EXPECT_EQ(parsed({"vexacsd"}), 100);
    EXPECT_EQ(parsed({"vexacsd", "-i", "x", "-c", "y"}), 100);
    EXPECT_EQ(parsed({"vexacsd", "-d", "-n", "-c", "-d", "-d"}), 112) << "-c takes the next word";
    EXPECT_EQ(parsed({"/usr/sbin/vexacsd", "-nd", "-i", "v"}), 111) << "-i takes the next word";
    EXPECT_STREQ(program_name("/usr/sbin/vexacsd"), "vexacsd");
    EXPECT_STREQ(program_name("vexacsd"), "vexacsd");
}

TEST(Options, StartRequiresRootAndTheEngineAccount)
{
    if (geteuid() != 0) GTEST_SKIP() << "needs root to run the daemon as another user";
    // Options are looked at before privileges: the version is shown to anyone.
    EXPECT_EQ(run_daemon({"-v"}, 65534).status, 1);
    run_result unprivileged = run_daemon({"-n"}, 65534);
    EXPECT_EQ(unprivileged.status, 1);
    EXPECT_EQ(unprivileged.err, "");
    if (getpwnam("nimbod"))
        GTEST_SKIP() << "the engine account exists here; the daemon would really start";
    EXPECT_EQ(run_daemon({"-n"}).status, 1);
}
