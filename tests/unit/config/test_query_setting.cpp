#include "config/query.h"
#include "rci/commands.h"
#include "support/config_fixture.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

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
        EXPECT_TRUE(log.has(LOG_ERR, "Invalid source " + std::string(source) +
                                         " specified for read_dom\n"));
    }

    std::string python = query("<query_setting/>");
    EXPECT_EQ(python.find("<query_setting><system><name>gw</name><serial>SN1</serial></system>"
                          "<interface "),
              0u);
    EXPECT_NE(python.find("<cloud><server>s</server></cloud>"), std::string::npos);
    EXPECT_EQ(python.find("<key"), std::string::npos) << "wo names python";
    EXPECT_NE(python.find("<primary>a&amp;b</primary>"), std::string::npos) << "text is escaped";
    EXPECT_EQ(python.find("ro="), std::string::npos);
    EXPECT_EQ(python.find("kept out"), std::string::npos);

    std::string nimbo = query("<query_setting/>", "nimbo");
    EXPECT_EQ(nimbo.find("<cloud"), std::string::npos)
        << "read-only groups are hidden from the cloud";
    EXPECT_EQ(nimbo.find("<serial>SN1"), std::string::npos);
    EXPECT_NE(nimbo.find("<key>k</key>"), std::string::npos);
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
    EXPECT_TRUE(log.has(LOG_WARNING, "Unable to find nope in config.\n"));
}

TEST(NodeMatching, ModesAccessRulesAndShapes)
{
    std::string text =
        "<r><g index=\"2\" name=\"n\" extra=\"e\"/><g/><g name=\"n\"/><g index=\"1\"/>"
        "<g index=\"1\"/><g index=\"2\" name=\"n\"/><g index=\"\"/><h/>"
        "<a ro=\"nimbo,python\" wo=\"nimbos\">t</a><b> <c/></b></r>";
    auto doc = xml::parse_memory(text.data(), static_cast<int>(text.size()));
    ASSERT_TRUE(doc);
    std::vector<xmlNodePtr> n;
    for (xmlNodePtr cur = xmlDocGetRootElement(doc.get())->children; cur; cur = cur->next)
        n.push_back(cur);
    auto equal = [&](int stored, int request, int rci) {
        return xml_nodes_equal(n[stored], n[request], rci);
    };
    EXPECT_TRUE(equal(1, 4, 1)) << "no index or name stored: instance 1";
    EXPECT_FALSE(equal(1, 4, 0)) << "normal mode has no such rule";
    EXPECT_FALSE(equal(2, 4, 1)) << "stored with only a name";
    EXPECT_TRUE(equal(3, 4, 1));
    EXPECT_TRUE(equal(0, 5, 0)) << "extra stored attributes are ignored";
    EXPECT_FALSE(equal(5, 0, 0)) << "request attributes must be stored";
    EXPECT_TRUE(equal(2, 6, 0)) << "a request attribute without text is ignored";
    EXPECT_TRUE(equal(1, 1, 0));
    EXPECT_FALSE(equal(7, 1, 1)) << "names differ";
    EXPECT_FALSE(xml_nodes_equal(n[0]->properties->children, n[1], 1)) << "types differ";

    EXPECT_FALSE(node_writable(n[8], "python"));
    EXPECT_FALSE(node_readable(n[8], "nimbo")) << "substring test";
    EXPECT_TRUE(node_readable(n[8], "python"));
    EXPECT_TRUE(node_writable(n[9], "python"));
    EXPECT_TRUE(node_writable(n[8]->children, "python")) << "text nodes are writable";
    EXPECT_FALSE(has_element_child(n[8]));
    EXPECT_TRUE(has_element_child(n[9]));
    EXPECT_FALSE(has_index_or_name(n[9]));
}
