#include "config/exceptions.h"
#include "config/revert.h"
#include "rci/commands.h"
#include "test_change_fixture.h"

#include <sys/stat.h>

#include <filesystem>
#include <string>

namespace
{

class FactoryDefault : public config_change
{
  protected:
    FactoryDefault()
    {
        for (const char *file :
             {"identity/device.pem", "socket_1/client.pem", "socket_2/ca.pem", "wifi_ca/ca.pem"}) {
            std::filesystem::create_directories(
                std::filesystem::path(certs + "/" + file).parent_path());
            dir().write(std::string("certs/") + file, "pem");
        }
    }

    change_result revert(const std::string &request, const char *source = "nimbo")
    {
        return call(request, [source](xmlBufferPtr reply, xmlNodePtr root) {
            return set_factory_default(reply, root, source);
        });
    }
    bool cert(const char *file) const { return std::filesystem::exists(certs + "/" + file); }
};

const std::string done = "<set_factory_default></set_factory_default>";

} // namespace

TEST_F(FactoryDefault, CertificateExceptionsAreFoundAnywhereInTheText)
{
    EXPECT_EQ(revert_certificates("my_certs,identity"), 0);
    EXPECT_TRUE(cert("identity/device.pem"));
    EXPECT_TRUE(cert("wifi_ca/ca.pem"));
    EXPECT_TRUE(cert("socket_1/client.pem"));
    EXPECT_EQ(revert_certificates(nullptr), 0);
    EXPECT_FALSE(cert("identity/device.pem"));
    EXPECT_FALSE(cert("socket_2/ca.pem"));
}

TEST_F(FactoryDefault, FailedRevertsKeepTheConfiguration)
{
    const std::string before = read_file(local());
    ASSERT_EQ(mkdir((local() + ".new").c_str(), 0755), 0);
    EXPECT_EQ(revert_to_factory("snmp"), -1) << "the save fails";
    EXPECT_EQ(current("/config/wireless/ssid"), "pumphouse");
    EXPECT_EQ(worklog(), "");

    // Without the worklog nothing is reverted, but the rest of the request still happens.
    std::remove(dir().file("generate_list").c_str());
    EXPECT_EQ(revert("<set_factory_default/>").reply, done);
    EXPECT_TRUE(log.has(LOG_CRIT, "Unable to lock worklog (-1)! 2\n"));
    EXPECT_EQ(current("/config/wireless/ssid"), "pumphouse");
    EXPECT_EQ(read_file(local()), before);
    EXPECT_FALSE(cert("identity/device.pem"));
    EXPECT_EQ(letters(), "Fg");
}

TEST_F(FactoryDefault, CustomDefaultsThatCannotBeApplied)
{
    dir().write("config_custom.rci", "<rci_request><set_setting><system><serial_number>Z"
                                     "</serial_number></system></set_setting></rci_request>");
    change_result r = revert("<set_factory_default/>", "python");
    EXPECT_EQ(r.result, -9);
    EXPECT_EQ(r.reply,
              "<set_factory_default><set_setting><error id=\"9\"><desc>Item is not writable</desc>"
              "<hint>serial_number</hint></error></set_setting></set_factory_default>");

    dir().write("config_custom.rci", "<rci_request>");
    r = revert("<set_factory_default/>");
    EXPECT_EQ(r.result, -1);
    EXPECT_EQ(
        r.reply,
        "<set_factory_default><error id=\"7\"><desc>set_factory_default: unable to parse custom "
        "defaults.</desc><hint>" +
            custom + "</hint></error></set_factory_default>");
    dir().write("config_custom.rci", "<rci_reply><set_setting/></rci_reply>");
    r = revert("<set_factory_default/>");
    EXPECT_EQ(r.result, -3);
    EXPECT_NE(r.reply.find("<hint>rci_reply</hint>"), std::string::npos);
    dir().write("config_custom.rci", "<rci_request/>");
    EXPECT_EQ(revert("<set_factory_default/>").result, -2);
    EXPECT_EQ(letters(), "FgFgFgFg") << "the parent reverts and regenerates whatever happened";
}

TEST(FactoryExceptions, CollectedInTokenOrderWithDnsOnceAndMergedAtTheEnd)
{
    config_files files(image_local, image_cfd);
    ASSERT_EQ(files.load(), 0);
    xml::doc_ptr retained = collect_exceptions(config_current(), "wifi,,ethernet,bogus,wifi2");
    ASSERT_TRUE(retained);
    std::string kept;
    for (xmlNodePtr node = xmlDocGetRootElement(retained.get())->children; node;
         node = node->next) {
        xml::text_ptr name(xmlGetProp(node, xml::uchars("name")));
        kept += std::string(xml::chars(node->name)) +
                (name ? std::string("/") + xml::chars(name.get()) : "") + " ";
    }
    EXPECT_EQ(kept, "interface/wlan0 interface/wlan1 wireless interface/eth0 ethernet dns ");

    const std::string small =
        "<config><interface name=\"eth0\"><mtu>1</mtu></interface><dns/><wireless/></config>";
    xml::doc_ptr target = xml::parse_memory(small.data(), static_cast<int>(small.size()));
    EXPECT_EQ(merge_retained(target.get(), xmlDocGetRootElement(retained.get())), 0);
    xml::buffer_ptr text(xmlBufferCreate());
    xmlNodeDump(text.get(), target.get(), xmlDocGetRootElement(target.get()), 0, 0);
    std::string merged = xml::chars(xmlBufferContent(text.get()));
    EXPECT_EQ(merged.find("<mtu>1</mtu>"), std::string::npos) << "the default eth0 gives way";
    EXPECT_NE(merged.find("<interface name=\"wlan1\">"), std::string::npos)
        << "kept without a default counterpart";
    EXPECT_EQ(merged.rfind("<dns>"), merged.find("<dns>"));
    EXPECT_EQ(copy_matching_nodes(retained.get(), config_current(), "//config/nothing"), -1);
}
