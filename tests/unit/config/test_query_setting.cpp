#include "config/query.h"
#include "rci/commands.h"
#include "support/config_fixture.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

const char *stored =
    "<config>"
    "<system><name>gw</name><serial ro=\"nimbo python\">SN1</serial><key "
    "wo=\"python\">k</key></system>"
    "<interface name=\"eth0\"><ip>10.0.0.1</ip></interface>"
    "<interface name=\"wlan0\"><ip/></interface>"
    "<tcp_serial index=\"1\"><port>4000</port></tcp_serial>"
    "<tcp_serial index=\"2\"><port>2101</port><port>2102</port><mode/></tcp_serial>"
    "<dns><primary>a&amp;b</primary></dns>"
    "<serial><baud>9600</baud></serial>"
    "<cloud ro=\"nimbo\"><server>s</server></cloud>"
    "<empty/>"
    "<!-- kept out of replies -->"
    "</config>";

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

    config_files files{stored, "<config><dns><primary>8.8.8.8</primary></dns></config>"};
};

xml::doc_ptr parse(const std::string &text)
{
    return xml::parse_memory(text.data(), static_cast<int>(text.size()));
}

std::string unknown(const std::string &name)
{
    return "<error id=\"1\"><desc>Setting group unknown</desc><hint>" + name + "</hint></error>";
}

} // namespace

TEST_F(QuerySetting, DocumentSelection)
{
    EXPECT_EQ(
        query("<query_setting source=\"defaults\"/>"),
        "<query_setting source=\"defaults\"><dns><primary>8.8.8.8</primary></dns></query_setting>");
    EXPECT_EQ(query("<query_setting source=\"internal_defaults\"><dns/></query_setting>"),
              "<query_setting "
              "source=\"internal_defaults\"><dns><primary>8.8.8.8</primary></dns></query_setting>");
    log_capture log;
    EXPECT_EQ(query("<query_setting source=\"factory\"/>"),
              "<error id=\"4\"><desc>Internal error</desc><hint>query_setting</hint></error>");
    EXPECT_TRUE(log.has(LOG_ERR, "Invalid source factory specified for read_dom\n"));
}

