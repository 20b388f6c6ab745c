#include "config/exceptions.h"
#include "config/revert.h"
#include "rci/commands.h"
#include "test_change_fixture.h"

#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

namespace
{

// The image's configuration with values that differ from the defaults in the groups that a
// custom revert can keep.
std::string changed_local()
{
    std::string text = image_local;
    for (auto [from, to] : {std::pair{"<speed>auto</speed>", "<speed>100</speed>"},
                            std::pair{"<enable>off</enable>\n    <port>161</port>",
                                      "<enable>on</enable>\n    <port>161</port>"},
                            std::pair{"<primary>8.8.8.8</primary>", "<primary>1.1.1.1</primary>"},
                            std::pair{"<ssid>pumphouse</ssid>", "<ssid>field</ssid>"}})
        text.replace(text.find(from), std::string(from).size(), to);
    return text;
}

class FactoryDefault : public config_change
{
  protected:
    FactoryDefault() : config_change(changed_local())
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
        xml::doc_ptr doc = xml::parse_memory(request.data(), static_cast<int>(request.size()));
        xml::buffer_ptr reply(xmlBufferCreate());
        int result = set_factory_default(reply.get(), xmlDocGetRootElement(doc.get()), source);
        return {result, xml::chars(xmlBufferContent(reply.get()))};
    }

    bool cert(const char *file) const { return std::filesystem::exists(certs + "/" + file); }

    static std::vector<std::string> groups()
    {
        std::vector<std::string> names;
        for (xmlNodePtr node = xmlDocGetRootElement(config_current())->children; node;
             node = node->next) {
            if (node->type != XML_ELEMENT_NODE) continue;
            xml::text_ptr name(xmlGetProp(node, xml::uchars("name")));
            names.push_back(xml::chars(node->name) +
                            (name ? "/" + std::string(xml::chars(name.get())) : ""));
        }
        return names;
    }
};

const std::string done = "<set_factory_default></set_factory_default>";

} // namespace

TEST_F(FactoryDefault, FullRevertCopiesTheDefaultsAndRemovesEveryCertificate)
{
    // Without action="custom" the exceptions are ignored.
    change_result r = revert("<set_factory_default except=\"certs,ethernet\"/>");
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.reply, done);
    EXPECT_EQ(read_file(local()), image_cfd);
    EXPECT_EQ(current("/config/ethernet/speed"), "auto");
    EXPECT_EQ(worklog(), "/config\n");
    EXPECT_EQ(letters(), "Fg");
    for (const char *file :
         {"identity/device.pem", "socket_1/client.pem", "socket_2/ca.pem", "wifi_ca/ca.pem"})
        EXPECT_FALSE(cert(file)) << file;
    EXPECT_TRUE(log.has(LOG_INFO, "set_factory_default: reverting to factory."));
}

TEST_F(FactoryDefault, CustomRevertKeepsTheNamedGroupsAfterTheDefaults)
{
    change_result r =
        revert("<set_factory_default action=\"custom\" except=\"ethernet,,snmp,bogus\"/>");
    EXPECT_EQ(r.reply, done);
    EXPECT_EQ(groups(), (std::vector<std::string>{
                            "system", "static_position", "interface/wlan0", "interface/wlan1",
                            "wireless", "tcp_serial", "tcp_serial", "serial", "serial", "nimbo",
                            "python", "interface/eth0", "ethernet", "snmp", "dns"}));
    EXPECT_EQ(current("/config/ethernet/speed"), "100");
    EXPECT_EQ(current("/config/snmp/enable"), "on");
    EXPECT_EQ(current("/config/dns/primary"), "1.1.1.1");
    EXPECT_EQ(current("/config/wireless/ssid"), "vexa-gateway");
    EXPECT_EQ(current("/config/system/description"), "Vexa gateway");
    config_unload();
    ASSERT_EQ(files.load(), 0) << "the kept configuration was saved";
    EXPECT_EQ(current("/config/ethernet/speed"), "100");
    EXPECT_EQ(worklog(), "/config\n");
    EXPECT_EQ(letters(), "Fg");
    EXPECT_FALSE(cert("identity/device.pem"));
    EXPECT_TRUE(log.has(
        LOG_WARNING, "set_factory_default, custom revert with exceptions 'ethernet,,snmp,bogus'"));
}

