// The watchdog heartbeat: at most one per 300 seconds of uptime, read from an injected clock.
#include "supervisor/process.h"
#include "support/config_fixture.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <utility>

TEST(Heartbeat, AtMostOncePerThreeHundredSecondsOfUptime)
{
    static unsigned long fake_uptime = 0;
    static int fake_error = 0;
    log_capture log;
    scratch_dir dir;
    setenv("VEXA_SIM_DIR", dir.path().c_str(), 1);
    heartbeat_use_uptime_source([](unsigned long *seconds) {
        *seconds = fake_uptime;
        return -fake_error;
    });
    // The number of heartbeats recorded after one at `uptime`.
    auto beats_after = [&dir](unsigned long uptime) {
        fake_uptime = uptime;
        watchdog_heartbeat();
        std::string text = read_file(dir.file("heartbeats.log"));
        return std::count(text.begin(), text.end(), '\n');
    };
    // Far from any value an earlier test left, so the first call sends.
    const unsigned long start = 10'000'000;
    for (auto [after, count] :
         {std::pair{0ul, 1l}, {300ul, 1l}, {301ul, 2l}, {601ul, 2l}, {602ul, 3l}})
        EXPECT_EQ(beats_after(start + after), count) << after;
    EXPECT_TRUE(read_file(dir.file("heartbeats.log"))
                    .starts_with("vexacsd_watchdog 0 restart_vexacsd 600 "));

    // Without a readable uptime the time counts as 0, which is never a time of a last heartbeat.
    fake_error = EIO;
    EXPECT_EQ(beats_after(start + 700), 4);
    EXPECT_TRUE(log.has(LOG_ERR, "Unable to read sysinfo! 5"));
    EXPECT_EQ(beats_after(start + 701), 5);
    heartbeat_use_uptime_source(nullptr);
}
