#include "parent_harness.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <csignal>

namespace
{

// Restores the default dispositions that install_parent_signals replaced.
class parent_signals
{
  public:
    parent_signals() { install_parent_signals(); }
    ~parent_signals()
    {
        for (int signal_number : {SIGTERM, SIGINT, SIGCHLD, SIGHUP})
            signal(signal_number, SIG_DFL);
    }
    parent_signals(const parent_signals &) = delete;
    parent_signals &operator=(const parent_signals &) = delete;
};

// Forks a stand-in engine that holds the engine's end of the parent pipe, then lets go of the
// test's own copy so the pipe's end of file depends on the stand-in alone.
pid_t fork_engine(parent_harness &parent, int exit_status)
{
    pid_t pid = fork();
    if (pid == 0) {
        if (exit_status < 0) pause();
        _exit(exit_status);
    }
    parent.close_engine_end();
    return pid;
}

} // namespace

TEST(EngineWatch, ALostEngineEndsTheLoopAndIsForgotten)
{
    parent_signals signals;
    for (bool killed : {false, true}) {
        log_capture log;
        parent_harness parent;
        parent_link link = parent.link(fork_engine(parent, killed ? -1 : 3));
        if (killed) kill(link.engine, SIGKILL);
        parent_loop(link);
        EXPECT_EQ(link.engine, 0);
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "the engine has been reaped";
        if (killed)
            EXPECT_TRUE(log.has(LOG_WARNING, "Lost child: child terminated; signal 9 (Killed)"));
        else
            EXPECT_TRUE(log.has(LOG_WARNING, "Lost child: child exited"));
    }
}
