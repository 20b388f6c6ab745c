#include "config/handlers.h"
#include "config/revert.h"
#include "config/worklog.h"
#include "scratch_store.h"
#include "support/config_fixture.h"
#include "support/engine_channel.h"
#include "support/log_capture.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace
{

// What a command handler returned and wrote.
struct change_result {
    int result;
    std::string reply;
};

// The image's configuration in a scratch store, with the parent channel turned into pipes whose
// letters the test reads back.
class ConfigChange : public ::testing::Test
{
  protected:
    ConfigChange() { EXPECT_EQ(fcntl(channel.to_parent[0], F_SETFL, O_NONBLOCK), 0); }

    // What `handler(reply, root of the parsed request)` returned and wrote.
    template <class Handler> static change_result call(const std::string &request, Handler handler)
    {
        xml::doc_ptr doc = xml::parse_memory(request.data(), static_cast<int>(request.size()));
        EXPECT_TRUE(doc) << request;
        reply_buffer reply;
        int result = handler(reply, xmlDocGetRootElement(doc.get()));
        return {result, std::string(reply.view())};
    }
    static change_result change(const std::string &request, rci_source source = rci_source::cloud,
                                change_notice notify = change_notice::regenerate)
    {
        change_result r = call(request, [&](reply_buffer &reply, xmlNodePtr root) {
            return write_dom(reply, root, source, notify);
        });
        EXPECT_TRUE(xml::parse_memory(r.reply.data(), static_cast<int>(r.reply.size())))
            << "not well-formed: " << r.reply;
        return r;
    }
    static change_result revert(const std::string &request)
    {
        return call(request, [](reply_buffer &reply, xmlNodePtr root) {
            return set_factory_default(reply, root, rci_source::cloud);
        });
    }

    std::string local() const { return store.path("local"); }
    std::string worklog() const { return read_file(store.path("generate_list")); }
    // The letters sent to the parent since the last call.
    std::string letters()
    {
        std::string sent;
        for (char c; read(channel.to_parent[0], &c, 1) == 1;)
            sent += c;
        return sent;
    }
    // The text of the one element that `xpath` selects in the current document.
    static std::string current(const char *xpath)
    {
        xml::text_ptr value = config_lookup(SAVE_CURRENT, xpath);
        return value ? xml::chars(value.get()) : "(none)";
    }

    log_capture log;
    scratch_store store{"config-change-test"};
    engine_channel channel;
};

std::string error(char id, const std::string &desc, const std::string &hint = "")
{
    std::string tail =
        hint.empty() ? "</desc></error>" : "</desc><hint>" + hint + "</hint></error>";
    return std::string("<error id=\"") + id + "\"><desc>" + desc + tail;
}

} // namespace

TEST_F(ConfigChange, InstancesEmptyElementsAndAccessAttributesOfTheRequest)
{
    // index="1" names the first instance and ro/wo are dropped, so neither reaches the reply.
    change_result r =
        change("<set_setting><tcp_serial index=\"1\" ro=\"x\"><port wo=\"y\">4100</port>"
               "</tcp_serial><tcp_serial index=\"3\"><port>4003</port></tcp_serial>"
               "<interface name=\"wlan1\"><mtu>1400</mtu></interface>"
               "<system><contact>ops</contact><location/></system></set_setting>");
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.reply, "<set_setting><tcp_serial/><tcp_serial index=\"3\"/><interface "
                       "name=\"wlan1\"/><system/></set_setting>");
    EXPECT_EQ(worklog(), "/config/tcp_serial[1]/port\n/config\n/config/interface[3]/mtu\n"
                         "/config/system/contact\n/config/system/location\n");
    EXPECT_EQ(current("/config/tcp_serial[1]/port"), "4100");
    EXPECT_EQ(current("/config/interface[@name=\"eth0\"]/mtu"), "1500");
    EXPECT_EQ(current("/config/interface[@name=\"wlan1\"]/mtu"), "1400");
    EXPECT_EQ(current("/config/*[last()]/port"), "4003") << "an unknown instance goes to the end";
    EXPECT_EQ(current("/config/system/contact"), "ops") << "a value for a stored empty element";
    EXPECT_EQ(current("/config/system/location"), "(none)") << "an empty element clears the value";
    EXPECT_EQ(read_file(local()).find(" ro=\"x\""), std::string::npos);
}

TEST_F(ConfigChange, RefusedRequestsChangeNothingAndBeyondTheMinimumTheirMessagesAreEscaped)
{
    const std::string before = read_file(local());
    // A value that tries to close the description stays text; quotes and carriage returns reach
    // the client as libxml2 wrote them. Messages without a node have no hint.
    change_result r = change("<set_setting><tcp_serial index=\"2\"><port>&lt;/desc&gt;\"&#13;1"
                             "</port></tcp_serial></set_setting>");
    EXPECT_EQ(r.result, -7);
    EXPECT_EQ(
        r.reply,
        "<set_setting>" +
            error('7', "Type unsignedShort doesn't allow value '&lt;/desc&gt;\"\r1'\n", "port") +
            error('7', "Extra element port in interleave\n") +
            error('7', "Element tcp_serial failed to validate content\n", "tcp_serial") +
            "</set_setting>");

    // A grammar that is missing or does not parse, no current document, one without groups.
    auto set_dns = [] {
        return change("<set_setting><dns><primary>1.1.1.1</primary></dns></set_setting>").result;
    };
    store.use_schema(store.path("absent.rng"));
    EXPECT_EQ(set_dns(), -8);
    store.use_schema(store.write("broken.rng", "<grammar"));
    EXPECT_EQ(set_dns(), -8);
    store.use_schema(VEXA_IMAGE "/usr/share/validation/set_setting.rng");
    xml::doc_ptr kept = config_release_current();
    EXPECT_EQ(set_dns(), -2);
    config_replace_current(xml::parse_memory("<config/>", 9));
    EXPECT_EQ(set_dns(), -4);
    config_replace_current(std::move(kept));

    EXPECT_EQ(worklog(), "");
    EXPECT_EQ(current("/config/dns/primary"), "8.8.8.8");
    EXPECT_EQ(read_file(local()), before);
    EXPECT_EQ(letters(), "");
}

