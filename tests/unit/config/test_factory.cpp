#include "config/exceptions.h"
#include "config/revert.h"
#include "rci/commands.h"
#include "test_change_fixture.h"

#include <sys/stat.h>

#include <string>

namespace
{

class FactoryDefault : public config_change
{
  protected:
    static change_result revert(const std::string &request)
    {
        return call(request, [](xmlBufferPtr reply, xmlNodePtr root) {
            return set_factory_default(reply, root, "nimbo");
        });
    }
};

const std::string done = "<set_factory_default></set_factory_default>";

} // namespace

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
    EXPECT_EQ(current("/config/wireless/ssid"), "pumphouse");
    EXPECT_EQ(read_file(local()), before);
    EXPECT_EQ(letters(), "Fg");
}

TEST_F(FactoryDefault, RefusedRevertAndCustomDefaultsThatCannotBeApplied)
{
    EXPECT_EQ(revert("<set_factory_default action=\"revert\"/>").result, -5);
    EXPECT_EQ(letters(), "") << "a refused revert asks nothing of the parent";

    dir().write("config_custom.rci", "<rci_request>");
    change_result r = revert("<set_factory_default/>");
    EXPECT_EQ(r.result, -1);
    EXPECT_EQ(r.reply, "<set_factory_default><error id=\"7\"><desc>set_factory_default: unable to "
                       "parse custom defaults.</desc><hint>" +
                           custom + "</hint></error></set_factory_default>");
    dir().write("config_custom.rci", "<rci_reply><set_setting/></rci_reply>");
    EXPECT_EQ(revert("<set_factory_default/>").result, -3);
    EXPECT_EQ(letters(), "FgFg") << "the parent reverts and regenerates whatever happened";
}

TEST(FactoryExceptions, CollectedInTokenOrderWithDnsOnce)
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
}
