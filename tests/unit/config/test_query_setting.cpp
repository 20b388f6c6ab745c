#include "config/query.h"
#include "rci/commands.h"
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
    "<cloud ro=\"nimbo\"><server>s</server></cloud><empty/><!-- kept out of replies --></config>";

class QuerySetting : public ::testing::Test
{
  protected:
    void SetUp() override { ASSERT_EQ(files.load(), 0); }

    std::string query(const std::string &request, const char *source = "python")
    {
        auto doc = xml::parse_memory(request.data(), static_cast<int>(request.size()));
        EXPECT_TRUE(doc) << request;
        xml::buffer_ptr reply(xmlBufferCreate());
        EXPECT_EQ(query_setting(reply.get(), xmlDocGetRootElement(doc.get()), source), 0);
        std::string text = xml::chars(xmlBufferContent(reply.get()));
        EXPECT_TRUE(xml::parse_memory(text.data(), static_cast<int>(text.size())))
            << "not well-formed: " << text;
        return text;
    }

    log_capture log;
    config_files files{stored, "<config><dns><primary>8.8.8.8</primary></dns></config>"};
};

std::string wrap(const std::string &groups)
{
    return "<query_setting>" + groups + "</query_setting>";
}

std::string unknown(const std::string &name)
{
    return "<error id=\"1\"><desc>Setting group unknown</desc><hint>" + name + "</hint></error>";
}

} // namespace

TEST_F(QuerySetting, DocumentSelectionAndAccessRulesPerSource)
{
    const std::string dns = "<dns><primary>8.8.8.8</primary></dns></query_setting>";
    EXPECT_EQ(query("<query_setting source=\"defaults\"/>"),
              "<query_setting source=\"defaults\">" + dns);
    EXPECT_EQ(query("<query_setting source=\"internal_defaults\"><dns/></query_setting>"),
              "<query_setting source=\"internal_defaults\">" + dns);
    for (const char *source : {"factory", ""}) {
        EXPECT_EQ(query("<query_setting source=\"" + std::string(source) + "\"/>"),
                  "<error id=\"4\"><desc>Internal error</desc><hint>query_setting</hint></error>");
        EXPECT_TRUE(log.has(LOG_ERR,
                            "Invalid source " + std::string(source) + " specified for read_dom\n"));
    }

    // Item rules per source are checked through the daemon; here a group read-only for the cloud,
    // escaped text and comments.
    std::string python = query("<query_setting/>");
    EXPECT_NE(python.find("<cloud><server>s</server></cloud>"), std::string::npos);
    EXPECT_NE(python.find("<primary>a&amp;b</primary>"), std::string::npos);
    EXPECT_EQ(python.find("kept out"), std::string::npos);
    EXPECT_EQ(query("<query_setting/>", "nimbo").find("<cloud"), std::string::npos);
}

TEST_F(QuerySetting, InstancesNarrowingAndUnknownNames)
{
    const std::string two = "<tcp_serial index=\"2\"><port>2101</port><port>2102</port>";
    const std::string both =
        "<tcp_serial index=\"1\"><port>4000</port></tcp_serial>" + two + "<mode/></tcp_serial>";
    auto check = [&](const char *request, const std::string &reply) {
        EXPECT_EQ(query(wrap(request)), wrap(reply)) << request;
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
