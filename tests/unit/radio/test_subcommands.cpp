// The radio subcommands through pelk_do_command against the simulated network: what each answers
// and what it asks of the radio.
#include "radio_network.h"
#include "state/readers.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace
{

std::string node_address(int n)
{
    char text[32];
    std::snprintf(text, sizeof text, "00:13:a2:00:00:00:10:%02x", n & 0xff);
    return text;
}

// Node n (1-based) of module kind 3, named "Node n".
std::string node(int n, const std::string &attributes = "", const std::string &body = "")
{
    return "<node address=\"" + node_address(n) + "\" kind=\"3\" type=\"1\" net_addr=\"" +
           std::to_string(0x100 + n) + "\" node_id=\"Node " + std::to_string(n) + "\" " +
           attributes + ">" + body + "</node>";
}

class Subcommands : public ::testing::Test
{
  protected:
    radio_network net;
};

TEST_F(Subcommands, EachChildElementIsOneSubcommandInRequestOrder)
{
    net.describe("caps=\"0x04\" kind=\"3\"", "<param cmd=\"PL\" int=\"4\"/>");
    EXPECT_EQ(radio_reply("<bogus/> text <query_setting/><!-- c --><query_setting/>"),
              "<error id=\"1\"><desc>Unknown subcommand</desc><hint>bogus</hint></error>"
              "<query_setting>\n  <radio>\n    <power_level>4</power_level>\n  </radio>\n"
              "</query_setting><query_setting>\n  <radio>\n    <power_level>4</power_level>\n"
              "  </radio>\n</query_setting>");
}

TEST_F(Subcommands, QueriesCheckAddressNetworkAndRadio)
{
    net.describe("caps=\"0x04\" kind=\"3\"",
                 "<param cmd=\"ID\" hex=\"0x01\"/><param cmd=\"NI\" text=\"gw\"/>"
                 "<param cmd=\"PL\" int=\"4\"/><fail cmd=\"PL\" code=\"-62\"/>"
                 "<param cmd=\"SC\" int=\"1\"/>");
    EXPECT_EQ(radio_reply("<query_setting/>"),
              "<query_setting>\n  <radio>\n    <ext_pan_id>0x01</ext_pan_id>\n"
              "    <node_id>gw</node_id>\n><error id=\"10\"><desc>Error loading from device</desc>"
              "<hint>Could not retrieve field 'power_level'</hint></error>  </radio>\n"
              "</query_setting>")
        << "the listing stops at a field the radio fails to read";
    EXPECT_EQ(radio_reply("<query_state addr=\"a&quot;b\"/>"),
              "<query_state addr=\"a&quot;b\"><error id=\"5\"><desc>Invalid parameter</desc>"
              "<hint>addr</hint></error></query_state>");
    for (const char *index : {"1", "2", "abc", "00", "-1"})
        EXPECT_EQ(radio_reply(std::string("<query_setting network_index=\"") + index + "\"/>"),
                  std::string("<query_setting network_index=\"") + index +
                      "\"><error id=\"5\"><desc>Invalid parameter</desc><hint>network_index"
                      "</hint></error></query_setting>")
            << index;
    net.describe("caps=\"0x04\" kind=\"3\" dual=\"1\"", "<param cmd=\"SC\" int=\"1\"/>");
    EXPECT_EQ(radio_reply("<query_setting network_index=\"1\"/>"),
              "<query_setting network_index=\"1\">\n  <radio>\n"
              "    <scan_channels>0x1</scan_channels>\n  </radio>\n</query_setting>");
    net.fail("radio_get_gateway_info", -5);
    EXPECT_EQ(radio_reply("<query_state network_index=\"0\"/>"),
              "<query_state>\n  <radio>\n><error id=\"10\"><desc>Error loading from device"
              "</desc><hint>Pelk not available</hint></error>  </radio>\n</query_state>");
}

TEST_F(Subcommands, SetSettingReportsCommitAndGroupFailures)
{
    net.describe("caps=\"0x04\" kind=\"3\"",
                 "<param cmd=\"PL\" int=\"1\"/><fail cmd=\"WR\" code=\"-5\"/>");
    EXPECT_EQ(radio_reply("<set_setting><radio><power_level>3</power_level></radio>"
                          "</set_setting>"),
              "<set_setting><radio><error id=\"11\"><desc>Error saving to device</desc>"
              "<hint>power_level</hint></error></radio></set_setting>")
        << "a failed commit names the last field";
    EXPECT_EQ(radio_reply("<set_setting> <serial/><radio/></set_setting>"),
              "<set_setting><error id=\"2\"><desc>Settings group unknown</desc>"
              "<hint>serial</hint></error></set_setting>");
    EXPECT_EQ(radio_reply("<set_setting/>"), "<set_setting></set_setting>");
    net.fail("radio_get_gateway_info", -5);
    EXPECT_EQ(radio_reply("<set_setting><radio/></set_setting>"),
              "<set_setting><radio><error id=\"11\"><desc>Error saving to device</desc>"
              "<hint>Pelk not available</hint></error></radio></set_setting>");
}

TEST_F(Subcommands, DiscoverRefusesBadAttributesAndShowsFirmwareStatus)
{
    net.describe("caps=\"0x14\" kind=\"3\"", "",
                 node(1,
                      "fw_status=\"8\" fw_tries=\"3\" fw_error_code=\"-62\" hw_version=\"0x1e44\" "
                      "fw_version=\"0x2270\" fw_error_text=\"no &lt;answer&gt;\" "
                      "fw_file=\"a&amp;b.ebl\" network_index=\"0\"") +
                     node(2, "fw_status=\"42\""));
    for (const char *attribute :
         {"start=\"abc\"", "size=\"\"", "option=\"Clear\"", "addr=\"1a2b\""})
        EXPECT_NE(radio_reply(std::string("<discover ") + attribute + "/>")
                      .find("<error id=\"5\"><desc>Invalid parameter</desc><hint>" +
                            std::string(attribute).substr(0, std::string(attribute).find('=')) +
                            "</hint></error></discover>"),
                  std::string::npos)
            << attribute;
    std::string reply = radio_reply("<discover/>");
    EXPECT_NE(reply.find("<node_id>Node 1</node_id><contact_time>0</contact_time><fw_status>"
                         "<hw_version>0x1e44</hw_version><fw_version>0x2270</fw_version>"
                         "<status>Error</status><file>a&amp;b.ebl</file><updater></updater>"
                         "<error_code>-62</error_code><error_text>no &lt;answer&gt;</error_text>"
                         "<tries>3</tries></fw_status></device>"),
              std::string::npos)
        << reply;
    EXPECT_NE(reply.find("<status>Unknown</status>"), std::string::npos)
        << "a status number beyond the table";
    net.fail("radio_get_node_list", -62);
    EXPECT_EQ(radio_reply("<discover/>"), "<discover><error id=\"7\"><desc>Command error</desc>"
                                          "<hint>No response from node</hint></error></discover>");
}

TEST_F(Subcommands, GetLqiDecodesNeighboursAndReportsTheNodesStatus)
{
    net.describe("caps=\"0x06\" kind=\"3\"", "",
                 node(1, "",
                      "<neighbour address=\"" + node_address(2) +
                          "\" net_addr=\"0x1234\" type=\"2\" rx_idle=\"1\" relation=\"4\" "
                          "permit_join=\"1\" depth=\"3\" lqi=\"201\"/>") +
                     node(2, "", "<fail cmd=\"ZDO\" status=\"0x84\"/>"));
    EXPECT_EQ(radio_reply("<get_lqi/>"), "<get_lqi></get_lqi>") << "an empty node list";
    radio_reply("<discover/>");
    EXPECT_EQ(radio_reply("<get_lqi/>"),
              "<get_lqi><device index=\"1\"><ext_addr>" + node_address(1) +
                  "</ext_addr><neighbor index=\"1\"><ext_pan_id>0x0102030405060708</ext_pan_id>"
                  "<ext_addr>" +
                  node_address(2) +
                  "</ext_addr><net_addr>0x1234</net_addr><relation>previous</relation>"
                  "<rx_idle>on</rx_idle><type>end device</type><permit_join>yes</permit_join>"
                  "<depth>3</depth><lqi>201</lqi></neighbor><status>0</status></device>"
                  "<device index=\"2\"><ext_addr>" +
                  node_address(2) + "</ext_addr><status>132</status></device></get_lqi>")
        << "a ZigBee status other than success is shown and the walk goes on";
    net.describe("caps=\"0x04\" kind=\"3\"");
    EXPECT_EQ(radio_reply("<get_lqi addr=\"" + node_address(1) + "\"/>"),
              "<get_lqi><error id=\"14\"><desc>Not supported on device</desc>"
              "<hint>get_lqi</hint></error></get_lqi>");
}

TEST_F(Subcommands, RadioCommandSendsAndShowsByFormat)
{
    net.describe("caps=\"0x04\" kind=\"3\"",
                 "<param cmd=\"NI\" text=\"a&amp;b\"/><param cmd=\"DH\" addr=\"" + node_address(1) +
                     "\"/><param cmd=\"PL\" int=\"1\"/>",
                 node(1, "", "<param cmd=\"PL\" int=\"1\"/>"));
    struct exchange {
        std::string request, reply, call;
    };
    const std::string node1 = node_address(1);
    const exchange exchanges[] = {
        {"<radio_command id=\"NI\" format=\"string\"/>",
         "<radio_command id=\"NI\" format=\"string\">a&amp;b</radio_command>", "- 0 NI - -1 2"},
        {"<radio_command id=\"DH\" format=\"address\"/>",
         "<radio_command id=\"DH\" format=\"address\">" + node1 + "</radio_command>",
         "- 0 DH - -1 2"},
        {"<radio_command id=\"PL\" addr=\"" + node1 +
             "\" format=\"binary\" timeout=\"0x20\">0x02</radio_command>",
         "<radio_command id=\"PL\" addr=\"" + node1 + "\" format=\"binary\"></radio_command>",
         node1 + " 0 PL 02 32 2"},
        {"<radio_command id=\"DH\" format=\"address\">" + node1 + "</radio_command>",
         "<radio_command id=\"DH\" format=\"address\"></radio_command>",
         "- 0 DH 0013a20000001001 -1 2"},
        {"<radio_command id=\"NI\" format=\"string\"> x y </radio_command>",
         "<radio_command id=\"NI\" format=\"string\"></radio_command>", "- 0 NI 782079 -1 2"},
        {"<radio_command id=\"QQ\"/>",
         "<radio_command id=\"QQ\"><error id=\"7\"><desc>Command error</desc>"
         "<hint>Unknown AT command</hint></error></radio_command>",
         "- 0 QQ - -1 2"},
    };
    for (const exchange &e : exchanges) {
        net.forget_calls();
        EXPECT_EQ(radio_reply(e.request), e.reply);
        EXPECT_EQ(net.calls(), "radio_param_command " + e.call + "\n") << e.request;
    }
}

TEST_F(Subcommands, RadioCommandRefusesWhatItCannotSend)
{
    net.describe("caps=\"0x04\" kind=\"3\"");
    const char *const refused[][2] = {
        {"addr=\"00:13\"", "addr"},
        {"network_index=\"1\"", "network_index"},
        {"timeout=\"soon\"", "timeout"},
        {"option=\"Apply\"", "option"},
        {"format=\"binary\">0x1", "parameter"},
        {"format=\"address\">1a2b", "parameter"},
        {"format=\"integer\">seven", "parameter"},
    };
    for (const auto &r : refused) {
        std::string reply = radio_reply(
            std::string("<radio_command id=\"PL\" ") + r[0] +
            (std::string(r[0]).find('>') == std::string::npos ? "/>" : "</radio_command>"));
        EXPECT_NE(reply.find(std::string("<error id=\"5\"><desc>Invalid parameter</desc><hint>") +
                             r[1] + "</hint></error></radio_command>"),
                  std::string::npos)
            << r[0] << ": " << reply;
    }
    EXPECT_EQ(net.calls(), "") << "nothing reached the radio";
}

TEST_F(Subcommands, FwUpdateSchedulesAnUpdate)
{
    net.describe("caps=\"0x14\" kind=\"3\"", "", node(1));
    const std::string node1 = node_address(1);
    struct schedule {
        std::string request, reply, call;
    };
    const schedule schedules[] = {
        {"<fw_update file=\"f\" target=\"" + node1 + "\" updater=\"" + node1 +
             "\" recover=\"TRUEly\" block_retry_max=\"255\"/>",
         "<fw_update recover=\"true\"></fw_update>", node1 + " 0 " + node1 + " f 1 255"},
        {"<fw_update file=\"f\" recover=\"only\"/>", "<fw_update recover=\"only\"></fw_update>",
         std::string(gateway_address) + " 0 00:00:00:00:00:00:00:00 f 1 0"},
        {"<fw_update file=\"f\" recover=\"yes\"/>", "<fw_update></fw_update>",
         std::string(gateway_address) + " 0 00:00:00:00:00:00:00:00 f 0 0"},
    };
    for (const schedule &s : schedules) {
        net.forget_calls();
        EXPECT_EQ(radio_reply(s.request), s.reply);
        EXPECT_EQ(net.calls(), "radio_schedule_update " + s.call + "\n") << s.request;
    }
    EXPECT_NE(radio_reply("<discover/>")
                  .find("<status>Scheduled</status><file>f</file><updater>" + node1 + "</updater>"),
              std::string::npos)
        << "the node's record shows the update";
}

TEST_F(Subcommands, FwUpdateRefusesWhatItCannotSchedule)
{
    net.describe("caps=\"0x14\" kind=\"3\"");
    const char *const refused[][3] = {
        {"", "4", "file"},
        {"file=\"f\" target=\"x\"", "5", "target"},
        {"file=\"f\" updater=\"1a2b\"", "5", "updater"},
        {"file=\"f\" network_index=\"1\"", "5", "network_index"},
        {"file=\"f\" target=\"00:13:a2:00:00:00:10:09\"", "9", "No such node"},
    };
    for (const auto &r : refused) {
        std::string reply = radio_reply(std::string("<fw_update ") + r[0] + "/>");
        EXPECT_NE(reply.find(std::string("<error id=\"") + r[1] + "\">"), std::string::npos)
            << r[0] << ": " << reply;
        EXPECT_NE(reply.find(std::string("<hint>") + r[2] + "</hint></error></fw_update>"),
                  std::string::npos)
            << r[0] << ": " << reply;
    }
    net.fail("radio_get_gateway_address", -5);
    EXPECT_EQ(radio_reply("<fw_update file=\"f\"/>"),
              "<fw_update><error id=\"9\"><desc>Firmware update error</desc>"
              "<hint>Radio not available</hint></error></fw_update>");
}

TEST_F(Subcommands, ZigbeeStateWritesNothingWithoutARadioOrABuffer)
{
    net.describe("caps=\"0x16\" kind=\"3\"", "<param cmd=\"DB\" int=\"40\"/>");
    xml::doc_ptr doc = xml::parse_memory("<zigbee_state/>", 15);
    EXPECT_EQ(zigbee_state(nullptr, xmlDocGetRootElement(doc.get()), STATE_SET, {}), STATE_DONE)
        << "set mode runs the query without a reply";
    net.fail("radio_get_gateway_info", -5);
    xml::buffer_ptr reply(xmlBufferCreate());
    EXPECT_EQ(zigbee_state(reply.get(), xmlDocGetRootElement(doc.get()), STATE_QUERY, {}), -1);
    EXPECT_EQ(xmlBufferLength(reply.get()), 0);
}

// The factory tool runs through this seam (the test is linked with --wrap for open_command): it
// keeps the command line and runs `tool_output` instead.
std::string factory_command;
std::string tool_output;

} // namespace

