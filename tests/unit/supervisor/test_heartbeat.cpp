#include "supervisor/process.h"
#include "support/config_fixture.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cerrno>
#include <regex>
#include <sstream>

namespace
{

unsigned long fake_uptime = 0;
int fake_error = 0;

int read_fake_uptime(unsigned long *seconds)
{
    if (fake_error) return -fake_error;
    *seconds = fake_uptime;
    return 0;
}

class heartbeat_clock
{
  public:
    heartbeat_clock()
    {
        setenv("VEXA_SIM_DIR", dir_.path().c_str(), 1);
        heartbeat_use_uptime_source(read_fake_uptime);
        fake_error = 0;
    }
    ~heartbeat_clock() { heartbeat_use_uptime_source(nullptr); }
    heartbeat_clock(const heartbeat_clock &) = delete;
    heartbeat_clock &operator=(const heartbeat_clock &) = delete;

    size_t beat_at(unsigned long uptime)
    {
        fake_uptime = uptime;
        watchdog_heartbeat();
        return lines().size();
    }
    std::vector<std::string> lines() const
    {
        std::istringstream in(read_file(log_path()));
        std::vector<std::string> out;
        for (std::string line; std::getline(in, line);)
            out.push_back(line);
        return out;
    }
    std::string log_path() const { return dir_.file("heartbeats.log"); }

  private:
    scratch_dir dir_;
};

} // namespace

TEST(Heartbeat, AtMostOncePerThreeHundredSecondsOfUptime)
{
    heartbeat_clock clock;
    // Far from any earlier test's value, so the first call always sends.
    const unsigned long start = 10'000'000;
    EXPECT_EQ(clock.beat_at(start), 1u);
    EXPECT_EQ(clock.beat_at(start + 300), 1u);
    EXPECT_EQ(clock.beat_at(start + 301), 2u);
    EXPECT_EQ(clock.beat_at(start + 301 + 300), 2u);
    EXPECT_EQ(clock.beat_at(start + 301 + 301), 3u);
    const std::regex recorded("vexacsd_watchdog 0 restart_vexacsd 600 [0-9]+");
    for (const std::string &line : clock.lines())
        EXPECT_TRUE(std::regex_match(line, recorded)) << line;
    struct stat info = {};
    ASSERT_EQ(stat(clock.log_path().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0666u) << "the unprivileged engine appends to the parent's file";
}

TEST(Heartbeat, UnreadableUptimeCountsAsZero)
{
    log_capture log;
    heartbeat_clock clock;
    EXPECT_EQ(clock.beat_at(20'000'000), 1u);
    fake_error = EIO;
    EXPECT_EQ(clock.beat_at(20'000'001), 2u);
    EXPECT_TRUE(log.has(LOG_ERR, "Unable to read sysinfo! 5"));
    // With no time of the last heartbeat known, every later call sends.
    EXPECT_EQ(clock.beat_at(0), 3u);
}
