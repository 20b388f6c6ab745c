#include "config/config.h"
#include "config/handlers.h"
#include "config/query.h"
#include "support/config_fixture.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

const char *stored =
    "<config><system><name>gw</name><serial ro=\"nimbo python\">SN1</serial>"
    "<key wo=\"python\">k</key></system><interface name=\"eth0\"><ip>10.0.0.1</ip></interface>"
    "<interface name=\"wlan0\"><ip/></interface><tcp_serial index=\"1\"><port>4000</port>"
    "</tcp_serial><tcp_serial index=\"2\"><port>2101</port><port>2102</port><mode/></tcp_serial>"
    "<dns><primary>a&amp;b</primary></dns><serial><baud>9600</baud></serial>"
    "<empty/><!-- kept out of replies --></config>";

class StoredConfig : public ::testing::Test
{
  protected:
    void SetUp() override { ASSERT_EQ(files.load(), 0); }

    static std::string query(const std::string &request)
    {
        auto doc = xml::parse_memory(request.data(), static_cast<int>(request.size()));
        EXPECT_TRUE(doc) << request;
        reply_buffer reply;
        EXPECT_EQ(query_setting(reply, xmlDocGetRootElement(doc.get()), request_source::local), 0);
        std::string text(reply.view());
        EXPECT_TRUE(xml::parse_memory(text.data(), static_cast<int>(text.size())))
            << "not well-formed: " << text;
        return text;
    }
    static std::string value(save_selector which, const char *xpath)
    {
        xml::text_ptr text = config_lookup(which, xpath);
        return text ? xml::chars(text.get()) : "(none)";
    }

    log_capture log;
    config_files files{stored, "<config><dns><primary>8.8.8.8</primary></dns></config>"};
};

std::string unknown(const std::string &name)
{
    return "<error id=\"1\"><desc>Setting group unknown</desc><hint>" + name + "</hint></error>";
}

} // namespace

TEST(ConfigStore, MissingOrUnparsableFiles)
{
    log_capture log;
    const char *defaults = "<config><dns><primary>8.8.8.8</primary></dns></config>";
    config_files missing("", defaults);
    EXPECT_EQ(missing.load(), CONFIG_LOADED);
    ASSERT_NE(config_current(), nullptr);
    EXPECT_NE(config_current(), config_defaults()) << "a copy, not the defaults document itself";
    EXPECT_TRUE(log.has(LOG_CRIT, "Unable to parse file '" + missing.dir().file("local") + "'\n"));
    EXPECT_TRUE(log.has(LOG_CRIT, "Configuration missing, using default configuration!"));
    EXPECT_STREQ(xml::chars(config_lookup(SAVE_CURRENT, "/config/dns/primary").get()), "8.8.8.8");

    config_files broken_defaults("<config><dns/></config>", "<config>");
    EXPECT_EQ(broken_defaults.load(), CONFIG_NO_DEFAULTS);
    EXPECT_TRUE(
        log.has(LOG_CRIT, "Unable to parse file '" + broken_defaults.dir().file("cfd") + "'\n"));
    config_files neither("<config", "");
    EXPECT_EQ(neither.load(), CONFIG_NONE);
    EXPECT_TRUE(log.has(LOG_EMERG, "No configuration found! Exiting.\n"));
}

TEST_F(StoredConfig, LookupYieldsOnlyASingleElementWithOneChild)
{
    EXPECT_EQ(value(SAVE_CURRENT, "/config/dns/primary"), "a&b");
    EXPECT_EQ(value(SAVE_DEFAULTS, "/config/dns/primary"), "8.8.8.8");
    for (int bad : {0, 1, 3, 6, -2})
        EXPECT_EQ(value(static_cast<save_selector>(bad), "/config/dns/primary"), "(none)") << bad;
    // Several matches, no child, several children, not an element, no match, not an expression,
    // not a node set.
    for (const char *xpath :
         {"/config/tcp_serial/port", "/config/empty", "/config/tcp_serial[2]",
          "/config/system/name/text()", "/config/nothing", "///[", "count(/config)"})
        EXPECT_EQ(value(SAVE_CURRENT, xpath), "(none)") << xpath;

    // The string getter never writes past the buffer.
    char dst[8] = "garbage";
    EXPECT_EQ(config_get_string(SAVE_CURRENT, "/config/interface[@name=\"eth0\"]/ip", dst, 8), 0);
    EXPECT_STREQ(dst, "10.0.0.") << "cut and always terminated";
}

TEST_F(StoredConfig, QueryNamesItsDocument)
{
    for (std::string open :
         {"<query_setting source=\"defaults\">", "<query_setting source=\"internal_defaults\">"})
        EXPECT_EQ(query(open + "<dns/></query_setting>"),
                  open + "<dns><primary>8.8.8.8</primary></dns></query_setting>");
    for (const char *source : {"factory", ""}) {
        EXPECT_EQ(query("<query_setting source=\"" + std::string(source) + "\"/>"),
                  "<error id=\"4\"><desc>Internal error</desc><hint>query_setting</hint></error>");
        EXPECT_TRUE(log.has(LOG_ERR,
                            "Invalid source " + std::string(source) + " specified for read_dom\n"));
    }
    EXPECT_EQ(query("<query_setting/>").find("kept out"), std::string::npos);
}

TEST_F(StoredConfig, QueryInstancesNarrowingAndUnknownNames)
{
    const std::string two = "<tcp_serial index=\"2\"><port>2101</port><port>2102</port>";
    const std::string both =
        "<tcp_serial index=\"1\"><port>4000</port></tcp_serial>" + two + "<mode/></tcp_serial>";
    auto check = [&](const std::string &request, const std::string &reply) {
        const std::string open = "<query_setting>", close = "</query_setting>";
        EXPECT_EQ(query(open + request + close), open + reply + close) << request;
    };
    check("<tcp_serial index=\"2\"/>", two + "<mode/></tcp_serial>");
    check("<tcp_serial index=\"2\"><port/></tcp_serial>", two + "</tcp_serial>");
    // A group stored without index is instance 1; one stored with only a name is not.
    check("<serial index=\"1\"/>", "<serial><baud>9600</baud></serial>");
    check("<interface index=\"1\"/>", unknown("interface"));
    // Attributes only the stored element has never prevent a match; ones it lacks do.
    check("<interface name=\"eth0\"><ip/></interface>",
          "<interface name=\"eth0\"><ip>10.0.0.1</ip></interface>");
    check("<tcp_serial name=\"x\"/>", unknown("tcp_serial"));
    // An empty stored setting is written as an empty tag even when it has attributes.
    check("<interface name=\"wlan0\"/>", "<interface name=\"wlan0\"><ip/></interface>");
    check(" <tcp_serial/> <nope/> <tcp_serial/> ", both + unknown("nope") + both);
    check("<dns><secondary/><primary/></dns>",
          "<dns>" + unknown("secondary") + "<primary>a&amp;b</primary></dns>");
    // A wo setting is left out without an error: its match renders nothing.
    check("<system><key/></system>", "<system></system>");
    // A narrowed request on a stored element without children stays well-formed.
    check("<empty index=\"1\"><a/><b/></empty><dns/>",
          "<empty index=\"1\">" + unknown("a") + unknown("b") +
              "</empty><dns><primary>a&amp;b</primary></dns>");
}
