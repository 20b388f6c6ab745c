// The /proc readers behind the device's running figures, over files shaped as the kernel writes
// them and as it never should.
#include "state/device/system_info.h"
#include "support/config_fixture.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

class ProcReaders : public ::testing::Test
{
  protected:
    void SetUp() override { cpu_sample = {}; }

    // The load that a /proc/stat holding `cpu_line` as its total line gives.
    int load_after(const std::string &cpu_line)
    {
        std::string path = dir.write("stat", cpu_line + "\ncpu0 1 2 3 4 5 6 7\nintr 1 2 3\n");
        int percent = -1;
        EXPECT_EQ(getcpuload(&percent, path.c_str()), 0) << cpu_line;
        return percent;
    }

    scratch_dir dir;
    log_capture log;
};

} // namespace

TEST_F(ProcReaders, CpuLoadIsTheShareOfBusyJiffiesSinceThePreviousReading)
{
    EXPECT_EQ(load_after("cpu  100 0 100 700 100 0 0"), 30) << "the first reading: since boot";
    EXPECT_EQ(load_after("cpu  110 0 115 775 100 0 0"), 25);
    EXPECT_EQ(load_after("cpu  112 0 115 776 100 0 0"), 67) << "2 of 3 busy, rounded";
    EXPECT_EQ(load_after("cpu  112 0 115 776 100 0 0"), 100) << "no time passed: one jiffy";
    EXPECT_TRUE(log.has(LOG_NOTICE, "CPU load is 2/3 = 67%\n"));
    EXPECT_TRUE(log.has(LOG_INFO, "Found 112 0 115 776 100 0 0\n"));

    // Counters of a system that has run for a long time do not wrap.
    cpu_sample = {};
    EXPECT_EQ(load_after("cpu  3000000000 0 0 1000000000 0 0 0"), 75);
    EXPECT_EQ(load_after("cpu  3000000030 0 0 1000000070 0 0 0"), 30);
}

TEST_F(ProcReaders, CpuLoadFailuresLeaveTheSampleAsItWas)
{
    load_after("cpu  100 0 100 700 100 0 0");
    int percent = -1;
    EXPECT_EQ(getcpuload(&percent, dir.write("short", "cpu  1 2 3\n").c_str()), -1);
    EXPECT_EQ(getcpuload(&percent, dir.write("none", "cpu0 1 2 3 4 5 6 7\n").c_str()), -1);
    EXPECT_TRUE(log.has(LOG_CRIT, "getcpuload: Didn't find cpu info.\n"));
    // Only the start of a line counts: a long line whose second piece starts "cpu " is not it.
    std::string piece_boundary = "intr " + std::string(250, '1') + "cpu  9 9 9 9 9 9 9\n";
    EXPECT_EQ(getcpuload(&percent, dir.write("long", piece_boundary).c_str()), -1);
    EXPECT_EQ(getcpuload(&percent, "/nonexistent/stat"), -1);
    EXPECT_TRUE(log.has(LOG_ERR, "getcpuload: No such file or directory\n"));
    EXPECT_EQ(percent, -1);
    EXPECT_EQ(load_after("cpu  110 0 115 775 100 0 0"), 25) << "measured from the last good one";
}

TEST_F(ProcReaders, UptimeAndMemory)
{
    double seconds = 0;
    EXPECT_EQ(getuptime(&seconds, dir.write("uptime", "5234.18 9000.02\n").c_str()), 0);
    EXPECT_DOUBLE_EQ(seconds, 5234.18);
    EXPECT_EQ(getuptime(&seconds, dir.write("bad", "up\n").c_str()), -1);
    EXPECT_EQ(getuptime(&seconds, dir.write("empty", "").c_str()), -1);
    EXPECT_EQ(getuptime(&seconds, "/nonexistent/uptime"), -1);

    uint64_t total = 0, free = 0;
    std::string meminfo = "MemFree:          123456 kB\nMemAvailable:  1 kB\n"
                          "MemTotal:        8000000 kB\nMemFree: 5 kB\n";
    EXPECT_EQ(getmeminfo(&total, &free, dir.write("meminfo", meminfo).c_str()), 0);
    EXPECT_EQ(total, 8000000ull * 1024);
    EXPECT_EQ(free, 123456ull * 1024) << "the first MemFree line counts";
    EXPECT_EQ(getmeminfo(&total, &free, dir.write("partial", "MemTotal: 1 kB\n").c_str()), -1);
    EXPECT_TRUE(log.has(LOG_ERR, "gememinfo: values unavailable!"));
    EXPECT_EQ(getmeminfo(&total, &free, dir.write("bad", "MemTotal: lots\n").c_str()), -1);
    EXPECT_EQ(getmeminfo(&total, &free, "/nonexistent/meminfo"), -1);
}
