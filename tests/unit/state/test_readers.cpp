// The readers behind the device's identity and CPU load: the key/value reader over text as files
// and tools give it, and the /proc/stat reader over files shaped as the kernel writes them and as
// it never should.
#include "state/device/system_info.h"
#include "state/key_value.h"
#include "support/log_capture.h"
#include "support/scratch_dir.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <optional>
#include <string>

using namespace std::string_literals;

namespace
{

std::optional<std::string> lookup(std::string text, const char *key)
{
    // fmemopen refuses an empty buffer; a NUL at the end ends the last line as the stream would.
    text += '\0';
    FILE *stream = fmemopen(text.data(), text.size(), "r");
    std::optional<std::string> value = lookup_key(stream, key);
    std::fclose(stream);
    return value;
}

} // namespace

TEST(LookupKey, FindsTheFirstLineOfTheKeyInEveryShapeSystemFilesUse)
{
    const struct {
        std::string text;
        const char *key;
        std::optional<std::string> value;
    } cases[] = {
        {" \tPRODUCT_VERSION = 1.2.3 \t\r\n", "PRODUCT_VERSION", "1.2.3"},
        {"product_id==  =VX\n", "product_id", "VX"},
        {"PRODUCT_VERSION_X=1\nPRODUCT_VERSION=2\n", "PRODUCT_VERSION", "2"},
        {"K=1\nK=2\n", "K", "1"},
        {"K=\"a \"b\" c\"", "K", "a \"b\" c"},
        {"K=\"\n", "K", ""},
        {"x K=1\nK\nK\t\n", "K", ""},
        {"K\nKey=1\nk=1\n", "K", std::nullopt},
    };
    for (const auto &c : cases)
        EXPECT_EQ(lookup(c.text, c.key), c.value) << c.text;
}

TEST(LookupKey, MalformedTextNeverReadsPastALine)
{
    // A line is read 127 characters at a time; each piece counts as a line.
    EXPECT_EQ(lookup("K=" + std::string(300, 'v') + "\n", "K"), std::string(125, 'v'));
    EXPECT_EQ(lookup(std::string(127, 'x') + "K=v\n", "K"), "v");
    // A NUL byte ends the line; binary noise around the key does not disturb it.
    EXPECT_EQ(lookup("K=a\0b\n\xff\xfe\x01\nL=\x80\n"s, "L"), "\x80");
    EXPECT_EQ(lookup("\0\0\0K=1"s, "K"), std::nullopt);
}

TEST(ProcStat, CpuLoadIsTheShareOfBusyJiffiesSinceTheLastGoodReading)
{
    scratch_dir dir;
    log_capture log; // keeps the reader's complaints off the host's log
    cpu_sample = {};
    // The load that a /proc/stat starting with `lines` gives, or -1 when it cannot be read.
    auto load = [&dir](const std::string &lines) {
        int percent = -1;
        std::string path = dir.write("stat", lines + "\ncpu0 1 2 3 4 5 6 7\n");
        return getcpuload(&percent, path.c_str()) == 0 ? percent : -1;
    };
    EXPECT_EQ(load("cpu  100 0 100 700 100 0 0"), 30) << "the first reading: since boot";
    EXPECT_EQ(load("cpu  102 0 100 701 100 0 0"), 67) << "2 of 3 busy, rounded";
    EXPECT_EQ(load("cpu  102 0 100 701 100 0 0"), 100) << "no time passed: one jiffy";
    EXPECT_EQ(load("cpu  1 2 3"), -1);
    EXPECT_EQ(load(""), -1) << "only per-processor lines";
    // Only the start of a line counts: a long line whose second piece starts "cpu " is not it.
    EXPECT_EQ(load("intr " + std::string(250, '1') + "cpu  9 9 9 9 9 9 9"), -1);
    EXPECT_EQ(load("cpu  112 0 115 776 100 0 0"), 25) << "measured from the last good one";
    // Counters of a system that has run for a long time do not wrap.
    cpu_sample = {};
    EXPECT_EQ(load("cpu  3000000000 0 0 1000000000 0 0 0"), 75);
    EXPECT_EQ(load("cpu  3000000030 0 0 1000000070 0 0 0"), 30);
}
