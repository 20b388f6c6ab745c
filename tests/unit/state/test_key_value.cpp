// The key/value reader behind the device's identity fields, over text as files and tools give it.
#include "state/key_value.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <string>

using namespace std::string_literals;

namespace
{

std::optional<std::string> lookup(const std::string &text, const char *key)
{
    std::unique_ptr<FILE, int (*)(FILE *)> stream(
        fmemopen(const_cast<char *>(text.data()), text.size(), "r"), fclose);
    if (text.empty()) stream.reset(std::fopen("/dev/null", "r"));
    return lookup_key(stream.get(), key);
}

struct lookup_case {
    std::string text;
    const char *key;
    std::optional<std::string> value;
};

} // namespace

TEST(LookupKey, FindsTheFirstLineOfTheKeyInEveryShapeSystemFilesUse)
{
    const lookup_case cases[] = {
        {"PRODUCT_NAME=\"Gw\"\nPRODUCT_VERSION=\"1.2.3\"\n", "PRODUCT_VERSION", "1.2.3"},
        {" \tPRODUCT_VERSION = 1.2.3 \t\r\n", "PRODUCT_VERSION", "1.2.3"},
        {"Python 2.7.3\n", "Python", "2.7.3"},
        {"product_id==  =VX\n", "product_id", "VX"},
        {"PRODUCT_VERSION_X=1\nPRODUCT_VERSION=2\n", "PRODUCT_VERSION", "2"},
        {"K=1\nK=2\n", "K", "1"},
        {"K=\"a \"b\" c\"", "K", "a \"b\" c"},
        {"K=\"\n", "K", "\""},
        {"K=\"\"\n", "K", ""},
        {"K=\n", "K", ""},
        {"x K=1\nK\nK\t\n", "K", ""},
        {"K\nKey=1\n", "K", std::nullopt},
        {"k=1\n", "K", std::nullopt},
        {"", "K", std::nullopt},
    };
    for (const lookup_case &c : cases)
        EXPECT_EQ(lookup(c.text, c.key), c.value) << c.text;
}

TEST(LookupKey, MalformedTextNeverReadsPastALine)
{
    // A line is read 127 characters at a time; each piece counts as a line.
    std::string long_value(300, 'v');
    EXPECT_EQ(lookup("K=" + long_value + "\n", "K"), std::string(125, 'v'));
    EXPECT_EQ(lookup(std::string(127, 'x') + "K=v\n", "K"), "v");
    // A NUL byte ends the line; binary noise around the key does not disturb it.
    EXPECT_EQ(lookup("K=a\0b\n\xff\xfe\x01\nL=\x80\n"s, "L"), "\x80");
    EXPECT_EQ(lookup("K=a\0b\n"s, "K"), "a");
    EXPECT_EQ(lookup("\0\0\0K=1"s, "K"), std::nullopt);
}

TEST(LookupKey, FilesAndToolsThatAreMissingGiveNothing)
{
    log_capture log;
    EXPECT_EQ(file_value("/nonexistent/version", "PRODUCT_VERSION"), std::nullopt);
    EXPECT_TRUE(log.has(LOG_ERR, "open /nonexistent/version errno=2"));
    EXPECT_EQ(command_value("printf 'a=1\\nproduct_id=VX 9\\n'", "product_id"), "VX 9");
    EXPECT_EQ(command_value("/nonexistent/boardenv -d 2>/dev/null", "product_id"), std::nullopt);
    // The tool is waited for even when the value comes before the end of its output.
    EXPECT_EQ(command_value("echo K=1; yes filler | head -c 1000000", "K"), "1");
}
