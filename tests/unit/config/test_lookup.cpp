#include "config/config.h"
#include "support/config_fixture.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

const char *local = R"(<config>
  <static_position><enable>on</enable><latitude>44.977753</latitude></static_position>
  <tcp_serial index="1"><port>4000</port></tcp_serial>
  <tcp_serial index="2"><port>2101</port></tcp_serial>
  <numbers><empty/><two>a<b/></two></numbers>
</config>)";

std::string value(int which, const char *xpath)
{
    xml::text_ptr text = config_lookup(which, xpath);
    return text ? xml::chars(text.get()) : "(none)";
}

} // namespace

TEST(Lookup, OnlyASingleElementWithOneChildYieldsAValue)
{
    config_files files(local,
                       "<config><static_position><enable>off</enable></static_position></config>");
    ASSERT_EQ(files.load(), 0);
    EXPECT_EQ(value(SAVE_CURRENT, "/config/static_position/enable"), "on");
    EXPECT_EQ(value(SAVE_DEFAULTS, "/config/static_position/enable"), "off");
    for (int bad : {0, 1, 3, 6, -2})
        EXPECT_EQ(value(bad, "/config/static_position/enable"), "(none)") << bad;
    // Several matches, no child, two children, not an element, no match, not an expression, not
    // a node set.
    for (const char *xpath :
         {"/config/tcp_serial/port", "/config/numbers/empty", "/config/numbers/two",
          "/config/static_position/enable/text()", "/config/nothing", "///[", "count(/config)"})
        EXPECT_EQ(value(SAVE_CURRENT, xpath), "(none)") << xpath;

    // The typed getters never write past the buffer, and store nothing on a failed lookup.
    char dst[8] = "garbage";
    EXPECT_EQ(config_get_string(SAVE_CURRENT, "/config/static_position/latitude", dst, 8), 0);
    EXPECT_STREQ(dst, "44.9777") << "cut and always terminated";
    uint16_t port = 1;
    EXPECT_EQ(config_get_uint16(SAVE_CURRENT, "/config/tcp_serial[@index=\"2\"]/port", &port), 0);
    EXPECT_EQ(config_get_uint16(SAVE_CURRENT, "/config/numbers/empty", &port), -1);
    EXPECT_EQ(port, 2101);
}
