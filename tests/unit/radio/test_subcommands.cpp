// What the radio subcommands make of a radio library that fails or answers oddly: faults a client
// cannot provoke over the bus. Hints cut from long system text are the fuzz target's concern.
#include "radio_network.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

constexpr const char *node1 = "00:13:a2:00:00:00:10:01";
constexpr const char *node2 = "00:13:a2:00:00:00:10:02";

std::string error(int id, const std::string &desc, const std::string &hint)
{
    return "<error id=\"" + std::to_string(id) + "\"><desc>" + desc + "</desc><hint>" + hint +
           "</hint></error>";
}

TEST(Subcommands, EachLibraryFailureEndsItsSubcommandWithAnError)
{
    struct failure {
        const char *function; // the library call made to fail with `code`, or nullptr
        int code;
        std::string request, reply;
    };
    const failure failures[] = {
        {nullptr, 0, "<query_setting/>",
         "<query_setting>\n  <radio>\n    <node_id>gw</node_id>\n>" +
             error(10, "Error loading from device", "Could not retrieve field 'power_level'") +
             "  </radio>\n</query_setting>"},
        {nullptr, 0, "<set_setting><radio><node_id>x</node_id></radio></set_setting>",
         "<set_setting><radio>" + error(11, "Error saving to device", "node_id") +
             "</radio></set_setting>"},
        {"radio_get_node_list", -62, "<discover/>",
         "<discover>" + error(7, "Command error", "No response from node") + "</discover>"},
        {"radio_get_gateway_address", -5, "<fw_update file=\"f\"/>",
         "<fw_update>" + error(9, "Firmware update error", "Radio not available") + "</fw_update>"},
        {"radio_get_gateway_info", -5, "<query_state/>",
         "<query_state>\n  <radio>\n>" +
             error(10, "Error loading from device", "Pelk not available") +
             "  </radio>\n</query_state>"},
        {"radio_get_gateway_info", -5, "<set_setting><radio/></set_setting>",
         "<set_setting><radio>" + error(11, "Error saving to device", "Pelk not available") +
             "</radio></set_setting>"},
    };
    for (const failure &f : failures) {
        radio_network net; // the radio fails to read PL and to commit
        net.describe("caps=\"0x04\" kind=\"3\"",
                     "<param cmd=\"NI\" text=\"gw\"/><param cmd=\"PL\" int=\"4\"/>"
                     "<fail cmd=\"PL\" code=\"-62\"/><fail cmd=\"WR\" code=\"-5\"/>");
        if (f.function) net.fail(f.function, f.code);
        EXPECT_EQ(radio_reply(f.request), f.reply) << f.request;
    }
}

TEST(Subcommands, OddRadioAnswersAreShownBeyondTheMinimumAnErrorTextEscapedAndTheWalkGoesOn)
{
    radio_network net;
    net.describe("caps=\"0x16\" kind=\"3\"", "",
                 std::string("<node address=\"") + node1 +
                     "\" fw_status=\"42\" fw_error_text=\"no &lt;answer&gt;\" "
                     "fw_file=\"a&amp;b.ebl\"/><node address=\"" +
                     node2 + "\"><fail cmd=\"ZDO\" status=\"0x84\"/></node>");
    std::string found = radio_reply("<discover/>");
    EXPECT_NE(found.find("<status>Unknown</status><file>a&amp;b.ebl</file>"), std::string::npos)
        << "a status number beyond the table: " << found;
    EXPECT_NE(found.find("<error_text>no &lt;answer&gt;</error_text>"), std::string::npos) << found;
    EXPECT_EQ(radio_reply("<get_lqi/>"),
              std::string("<get_lqi><device index=\"1\"><ext_addr>") + node1 +
                  "</ext_addr><status>0</status></device><device index=\"2\"><ext_addr>" + node2 +
                  "</ext_addr><status>132</status></device></get_lqi>")
        << "a ZigBee status other than success is the node's status, and the walk goes on";
}

} // namespace