extern "C" command_pipe __real__Z12open_commandPKc(const char *command);
extern "C" command_pipe __wrap__Z12open_commandPKc(const char *command)
{
    factory_command = command;
    if (tool_output == "missing") return nullptr;
    return __real__Z12open_commandPKc(("printf '" + tool_output + "'").c_str());
}

namespace
{

TEST_F(Subcommands, FactoryDefaultHandsTheToolOneWord)
{
    net.describe("caps=\"0x04\" kind=\"3\"");
    tool_output = "";
    EXPECT_EQ(radio_reply("<set_factory_default/>"), "<set_factory_default></set_factory_default>");
    EXPECT_EQ(factory_command, "/usr/bin/pelk factory_default ''");
    radio_reply("<set_factory_default addr=\"" + node_address(1) + "\"/>");
    EXPECT_EQ(factory_command, "/usr/bin/pelk factory_default '" + node_address(1) + "'");
    tool_output = "missing";
    EXPECT_EQ(radio_reply("<set_factory_default/>"),
              "<set_factory_default><error id=\"7\"><desc>Command error</desc>"
              "<hint>pelk command missing</hint></error></set_factory_default>");
}

TEST_F(Subcommands, LongHintsStayWellFormed)
{
    net.describe("caps=\"0x04\" kind=\"3\"");
    std::string name(300, 'n');
    tool_output = std::string(100, 'x') + std::string(60, '&') + "\\n";
    for (const std::string &request :
         {"<" + name + "/>",
          "<set_setting><radio><" + name + ">1</" + name + "></radio></set_setting>",
          std::string("<set_factory_default/>")}) {
        std::string reply = "<r>" + radio_reply(request) + "</r>";
        EXPECT_TRUE(xml::parse_memory(reply.data(), static_cast<int>(reply.size())))
            << request.substr(0, 40) << ": " << reply;
    }
    tool_output = "";
}

} // namespace
