#include "config/local_access.h"
#include "config/save.h"
#include "config/validation.h"
#include "config/worklog.h"
#include "test_change_fixture.h"

#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

namespace
{

class WriteDom : public config_change
{
  protected:
    change_result change(const std::string &request, const char *source = "nimbo", int notify = 1)
    {
        change_result r = call(request, [&](xmlBufferPtr reply, xmlNodePtr root) {
            return write_dom(reply, root, source, notify);
        });
        EXPECT_TRUE(xml::parse_memory(r.reply.data(), static_cast<int>(r.reply.size())))
            << "not well-formed: " << r.reply;
        return r;
    }
};

const std::string new_dns = "<dns><primary>1.1.1.1</primary></dns></set_setting>";

} // namespace

TEST_F(WriteDom, ChangesAreMergedRecordedSavedAndAnnounced)
{
    change_result r = change("<set_setting><tcp_serial index=\"2\"><port>2102</port></tcp_serial>"
                             "<system><description>Well 7</description><contact>ops</contact>"
                             "<location/></system></set_setting>");
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.reply, "<set_setting><tcp_serial index=\"2\"/><system/></set_setting>");
    EXPECT_EQ(worklog(), "/config/tcp_serial[2]/port\n/config/system/description\n"
                         "/config/system/contact\n/config/system/location\n");
    EXPECT_EQ(letters(), "g");

    // The saved file is what the store reloads, and readable by all.
    config_unload();
    ASSERT_EQ(files.load(), 0);
    EXPECT_EQ(current("/config/tcp_serial[@index=\"2\"]/port"), "2102");
    EXPECT_EQ(current("/config/tcp_serial[@index=\"1\"]/port"), "4000");
    EXPECT_EQ(current("/config/system/contact"), "ops") << "a value for a stored empty element";
    EXPECT_EQ(current("/config/system/location"), "(none)") << "an empty element clears the value";
    struct stat info;
    ASSERT_EQ(stat(local().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0644u);
}

TEST_F(WriteDom, InstancesAndAccessAttributesOfTheRequest)
{
    // index="1" names the first instance and ro/wo are dropped, so neither reaches the reply.
    change_result r =
        change("<set_setting><tcp_serial index=\"1\" ro=\"x\"><port wo=\"y\">4100</port>"
               "</tcp_serial><tcp_serial index=\"3\"><port>4003</port></tcp_serial>"
               "<interface name=\"wlan1\"><mtu>1400</mtu></interface></set_setting>");
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.reply, "<set_setting><tcp_serial/><tcp_serial index=\"3\"/><interface "
                       "name=\"wlan1\"/></set_setting>");
    EXPECT_EQ(worklog(), "/config/tcp_serial[1]/port\n/config\n/config/interface[3]/mtu\n");
    EXPECT_EQ(current("/config/tcp_serial[1]/port"), "4100");
    EXPECT_EQ(current("/config/interface[@name=\"eth0\"]/mtu"), "1500");
    EXPECT_EQ(current("/config/interface[@name=\"wlan1\"]/mtu"), "1400");
    xmlNodePtr last = xmlGetLastChild(xmlDocGetRootElement(config_current()));
    ASSERT_TRUE(last && xml::name_is(last, "tcp_serial")) << "an unknown instance goes to the end";
    EXPECT_EQ(current("/config/tcp_serial[@index=\"3\"]/port"), "4003");
}

TEST_F(WriteDom, ErrorsBeforeTheMergeChangeNothing)
{
    const std::string before = read_file(local());
    EXPECT_EQ(change("<set_setting source=\"\"><dns/></set_setting>").result, -1);
    EXPECT_EQ(change("<set_setting action=\"deferred\"/>").result, -3);
    use_schema(dir().write("broken.rng", "<grammar"));
    EXPECT_EQ(change("<set_setting>" + new_dns).result, -8);
    use_schema(image_schema);

    xml::doc_ptr kept = config_release_current();
    EXPECT_EQ(change("<set_setting>" + new_dns).result, -2);
    config_replace_current(xml::parse_memory("<config/>", 9));
    EXPECT_EQ(change("<set_setting>" + new_dns).result, -4);
    config_replace_current(std::move(kept));

    std::remove(dir().file("generate_list").c_str());
    EXPECT_EQ(change("<set_setting>" + new_dns).result, -5);
    EXPECT_EQ(current("/config/dns/primary"), "8.8.8.8");
    EXPECT_EQ(read_file(local()), before);
    EXPECT_EQ(letters(), "");
}