TEST_F(QuerySetting, FullQueryAppliesAccessRulesPerSource)
{
    std::string python = query("<query_setting/>");
    EXPECT_EQ(
        python.rfind(
            "<query_setting><system><name>gw</name><serial>SN1</serial></system><interface ", 0),
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

TEST_F(QuerySetting, InstancesAndNarrowing)
{
    EXPECT_EQ(query("<query_setting><tcp_serial index=\"2\"/></query_setting>"),
              "<query_setting><tcp_serial "
              "index=\"2\"><port>2101</port><port>2102</port><mode/></tcp_serial>"
              "</query_setting>");
    EXPECT_EQ(query("<query_setting><tcp_serial index=\"2\"><port/></tcp_serial></query_setting>"),
              "<query_setting><tcp_serial "
              "index=\"2\"><port>2101</port><port>2102</port></tcp_serial></query_setting>");
    // A group stored without index is instance 1; one stored with only a name is not.
    EXPECT_EQ(query("<query_setting><serial index=\"1\"/></query_setting>"),
              "<query_setting><serial><baud>9600</baud></serial></query_setting>");
    EXPECT_EQ(query("<query_setting><interface index=\"1\"/></query_setting>"),
              "<query_setting>" + unknown("interface") + "</query_setting>");
    // Attributes only the stored element has never prevent a match; ones it lacks do.
    EXPECT_EQ(
        query("<query_setting><interface name=\"eth0\"><ip/></interface></query_setting>"),
        "<query_setting><interface name=\"eth0\"><ip>10.0.0.1</ip></interface></query_setting>");
    EXPECT_EQ(query("<query_setting><tcp_serial name=\"x\"/></query_setting>"),
              "<query_setting>" + unknown("tcp_serial") + "</query_setting>");
    // An empty stored setting is written as an empty tag even when it has attributes.
    EXPECT_EQ(query("<query_setting><interface name=\"wlan0\"/></query_setting>"),
              "<query_setting><interface name=\"wlan0\"><ip/></interface></query_setting>");
}

TEST_F(QuerySetting, PlainGroupsAndUnknownNames)
{
    log_capture log;
    std::string both =
        "<tcp_serial index=\"1\"><port>4000</port></tcp_serial>"
        "<tcp_serial index=\"2\"><port>2101</port><port>2102</port><mode/></tcp_serial>";
    EXPECT_EQ(query("<query_setting> <tcp_serial/> <nope/> <tcp_serial/> </query_setting>"),
              "<query_setting>" + both + unknown("nope") + both + "</query_setting>");
    EXPECT_TRUE(log.has(LOG_WARNING, "Unable to find nope in config.\n"));
    EXPECT_EQ(query("<query_setting><dns><secondary/><primary/></dns></query_setting>"),
              "<query_setting><dns>" + unknown("secondary") +
                  "<primary>a&amp;b</primary></dns></query_setting>");
    EXPECT_EQ(query("<query_setting><system><key/></system></query_setting>"),
              "<query_setting><system></system></query_setting>")
        << "a wo setting is left out without an error: its match renders nothing";
}

TEST_F(QuerySetting, NarrowedRequestOnAStoredElementWithoutChildrenStaysWellFormed)
{
    EXPECT_EQ(query("<query_setting><empty index=\"1\"><a/><b/></empty><dns/></query_setting>"),
              "<query_setting><empty index=\"1\">" + unknown("a") + unknown("b") +
                  "</empty><dns><primary>a&amp;b</primary></dns></query_setting>");
}

TEST(NodeMatching, NormalAndRciModes)
{
    auto doc = parse("<r><g index=\"2\" name=\"n\" extra=\"e\"/><g/><g name=\"n\"/><g index=\"1\"/>"
                     "<g index=\"1\"/><g index=\"2\" name=\"n\"/><g index=\"\"/><h/></r>");
    ASSERT_TRUE(doc);
    xmlNodePtr n[8];
    xmlNodePtr cur = xmlDocGetRootElement(doc.get())->children;
    for (auto &node : n) {
        node = cur;
        cur = cur->next;
    }
    EXPECT_TRUE(xml_nodes_equal(n[1], n[4], 1)) << "no index or name stored: instance 1";
    EXPECT_FALSE(xml_nodes_equal(n[1], n[4], 0)) << "normal mode has no such rule";
    EXPECT_FALSE(xml_nodes_equal(n[2], n[4], 1)) << "stored with only a name";
    EXPECT_TRUE(xml_nodes_equal(n[3], n[4], 1));
    EXPECT_TRUE(xml_nodes_equal(n[0], n[5], 0)) << "extra stored attributes are ignored";
    EXPECT_FALSE(xml_nodes_equal(n[5], n[0], 0)) << "request attributes must be stored";
    EXPECT_TRUE(xml_nodes_equal(n[2], n[6], 0)) << "a request attribute without text is ignored";
    EXPECT_TRUE(xml_nodes_equal(n[1], n[1], 0));
    EXPECT_FALSE(xml_nodes_equal(n[7], n[1], 1)) << "names differ";
    EXPECT_FALSE(xml_nodes_equal(n[0]->properties->children, n[1], 1)) << "types differ";
}

TEST(NodeMatching, AccessRulesAndShapes)
{
    auto doc = parse("<r><a ro=\"nimbo,python\" wo=\"nimbos\">t</a><b> <c/></b></r>");
    ASSERT_TRUE(doc);
    xmlNodePtr a = xmlDocGetRootElement(doc.get())->children, b = a->next;
    EXPECT_FALSE(node_writable(a, "python"));
    EXPECT_FALSE(node_readable(a, "nimbo")) << "substring test";
    EXPECT_TRUE(node_readable(a, "python"));
    EXPECT_TRUE(node_writable(b, "python"));
    EXPECT_TRUE(node_writable(a->children, "python")) << "text nodes are writable";
    EXPECT_FALSE(has_element_child(a));
    EXPECT_TRUE(has_element_child(b));
    EXPECT_FALSE(has_index_or_name(b));
}
