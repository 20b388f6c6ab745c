#include "parent_harness.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <csignal>

TEST(EngineWatch, ALostEngineEndsTheLoopAndIsReaped)
{
    install_parent_signals();
    for (bool killed : {false, true}) {
        log_capture log;
        parent_harness parent;
        pid_t engine = fork();
        if (engine == 0) {
            if (killed) pause();
            _exit(3);
        }
        // The stand-in engine's copy alone keeps the pipe open.
        parent.close_engine_end();
        if (killed) kill(engine, SIGKILL);
        parent_link link = parent.link(engine);
        parent_loop(link);
        EXPECT_EQ(link.engine, 0);
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "the engine has been reaped";
        EXPECT_TRUE(log.has(LOG_WARNING, killed ? "Lost child: child terminated; signal 9 (Killed)"
                                                : "Lost child: child exited"));
    }
    for (int signal_number : {SIGTERM, SIGINT, SIGCHLD, SIGHUP})
        signal(signal_number, SIG_DFL);
}