TEST_F(WriteDom, SchemaViolationsReportEachLibraryMessage)
{
    // A value that tries to close the description is escaped in the reply; messages without a
    // node have no hint.
    change_result r = change("<set_setting><tcp_serial "
                             "index=\"2\"><port>&lt;/desc&gt;1</port></tcp_serial></set_setting>");
    EXPECT_EQ(r.result, -7);
    EXPECT_EQ(
        r.reply,
        "<set_setting><error id=\"7\"><desc>Type unsignedShort doesn't allow value "
        "'&lt;/desc&gt;1'\n"
        "</desc><hint>port</hint></error><error id=\"7\"><desc>Extra element port in interleave\n"
        "</desc></error><error id=\"7\"><desc>Element tcp_serial failed to validate "
        "content\n</desc>"
        "<hint>tcp_serial</hint></error></set_setting>");
    EXPECT_EQ(log.all().size(), 3u);

    // Entity references would reach the saved file without their declaration.
    r = change("<!DOCTYPE set_setting [<!ENTITY a \"x\"><!ENTITY two \"2\">]><set_setting><system>"
               "<contact>&a;</contact></system><tcp_serial index=\"&two;\"/></set_setting>");
    EXPECT_EQ(r.reply,
              "<set_setting><error id=\"7\"><desc>Entity reference &amp;a; is not accepted\n</desc>"
              "<hint>contact</hint></error><error id=\"7\"><desc>Entity reference &amp;two; is not "
              "accepted\n</desc><hint>tcp_serial</hint></error></set_setting>");
    EXPECT_EQ(worklog(), "");
    EXPECT_EQ(letters(), "");
}

TEST_F(WriteDom, ReadOnlyElementsRollBackTheWholeRequest)
{
    const std::string server = "<nimbo><server>elsewhere.example</server></nimbo></set_setting>";
    change_result r = change("<set_setting><dns><primary>1.1.1.1</primary></dns><system>"
                             "<serial_number>X1</serial_number></system>" +
                                 server,
                             "python");
    EXPECT_EQ(r.result, -9);
    EXPECT_EQ(
        r.reply,
        "<set_setting><error id=\"9\"><desc>Item is not writable</desc><hint>serial_number</hint>"
        "</error><error id=\"9\"><desc>Item is not writable</desc><hint>nimbo</hint></error>"
        "</set_setting>");
    EXPECT_EQ(current("/config/dns/primary"), "8.8.8.8")
        << "the writable change is dropped as well";
    EXPECT_EQ(letters(), "");

    // The cloud may change what is read-only only for local scripts.
    EXPECT_EQ(change("<set_setting>" + server).result, 0);
    EXPECT_EQ(current("/config/nimbo/server"), "elsewhere.example");
}

TEST_F(WriteDom, NoticesWaitForAnImmediateChangeAndCanBeForbidden)
{
    EXPECT_EQ(change("<set_setting action=\"deferred\">" + new_dns).result, 0);
    EXPECT_EQ(letters(), "");
    EXPECT_EQ(change("<set_setting action=\"later\"><dns><secondary>1.0.0.1</secondary></dns>"
                     "</set_setting>")
                  .result,
              0);
    EXPECT_EQ(letters(), "g");
    EXPECT_EQ(change("<set_setting><dns><primary>9.9.9.9</primary></dns></set_setting>", "nimbo", 0)
                  .result,
              0);
    EXPECT_EQ(letters(), "");
}

TEST_F(WriteDom, FailedSaveKeepsTheChangeInMemoryAndTellsNobody)
{
    ASSERT_EQ(mkdir((local() + ".new").c_str(), 0755), 0);
    EXPECT_EQ(change("<set_setting>" + new_dns).result, -6);
    EXPECT_EQ(current("/config/dns/primary"), "1.1.1.1");
    EXPECT_EQ(letters(), "");
}