TEST_F(FactoryDefault, CertificateExceptions)
{
    EXPECT_EQ(revert("<set_factory_default action=\"custom\" except=\"identity\"/>").reply, done);
    EXPECT_TRUE(cert("identity/device.pem"));
    EXPECT_FALSE(cert("socket_1/client.pem"));
    EXPECT_FALSE(cert("wifi_ca/ca.pem"));
    EXPECT_EQ(current("/config/ethernet/speed"), "auto")
        << "no configuration exception: everything reverts";

    dir().write("certs/wifi_ca/ca.pem", "pem");
    dir().write("certs/socket_1/client.pem", "pem");
    EXPECT_EQ(revert_certificates("my_certs,identity"), 0);
    EXPECT_TRUE(cert("identity/device.pem"));
    EXPECT_TRUE(cert("wifi_ca/ca.pem"));
    EXPECT_EQ(revert_certificates(nullptr), 0);
    EXPECT_FALSE(cert("identity/device.pem"));
    EXPECT_FALSE(cert("socket_1/client.pem"));
}

TEST_F(FactoryDefault, RefusedAndFailedReverts)
{
    const std::string before = read_file(local());
    change_result r = revert("<set_factory_default action=\"revert\"/>");
    EXPECT_EQ(r.result, -5);
    EXPECT_EQ(
        r.reply,
        "<error id=\"5\"><desc>set_factory_default: partial revert to defaults is not a valid "
        "command.</desc><hint>Invalid parameter</hint></error>");
    EXPECT_TRUE(cert("identity/device.pem"));
    EXPECT_EQ(letters(), "");

    // A save that fails keeps the previous document and file.
    ASSERT_EQ(mkdir((local() + ".new").c_str(), 0755), 0);
    EXPECT_EQ(revert_to_factory("snmp"), -1);
    EXPECT_EQ(current("/config/ethernet/speed"), "100");
    EXPECT_EQ(read_file(local()), before);
    EXPECT_EQ(worklog(), "");

    // Without the worklog nothing is reverted, but the rest of the request still happens.
    std::remove(dir().file("generate_list").c_str());
    EXPECT_EQ(revert("<set_factory_default/>").reply, done);
    EXPECT_TRUE(log.has(LOG_CRIT, "Unable to lock worklog (-1)! 2\n"));
    EXPECT_EQ(read_file(local()), before);
    EXPECT_FALSE(cert("identity/device.pem"));
    EXPECT_EQ(letters(), "Fg");
}

TEST_F(FactoryDefault, CustomDefaultsAreAppliedOneCommandAtATime)
{
    const std::string two =
        "<rci_request><set_setting><dns><primary>9.9.9.9</primary></dns></set_setting>\n"
        "<set_setting><tcp_serial index=\"2\"><port>2200</port></tcp_serial></set_setting>";
    dir().write("config_custom.rci", two + "</rci_request>");
    change_result r = revert("<set_factory_default/>");
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.reply, done);
    EXPECT_EQ(current("/config/dns/primary"), "9.9.9.9");
    EXPECT_EQ(worklog(), "/config\n/config/dns/primary\n/config/tcp_serial[2]/port\n");
    EXPECT_EQ(letters(), "Fg") << "one regeneration for the whole revert";

    dir().write("config_custom.rci",
                two + "<query_setting/><set_setting><dns><secondary>9.9.9.8</secondary></dns>"
                      "</set_setting></rci_request>");
    r = revert("<set_factory_default/>");
    EXPECT_EQ(r.result, -5);
    EXPECT_EQ(
        r.reply,
        "<set_factory_default><error id=\"7\"><desc>set_factory_default: invalid RCI command in "
        "custom defaults.</desc><hint>query_setting</hint></error></set_factory_default>");
    EXPECT_EQ(current("/config/tcp_serial[2]/port"), "2200");
    EXPECT_EQ(current("/config/dns/secondary"), "8.8.4.4");
    EXPECT_EQ(letters(), "Fg");

    dir().write("config_custom.rci",
                "<rci_request><set_setting><system><serial_number>Z</serial_number></system>"
                "</set_setting></rci_request>");
    r = revert("<set_factory_default/>", "python");
    EXPECT_EQ(r.result, -9);
    EXPECT_EQ(r.reply,
              "<set_factory_default><set_setting><error id=\"9\"><desc>Item is not writable</desc>"
              "<hint>serial_number</hint></error></set_setting></set_factory_default>");
}

TEST_F(FactoryDefault, UnusableCustomDefaults)
{
    dir().write("config_custom.rci", "<rci_request>");
    change_result r = revert("<set_factory_default/>");
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
    r = revert("<set_factory_default/>");
    EXPECT_EQ(r.result, -2);
    EXPECT_EQ(r.reply, done);
    EXPECT_EQ(letters(), "FgFgFg");
}

TEST(FactoryExceptions, CollectedInTokenOrderWithDnsOnceAndMergedAtTheEnd)
{
    config_files files(image_local, image_cfd);
    ASSERT_EQ(files.load(), 0);
    xml::doc_ptr retained = collect_exceptions(config_current(), "wifi,ethernet,wifi2");
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
