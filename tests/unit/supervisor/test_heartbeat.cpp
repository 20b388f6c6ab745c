// The watchdog heartbeat: at most one per 300 seconds of uptime, read from an injected clock.
#include "supervisor/process.h"
#include "support/log_capture.h"
#include "support/scratch_dir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <tuple>

TEST(Heartbeat, AtMostOncePerThreeHundredSecondsOfUptime)
{
    static unsigned long fake_uptime = 0;
    static int fake_error = 0;
    log_capture quiet;
    scratch_dir dir;
    setenv("VEXA_SIM_DIR", dir.path().c_str(), 1);
    heartbeat_use_uptime_source([](unsigned long *seconds) {
        *seconds = fake_uptime;
        return -fake_error;
    });
    // Far from any value an earlier test left, so the first call sends. Without a readable
    // uptime the time counts as 0, which is never a time of a last heartbeat.
    const unsigned long start = 10'000'000;
    for (auto [after, error, count] : {std::tuple{0ul, 0, 1l},
                                       {300ul, 0, 1l},
                                       {301ul, 0, 2l},
                                       {601ul, 0, 2l},
                                       {602ul, 0, 3l},
                                       {700ul, EIO, 4l},
                                       {701ul, EIO, 5l}}) {
        fake_uptime = start + after;
        fake_error = error;
        watchdog_heartbeat();
        std::string text = read_file(dir.file("heartbeats.log"));
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), count) << after;
    }
    EXPECT_TRUE(read_file(dir.file("heartbeats.log"))
                    .starts_with("vexacsd_watchdog 0 restart_vexacsd 600 "));
    heartbeat_use_uptime_source(nullptr);
}
