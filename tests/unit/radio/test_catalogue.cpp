// The rules that read the catalogues, checked with a handful of rows of their own against the
// simulated radio: which rows a radio gets, how values are scaled, shown, parsed and written, and
// how the radio's refusals are translated.
#include "radio/catalogue_rows.h"
#include "radio/codec.h"
#include "radio_network.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace
{

constexpr const char *node_address = "00:13:a2:00:00:00:00:42";

class Catalogue : public ::testing::Test
{
  protected:
    // Selects `rows` for the gateway's own radio (no address) or a node.
    int select(catalogue rows, const char *address = nullptr, uint8_t network = 0)
    {
        uint8_t bytes[8];
        EXPECT_TRUE(!address || parse_node_address(address, bytes)) << address;
        return catalogue_select_rows(sel, address ? bytes : nullptr, network, rows);
    }
    // The display text of row `index`, or the negative result as a number.
    std::string read(size_t index)
    {
        char text[CATALOGUE_TEXT_SIZE];
        int result = catalogue_read_text(sel, index, 0, text, sizeof text);
        return result < 0 ? std::to_string(result) : std::string(text);
    }
    int write(const char *name, const char *text)
    {
        return catalogue_set_field(sel, name, 0, text, -1);
    }

    radio_network net;
    catalogue_selector sel;
};

TEST_F(Catalogue, TheGatewayRadioChoosesTheRowsOfEachRadio)
{
    static constexpr auto rows = std::to_array<catalogue_row>({
        setting("a", "AA", 0, 0x8008, 0, 9, "", ""), // kind 3, gateway's own radio too
        setting("b", "BB", 0, 0x0008, 0, 9, "", ""), // kind 3
        setting("c", "CC", 0, 0x0408, 0, 9, "", ""), // kinds 3 and 10
        setting("d", "DD", 0, 0x0100, 0, 9, "", ""), // kind 8
        setting("e", "EE", 0, 0x8200, 0, 9, "", ""), // kind 9, gateway's own radio too
        setting("f", "FF", 0, 0x8004, 0, 9, "", ""), // kind 2, gateway's own radio too
    });
    struct selection {
        const char *caps, *kind, *address;
        uint8_t network;
        const char *rows;
    };
    const selection cases[] = {
        {"0x04", "3", gateway_address, 0, "a"}, // its own address names the gateway's radio
        {"0x00", "3", node_address, 0, ""},     // remote nodes closed to the catalogue
        {"0x404", "3", nullptr, 0, "e"},
        {"0x404", "3", node_address, 0, "c"},
        {"0x404", "3", node_address, 1, "d"},
        {"0x604", "3", nullptr, 0, "e"}, // bit 10 wins over bit 9
        {"0x204", "3", node_address, 0, "d"},
        {"0x04", "40", node_address, 0, "abcdef"}, // no kind bit: every row applies
    };
    for (const selection &c : cases) {
        net.describe(std::string("caps=\"") + c.caps + "\" kind=\"" + c.kind + "\" dual=\"1\"");
        ASSERT_EQ(select(rows, c.address, c.network), 6);
        std::string applying;
        for (const catalogue_row &row : rows)
            if (sel.applies(row)) applying += row.name;
        EXPECT_EQ(applying, c.rows) << "case " << &c - cases;
        EXPECT_EQ(sel.address == nullptr, !c.address || c.address == gateway_address);
    }
    net.fail("radio_get_gateway_info", -5);
    EXPECT_EQ(select(rows), -5) << "a gateway radio that cannot be read";
}

TEST_F(Catalogue, MillivoltsFollowTheModulesHardwareVersion)
{
    static constexpr auto rows = std::to_array<catalogue_row>({
        setting("supply", "%V", 0, 0x8fff, 0, 76799, "mvolts", ""),
        setting("threshold", "V+", 0, 0x8fff, 0, 76799, "mvolts", ""),
    });
    struct module {
        const char *kind, *hardware;
        const char *shown, *sent;
    };
    const module modules[] = {
        {"3", "0x1e44", "1172", "1000"}, // a kind that reports its unit by hardware version
        {"3", "0x2241", "1000", "1172"}, // a hardware version that reports millivolts
        {"2", "0x2241", "1172", "1000"}, // other kinds always convert
    };
    for (const module &m : modules) {
        net.describe(std::string("caps=\"0x04\" kind=\"") + m.kind + "\"",
                     std::string("<param cmd=\"%V\" int=\"1000\"/><param cmd=\"V+\" int=\"0\"/>"
                                 "<param cmd=\"HV\" int=\"") +
                         m.hardware + "\"/>");
        select(rows);
        EXPECT_EQ(read(0), m.shown) << "module " << &m - modules;
        net.forget_calls();
        EXPECT_EQ(write("threshold", "1172"), 0);
        EXPECT_EQ(net.calls(), std::string("radio_set_int_param - 0 V+ ") + m.sent + " 0\n")
            << "module " << &m - modules;
    }
}

TEST(CatalogueValues, TextsAreParsedByTypeAndLimitsAndShownBack)
{
    struct parsed {
        catalogue_row row;
        std::string text;
        int result;        // of the parse
        std::string shown; // the parsed value shown again
    };
    const catalogue_row hex = setting("n", "XX", VALUE_HEX, 0, 0, 65535, "", "");
    const catalogue_row number = setting("n", "XX", VALUE_UNSIGNED, 0, 0, 4294967295u, "", "");
    const catalogue_row binary = setting("b", "XX", VALUE_BINARY, 0, 0, 16, "", "");
    const catalogue_row string = setting("s", "XX", VALUE_STRING, 0, 0, 20, "", "");
    const catalogue_row address = setting("a", "DH/DL", VALUE_ADDRESS, 0, 0, 0, "", "");
    const parsed cases[] = {
        {hex, "  12abc", 4, "0xc"},
        {number, "010", 4, "8"},
        {hex, "-1", CATALOGUE_OUT_OF_RANGE, ""},
        {number, "4294967295", CATALOGUE_OUT_OF_RANGE, ""}, // below 0 as a signed number
        {hex, "   ", CATALOGUE_INVALID, ""},
        {hex, "99999999999", CATALOGUE_INVALID, ""},
        {binary, " 0xA0b1", 2, "0xa0b1"},
        {binary, "", 0, ""},
        {binary, "0x123", CATALOGUE_INVALID, ""},
        {binary, "0x0102030405060708090a0b0c0d0e0f1011", CATALOGUE_OUT_OF_RANGE, ""},
        {string, std::string(25, 's'), 25, std::string(25, 's')}, // strings skip the limits
        {string, std::string(129, 's'), CATALOGUE_INVALID, ""},
        {address, "00:13:A2:00:40:a1:b2:c3", 8, "00:13:a2:00:40:a1:b2:c3"},
        {address, "00:13:a2:00:40:a1:b2:c3 ", CATALOGUE_INVALID, ""},
        {address, "1a2b", CATALOGUE_INVALID, ""}, // a network address names no single node
        {setting("x", "XX", 9, 0, 0, 0, "", ""), "1", CATALOGUE_BAD_TYPE, ""},
    };
    for (const parsed &c : cases) {
        uint8_t raw[CATALOGUE_RAW_SIZE] = {};
        char text[CATALOGUE_TEXT_SIZE] = {};
        int result = catalogue_parse_value(c.row, c.text.c_str(), -1, raw);
        EXPECT_EQ(result, c.result) << "'" << c.text << "'";
        if (result >= 0) {
            EXPECT_GE(catalogue_format_value(c.row, raw, result, text, sizeof text), 0);
        }
        EXPECT_EQ(text, c.shown) << "'" << c.text << "'";
    }
    // A text that does not fit is cut to the buffer; the result is its full length.
    const uint8_t raw[8] = {0x00, 0x13, 0xa2, 0x00, 0x40, 0xa1, 0xb2, 0xc3};
    char text[9];
    EXPECT_EQ(catalogue_format_value(binary, raw, 8, text, sizeof text), 18);
    EXPECT_STREQ(text, "0x0013a2");
    EXPECT_EQ(catalogue_format_value(string, raw + 1, 7, text, 3), 7);
    EXPECT_STREQ(text, "\x13\xa2");
}

TEST_F(Catalogue, WritesQueueTranslateAndCommit)
{
    static constexpr auto rows = std::to_array<catalogue_row>({
        setting("name", "NI", 3, 0x0008, 0, 20, "", ""),
        setting("version", "VR", 1, 0x0008, 0, 65535, "", ""),
        setting("refused", "EA", 0, 0x0008, 0, 9, "", ""),
        setting("missing", "XX", 0, 0x0008, 0, 9, "", ""),
        setting("dest", "DH/DL", 2, 0x0008, 0, 0, "", ""),
        setting("elsewhere", "ID", 0, 0x8100, 0, 9, "", ""),
    });
    net.describe(
        "caps=\"0x04\" kind=\"3\"", "",
        "<node address=\"" + std::string(node_address) +
            "\"><param cmd=\"NI\" text=\"old\"/><param cmd=\"VR\" int=\"1\" access=\"ro\"/>"
            "<param cmd=\"EA\" int=\"1\"/><fail cmd=\"EA\" code=\"-62\"/>"
            "<param cmd=\"DH\" hex=\"0\"/><param cmd=\"DL\" hex=\"0\"/></node>");
    ASSERT_EQ(select(rows, node_address), 6);
    EXPECT_EQ(write("name", ""), 0);
    EXPECT_EQ(write("dest", "00:13:a2:00:40:a1:b2:c3"), 0);
    EXPECT_EQ(read(0), "old") << "written values wait for the commit";
    EXPECT_EQ(catalogue_commit(sel, 0), 0);
    EXPECT_EQ(read(4), "00:13:a2:00:40:a1:b2:c3");
    EXPECT_EQ(net.calls(), "radio_set_param 00:13:a2:00:00:00:00:42 0 NI 00 0\n"
                           "radio_set_param 00:13:a2:00:00:00:00:42 0 DH 0013a200 0\n"
                           "radio_set_param 00:13:a2:00:00:00:00:42 0 DL 40a1b2c3 0\n"
                           "radio_set_param 00:13:a2:00:00:00:00:42 0 WR - 2\n")
        << "an empty value goes out as one zero byte; the commit applies";
    EXPECT_EQ(write("version", "2"), CATALOGUE_INVALID) << "read only: the radio refused it";
    EXPECT_EQ(write("refused", "2"), CATALOGUE_REJECTED);
    EXPECT_EQ(write("missing", "2"), CATALOGUE_NOT_ON_RADIO);
    EXPECT_EQ(write("elsewhere", "2"), CATALOGUE_NO_FIELD) << "a row of another kind";
    EXPECT_EQ(catalogue_write_field(sel, 5, 0, reinterpret_cast<const uint8_t *>("\2\0\0\0"), 4),
              CATALOGUE_NOT_ON_RADIO);
}

} // namespace