TEST(ConfigSave, WritesWhatTheLibraryWouldSave)
{
    config_files files(image_local, image_cfd);
    ASSERT_EQ(files.load(), 0);
    std::string reference = files.dir().file("reference");
    ASSERT_GT(xmlSaveFile(reference.c_str(), config_current()), 0);
    EXPECT_EQ(config_save(config_current()), 0);
    EXPECT_EQ(read_file(files.dir().file("local")), read_file(reference));
}

TEST(ConfigWorklog, HeldExclusivelyUntilClosed)
{
    config_files files(image_local, image_cfd);
    ASSERT_EQ(files.load(), 0);
    std::string path = files.dir().file("generate_list");
    worklog_lock worklog;
    ASSERT_GE(worklog.fd(), 0);
    int other = open(path.c_str(), O_RDONLY);
    EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), -1);
    EXPECT_EQ(errno, EWOULDBLOCK);
    EXPECT_EQ(worklog_append_node(worklog.fd(), xmlDocGetRootElement(config_current())), 0);
    EXPECT_EQ(worklog.close(), 0);
    EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
    close(other);
    EXPECT_EQ(read_file(path), "/config\n");
}

TEST_F(WriteDom, LocalTextsAreAppliedLikeTheCommand)
{
    xml::buffer_ptr reply(xmlBufferCreate());
    EXPECT_EQ(config_parse_xmltree(reply.get(), nullptr, 5, "python"), -1);
    const std::string query = "<query_setting><dns/></query_setting>";
    EXPECT_EQ(
        config_parse_xmltree(reply.get(), query.data(), static_cast<int>(query.size()), "python"),
        -7)
        << "only a set_setting passes the schema";
}

using WriteDomDeathTest = WriteDom;

TEST_F(WriteDomDeathTest, UnreadableLocalFileDuringRollbackEndsTheEngine)
{
    std::remove(local().c_str());
    EXPECT_EXIT(change("<set_setting><system><serial_number>X</serial_number></system>"
                       "</set_setting>",
                       "python"),
                ::testing::ExitedWithCode(9), "");
}

TEST(SetSettingGrammar, AdmitsTheImagesConfigurationAndRefusesWrongValues)
{
    log_capture log;
    xml::buffer_ptr errors(xmlBufferCreate());
    auto validate = [&](std::string groups) {
        std::string text = "<set_setting>" + groups + "</set_setting>";
        xml::doc_ptr doc = xml::parse_memory(text.data(), static_cast<int>(text.size()));
        return doc ? validate_request(xmlDocGetRootElement(doc.get()), image_schema.c_str(),
                                      errors.get())
                   : -1;
    };
    for (const std::string &stored : {image_local, image_cfd}) {
        std::string::size_type from = stored.find("<config>") + 8, to = stored.rfind("</config>");
        EXPECT_EQ(validate(stored.substr(from, to - from)), 0)
            << xml::chars(xmlBufferContent(errors.get()));
    }
    for (const char *wrong :
         {"<tcp_serial><port>0</port></tcp_serial>", "<snmp><port>65536</port></snmp>",
          "<tcp_serial index=\"0\"/>", "<ethernet><power>On</power></ethernet>",
          "<interface name=\"eth0\"><mtu>10</mtu></interface>",
          "<interface name=\"eth0\"><ip>1.2.3</ip></interface>",
          "<interface name=\"eth9\"><dhcp>on</dhcp></interface>",
          "<interface><dhcp>on</dhcp></interface>",
          "<dns><primary>8.8.8.8</primary><primary>8.8.4.4</primary></dns>",
          "<serial><baud>1234</baud></serial>", "<wireless><country>usa</country></wireless>",
          "<wireless><psk>short</psk></wireless>",
          "<static_position><latitude>91</latitude></static_position>",
          "<system><serial_number>lower</serial_number></system>", "<dns><tertiary/></dns>",
          "<radio/>"})
        EXPECT_EQ(validate(wrong), 7) << wrong;
}
