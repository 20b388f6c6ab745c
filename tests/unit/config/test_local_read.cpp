#include "config/local_access.h"
#include "support/config_fixture.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

const char *current = "<config>"
                      "<system><name>gw</name><serial ro=\"nimbo python\">SN1</serial>"
                      "<key wo=\"python\">k</key><token wo=\"nimbo\">t</token></system>"
                      "<static_position><enable>on</enable><note>a&lt;b</note></static_position>"
                      "<tcp_serial index=\"1\"><port>4000</port></tcp_serial>"
                      "<tcp_serial index=\"2\"><port/></tcp_serial>"
                      "<dns><primary>1.1.1.1</primary></dns>"
                      "</config>";

// The read reply as text, or "(null)" when there is none.
std::string read(int save, const char *xpath, const char *source = "python")
{
    xml::buffer_ptr buf = vexacsd_config_read_xmltree(save, xpath, source);
    return buf ? xml::chars(xmlBufferContent(buf.get())) : "(null)";
}

} // namespace

TEST(LocalRead, RendersTheSelectedElementsInDocumentOrderWithTheSourcesRules)
{
    config_files files(current, "<config><dns/></config>");
    ASSERT_EQ(files.load(), 0);
    EXPECT_EQ(read(SAVE_CURRENT, "/config/static_position"),
              "<config><static_position><enable>on</enable><note>a&lt;b</note></static_position></"
              "config>");
    EXPECT_EQ(read(SAVE_CURRENT, "/config/dns | /config/system/name"),
              "<config><name>gw</name><dns><primary>1.1.1.1</primary></dns></config>");
    EXPECT_EQ(read(SAVE_CURRENT, "//port"), "<config><port>4000</port><port/></config>");
    EXPECT_EQ(read(SAVE_CURRENT, "/config/tcp_serial/@index | /config/dns"),
              "<config><dns><primary>1.1.1.1</primary></dns></config>")
        << "nodes other than elements are left out";
    EXPECT_EQ(
        read(SAVE_CURRENT, "/config/system"),
        "<config><system><name>gw</name><serial>SN1</serial><token>t</token></system></config>");
    EXPECT_EQ(read(SAVE_CURRENT, "/config/system/serial", "nimbo"), "<config></config>");

    log_capture log;
    EXPECT_EQ(read(SAVE_DEFAULTS, "/config/system"), "(null)");
    EXPECT_EQ(read(SAVE_CURRENT, "count(/config/dns)"), "(null)") << "a number is not a node set";
    EXPECT_EQ(read(SAVE_CURRENT, "/config/["), "(null)");
    EXPECT_TRUE(log.all().empty()) << "an empty selection is only traced";
    EXPECT_EQ(read(6, "/config"), "(null)");
    EXPECT_TRUE(log.has(LOG_ERR, "Invalid SAVE value 6\n"));
}

TEST(LocalRead, MissingDocumentNamesItsFile)
{
    scratch_dir dir;
    std::string local = dir.write("local", current);
    std::string missing = dir.file("cfd");
    std::string worklog = dir.write("generate_list", "");
    log_capture log;
    ASSERT_EQ(config_load({local.c_str(), missing.c_str(), worklog.c_str()}), CONFIG_NO_DEFAULTS);
    EXPECT_EQ(read(SAVE_DEFAULTS, "/config"), "(null)");
    EXPECT_TRUE(log.has(LOG_ERR, "Unable to get config " + missing + "\n"));
    EXPECT_EQ(read(SAVE_CURRENT, "/config/dns"),
              "<config><dns><primary>1.1.1.1</primary></dns></config>");
    config_unload();
}
