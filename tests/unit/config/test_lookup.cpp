#include "config/config.h"
#include "support/config_fixture.h"

#include <gtest/gtest.h>

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

} // namespace

TEST_F(Lookup, OnlyASingleElementWithOneChildYieldsAValue)
{
    EXPECT_STREQ(xml::chars(config_lookup(SAVE_CURRENT, "/config/static_position/enable").get()),
                 "on");
    EXPECT_STREQ(xml::chars(config_lookup(SAVE_DEFAULTS, "/config/static_position/enable").get()),
                 "off");
    EXPECT_EQ(config_lookup(SAVE_CURRENT, "/config/tcp_serial/port"), nullptr) << "several matches";
    EXPECT_EQ(config_lookup(SAVE_CURRENT, "/config/numbers/empty"), nullptr) << "no child";
    EXPECT_EQ(config_lookup(SAVE_CURRENT, "/config/numbers/two"), nullptr) << "two children";
    EXPECT_EQ(config_lookup(SAVE_CURRENT, "/config/static_position/enable/text()"), nullptr)
        << "not an element";
    EXPECT_EQ(config_lookup(SAVE_CURRENT, "/config/nothing"), nullptr);
    EXPECT_EQ(config_lookup(SAVE_CURRENT, "///["), nullptr) << "bad expression";
    EXPECT_EQ(config_lookup(SAVE_CURRENT, "count(/config)"), nullptr) << "not a node set";
    EXPECT_EQ(config_lookup(3, "/config/static_position/enable"), nullptr);
    EXPECT_EQ(config_lookup(6, "/config/static_position/enable"), nullptr);
    EXPECT_STREQ(
        xml::chars(config_lookup(SAVE_CURRENT, "/config/tcp_serial[not(@index)]/port").get()),
        "-5");
}

TEST_F(Lookup, StringsAreCutAndAlwaysTerminated)
{
    char dst[8] = "garbage";
    EXPECT_EQ(config_get_string(SAVE_CURRENT, "/config/static_position/latitude", dst, sizeof dst),
              0);
    EXPECT_STREQ(dst, "44.9777");
    char missing[8] = "garbage";
    EXPECT_EQ(config_get_string(SAVE_CURRENT, "/config/numbers/empty", missing, sizeof missing),
              -1);
    EXPECT_STREQ(missing, "");
}

TEST_F(Lookup, NumbersAreTruncatedTo16Bits)
{
    uint16_t u = 1;
    EXPECT_EQ(config_get_uint16(SAVE_CURRENT, "/config/tcp_serial[@index=\"1\"]/port", &u), 0);
    EXPECT_EQ(u, 4464);
    EXPECT_EQ(config_get_uint16(SAVE_CURRENT, "/config/tcp_serial[@index=\"2\"]/port", &u), -1);
    EXPECT_EQ(u, 12) << "stored even though text followed the number";
    u = 7;
    EXPECT_EQ(config_get_uint16(SAVE_CURRENT, "/config/numbers/empty", &u), -1);
    EXPECT_EQ(u, 7) << "nothing stored on a failed lookup";
    int16_t s = 0;
    EXPECT_EQ(config_get_int16(SAVE_CURRENT, "/config/numbers/neg", &s), 0);
    EXPECT_EQ(s, static_cast<int16_t>(-40000));
    EXPECT_EQ(config_get_int16(SAVE_CURRENT, "/config/tcp_serial[not(@index)]/port", &s), 0);
    EXPECT_EQ(s, -5);
}

TEST_F(Lookup, EnumsAndBooleansCompareExactly)
{
    int32_t v = -1;
    EXPECT_EQ(config_get_bool(SAVE_CURRENT, "/config/static_position/enable", &v), 0);
    EXPECT_EQ(v, 1);
    EXPECT_EQ(config_get_bool(SAVE_DEFAULTS, "/config/static_position/enable", &v), 0);
    EXPECT_EQ(v, 0);
    v = 9;
    EXPECT_EQ(config_get_bool(SAVE_CURRENT, "/config/static_position/flag", &v), -1);
    EXPECT_EQ(v, 9);
    const char *table[] = {"auto", "on", "On", nullptr};
    EXPECT_EQ(config_get_enum(SAVE_CURRENT, "/config/static_position/flag", table, &v), 0);
    EXPECT_EQ(v, 2);
}

TEST_F(Lookup, HexPairsWithOptionalLowerCasePrefix)
{
    uint8_t two[2] = {0xff, 0xff};
    EXPECT_EQ(config_get_hex(SAVE_CURRENT, "/config/numbers/key", two, sizeof two), 0);
    EXPECT_EQ(two[0], 0x0a);
    EXPECT_EQ(two[1], 0x1b);
    uint8_t four[4] = {0xff, 0xff, 0xff, 0xff};
    EXPECT_EQ(config_get_hex(SAVE_CURRENT, "/config/numbers/key", four, sizeof four), 0);
    EXPECT_EQ(four[1], 0x1b);
    EXPECT_EQ(four[2], 0) << "the single trailing digit is ignored, the rest cleared";
    uint8_t upper[2] = {0xff, 0xff};
    EXPECT_EQ(config_get_hex(SAVE_CURRENT, "/config/numbers/bigx", upper, sizeof upper), -1)
        << "a capital X is not a prefix, and X is no hex digit";
    uint8_t bad[2] = {0xff, 0xff};
    EXPECT_EQ(config_get_hex(SAVE_CURRENT, "/config/numbers/bad", bad, sizeof bad), -1);
    uint8_t untouched[1] = {0x55};
    EXPECT_EQ(config_get_hex(SAVE_CURRENT, "/config/numbers/empty", untouched, 1), -1);
    EXPECT_EQ(untouched[0], 0x55);
}