TEST_F(ConfigChange, ReadOnlyElementsRollBackTheWholeRequest)
{
    const std::string server = "<nimbo><server>elsewhere.example</server></nimbo></set_setting>";
    change_result r = change("<set_setting><system><serial_number>X</serial_number></system>"
                             "<dns><primary>1.1.1.1</primary></dns>" +
                                 server,
                             rci_source::local);
    EXPECT_EQ(r.result, -9);
    EXPECT_EQ(r.reply, "<set_setting>" + error('9', "Item is not writable", "serial_number") +
                           error('9', "Item is not writable", "nimbo") + "</set_setting>");
    EXPECT_EQ(current("/config/dns/primary"), "8.8.8.8")
        << "the writable change is dropped as well";
    EXPECT_EQ(letters(), "");

    // The cloud may change what is read-only only for local scripts.
    EXPECT_EQ(change("<set_setting>" + server).result, 0);
    EXPECT_EQ(current("/config/nimbo/server"), "elsewhere.example");
}

TEST_F(ConfigChange, NoticesWaitForAnImmediateChangeAndCanBeForbidden)
{
    // A deferred change is announced with the next immediate one; a failed save tells nobody.
    const struct {
        const char *open, *dns, *letters;
        change_notice notify;
        int result;
    } steps[] = {
        {"<set_setting action=\"deferred\">", "<primary>1.1.1.1</primary>", "",
         change_notice::regenerate, 0},
        {"<set_setting action=\"later\">", "<secondary>1.0.0.1</secondary>", "g",
         change_notice::regenerate, 0},
        {"<set_setting>", "<primary>9.9.9.9</primary>", "", change_notice::none, 0},
        {"<set_setting>", "<primary>7.7.7.7</primary>", "", change_notice::regenerate, -6}};
    for (const auto &step : steps) {
        // A folder in the way of the new file makes the save fail.
        ASSERT_TRUE(step.result != -6 || mkdir((local() + ".new").c_str(), 0755) == 0);
        std::string request = std::string(step.open) + "<dns>" + step.dns + "</dns></set_setting>";
        EXPECT_EQ(change(request, rci_source::cloud, step.notify).result, step.result) << request;
        EXPECT_EQ(letters(), step.letters) << request;
    }
    EXPECT_EQ(current("/config/dns/primary"), "7.7.7.7") << "a failed save keeps the change";
}

TEST_F(ConfigChange, WorklogIsHeldExclusivelyUntilClosed)
{
    worklog_lock worklog;
    int other = open(store.path("generate_list").c_str(), O_RDONLY);
    EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), -1);
    EXPECT_EQ(worklog_append_node(worklog.fd(), xmlDocGetRootElement(config_current())), 0);
    EXPECT_EQ(worklog.close(), 0);
    EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
    close(other);
    EXPECT_EQ(this->worklog(), "/config\n");
}

TEST_F(ConfigChange, GrammarAdmitsTheImagesConfigurationAndRefusesWrongValues)
{
    auto validate = [](const std::string &groups) {
        return call(
            "<set_setting>" + groups + "</set_setting>", [](reply_buffer &out, xmlNodePtr root) {
                return validate_request(root, current_change_paths().schema, set_setting_rule, out);
            });
    };
    for (const char *file : {"local", "cfd"}) {
        std::string stored = scratch_store::image(file);
        std::string::size_type from = stored.find("<config>") + 8, to = stored.rfind("</config>");
        auto [result, errors] = validate(stored.substr(from, to - from));
        EXPECT_EQ(result, 0) << errors;
    }
    // Neither a group the configuration does not hold nor an instance 0.
    for (const char *wrong : {"<tcp_serial index=\"0\"/>", "<radio/>"})
        EXPECT_EQ(validate(wrong).result, 7) << wrong;
}

TEST_F(ConfigChange, FailedOrRefusedRevertsKeepTheConfiguration)
{
    EXPECT_EQ(revert("<set_factory_default action=\"revert\"/>").result, -5);
    EXPECT_EQ(letters(), "") << "a refused revert asks nothing of the parent";

    const std::string before = read_file(local());
    ASSERT_EQ(mkdir((local() + ".new").c_str(), 0755), 0);
    EXPECT_EQ(revert_to_factory("snmp"), -1) << "the save fails";
    EXPECT_EQ(current("/config/wireless/ssid"), "pumphouse");
    EXPECT_EQ(worklog(), "");
    // Without the worklog nothing is reverted, but the rest of the request still happens.
    std::remove(store.path("generate_list").c_str());
    EXPECT_EQ(revert("<set_factory_default/>").reply,
              "<set_factory_default></set_factory_default>");
    EXPECT_EQ(current("/config/wireless/ssid"), "pumphouse");
    EXPECT_EQ(read_file(local()), before);
    EXPECT_EQ(letters(), "Fg");
}
