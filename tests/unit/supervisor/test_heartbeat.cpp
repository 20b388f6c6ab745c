// The watchdog heartbeat: at most one per 300 seconds of uptime, read from an injected clock.
#include "supervisor/process.h"
#include "support/config_fixture.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <sstream>
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
    const std::string path = dir.file("heartbeats.log");
    // The number of heartbeats recorded after one at `uptime`, each checked for its form.
    auto beat_at = [&path](unsigned long uptime) {
        fake_uptime = uptime;
        watchdog_heartbeat();
        std::istringstream in(read_file(path));
        size_t count = 0;
        const std::string form = "vexacsd_watchdog 0 restart_vexacsd 600 ";
        for (std::string line; std::getline(in, line); ++count)
            EXPECT_TRUE(line.starts_with(form) && line.size() > form.size() &&
                        line.find_first_not_of("0123456789", form.size()) == std::string::npos)
                << line;
        return count;
    };
    // Far from any value an earlier test left, so the first call sends.
    const unsigned long start = 10'000'000;
    for (auto [after, count] :
         {std::pair{0ul, 1ul}, {300ul, 1ul}, {301ul, 2ul}, {601ul, 2ul}, {602ul, 3ul}})
        EXPECT_EQ(beat_at(start + after), count) << after;
    struct stat info = {};
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0666u) << "the unprivileged engine appends to the parent's file";

    // Without a readable uptime the time counts as 0, which is never a time of a last heartbeat.
    fake_error = EIO;
    EXPECT_EQ(beat_at(start + 700), 4u);
    EXPECT_TRUE(log.has(LOG_ERR, "Unable to read sysinfo! 5"));
    EXPECT_EQ(beat_at(start + 701), 5u);
    heartbeat_use_uptime_source(nullptr);
}
