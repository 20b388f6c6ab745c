#include "config/config.h"
#include "support/config_fixture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

const char *local = R"(<config>
  <static_position><enable>on</enable><latitude>44.977753</latitude><flag>On</flag></static_position>
  <tcp_serial index="1"><port>70000</port></tcp_serial>
  <tcp_serial index="2"><port>12ab</port></tcp_serial>
  <tcp_serial><port>-5</port></tcp_serial>
  <numbers><neg>-40000</neg><empty/><two>a<b/></two><key>0x0A1b2</key><bigx>0X0A</bigx><bad>0g</bad></numbers>
</config>)";

class Lookup : public ::testing::Test
{
  protected:
    void SetUp() override { ASSERT_EQ(files.load(), 0); }
    config_files files{local,
                       "<config><static_position><enable>off</enable></static_position></config>"};
};

std::string value(int which, const char *xpath)
{
    xml::text_ptr text = config_lookup(which, xpath);
    return text ? xml::chars(text.get()) : "(none)";
}

} // namespace

TEST_F(Lookup, OnlyASingleElementWithOneChildYieldsAValue)
{
    EXPECT_EQ(value(SAVE_CURRENT, "/config/static_position/enable"), "on");
    EXPECT_EQ(value(SAVE_DEFAULTS, "/config/static_position/enable"), "off");
    EXPECT_EQ(value(SAVE_CURRENT, "/config/tcp_serial[not(@index)]/port"), "-5");
    for (int bad : {0, 1, 3, 6, -2})
        EXPECT_EQ(value(bad, "/config/static_position/enable"), "(none)") << bad;
    // Several matches, no child, two children, not an element, no match, not an expression, not
    // a node set.
    for (const char *xpath :
         {"/config/tcp_serial/port", "/config/numbers/empty", "/config/numbers/two",
          "/config/static_position/enable/text()", "/config/nothing", "///[", "count(/config)"})
        EXPECT_EQ(value(SAVE_CURRENT, xpath), "(none)") << xpath;
}

TEST_F(Lookup, TypedGettersCutTruncateAndCompareExactly)
{
    char dst[8] = "garbage";
    EXPECT_EQ(config_get_string(SAVE_CURRENT, "/config/static_position/latitude", dst, 8), 0);
    EXPECT_STREQ(dst, "44.9777") << "cut and always terminated";
    EXPECT_EQ(config_get_string(SAVE_CURRENT, "/config/numbers/empty", dst, 8), -1);
    EXPECT_STREQ(dst, "");

    uint16_t u = 1;
    EXPECT_EQ(config_get_uint16(SAVE_CURRENT, "/config/tcp_serial[@index=\"1\"]/port", &u), 0);
    EXPECT_EQ(u, 4464) << "truncated to 16 bits";
    EXPECT_EQ(config_get_uint16(SAVE_CURRENT, "/config/tcp_serial[@index=\"2\"]/port", &u), -1);
    EXPECT_EQ(u, 12) << "stored even though text followed the number";
    EXPECT_EQ(config_get_uint16(SAVE_CURRENT, "/config/numbers/empty", &u), -1);
    EXPECT_EQ(u, 12) << "nothing stored on a failed lookup";
    int16_t s = 0;
    EXPECT_EQ(config_get_int16(SAVE_CURRENT, "/config/numbers/neg", &s), 0);
    EXPECT_EQ(s, static_cast<int16_t>(-40000));
    EXPECT_EQ(config_get_int16(SAVE_CURRENT, "/config/tcp_serial[not(@index)]/port", &s), 0);
    EXPECT_EQ(s, -5);

    int32_t v = -1;
    EXPECT_EQ(config_get_bool(SAVE_CURRENT, "/config/static_position/enable", &v), 0);
    EXPECT_EQ(v, 1);
    EXPECT_EQ(config_get_bool(SAVE_DEFAULTS, "/config/static_position/enable", &v), 0);
    EXPECT_EQ(v, 0);
    v = 9;
    EXPECT_EQ(config_get_bool(SAVE_CURRENT, "/config/static_position/flag", &v), -1);
    EXPECT_EQ(v, 9) << "only on and off, in lower case; nothing stored otherwise";
    const char *table[] = {"auto", "on", "On", nullptr};
    EXPECT_EQ(config_get_enum(SAVE_CURRENT, "/config/static_position/flag", table, &v), 0);
    EXPECT_EQ(v, 2);
}

TEST_F(Lookup, HexPairsWithOptionalLowerCasePrefix)
{
    uint8_t key[4] = {0xff, 0xff, 0xff, 0xff};
    EXPECT_EQ(config_get_hex(SAVE_CURRENT, "/config/numbers/key", key, 2), 0);
    EXPECT_EQ(std::vector<int>(key, key + 4), (std::vector<int>{0x0a, 0x1b, 0xff, 0xff}));
    EXPECT_EQ(config_get_hex(SAVE_CURRENT, "/config/numbers/key", key, 4), 0);
    EXPECT_EQ(std::vector<int>(key, key + 4), (std::vector<int>{0x0a, 0x1b, 0, 0}))
        << "the single trailing digit is ignored, the rest cleared";
    EXPECT_EQ(config_get_hex(SAVE_CURRENT, "/config/numbers/bigx", key, 2), -1)
        << "a capital X is not a prefix, and X is no hex digit";
    EXPECT_EQ(config_get_hex(SAVE_CURRENT, "/config/numbers/bad", key, 2), -1);
    key[0] = 0x55;
    EXPECT_EQ(config_get_hex(SAVE_CURRENT, "/config/numbers/empty", key, 1), -1);
    EXPECT_EQ(key[0], 0x55);
}
