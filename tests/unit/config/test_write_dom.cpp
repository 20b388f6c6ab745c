#include "config/local_access.h"
#include "config/save.h"
#include "config/validation.h"
#include "config/worklog.h"
#include "rci/rci.h"
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
        xml::doc_ptr doc = xml::parse_memory(request.data(), static_cast<int>(request.size()));
        EXPECT_TRUE(doc) << request;
        xml::buffer_ptr reply(xmlBufferCreate());
        int result = write_dom(reply.get(), xmlDocGetRootElement(doc.get()), source, notify);
        std::string text = xml::chars(xmlBufferContent(reply.get()));
        EXPECT_TRUE(xml::parse_memory(text.data(), static_cast<int>(text.size())))
            << "not well-formed: " << text;
        return {result, text};
    }

    std::string error(int id)
    {
        return "<set_setting><error id=\"" + std::to_string(id) + "\"><desc>" +
               change_error_text(id) + "</desc></error></set_setting>";
    }
};

int count(const std::string &text, const std::string &what)
{
    int n = 0;
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++n;
    return n;
}

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
    EXPECT_TRUE(log.has(LOG_INFO, "Validation of RCI set_setting request successful\n"));
    EXPECT_TRUE(log.has(LOG_INFO, "Config write successful"));

    // The saved file is what the store reloads, written whole and readable by all.
    config_unload();
    ASSERT_EQ(files.load(), 0);
    EXPECT_EQ(current("/config/tcp_serial[@index=\"2\"]/port"), "2102");
    EXPECT_EQ(current("/config/tcp_serial[@index=\"1\"]/port"), "4000");
    EXPECT_EQ(current("/config/system/description"), "Well 7");
    EXPECT_EQ(current("/config/system/contact"), "ops") << "a value for a stored empty element";
    EXPECT_EQ(current("/config/system/location"), "(none)") << "an empty element clears the value";
    struct stat info;
    ASSERT_EQ(stat(local().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0644u);
    EXPECT_NE(stat((local() + ".new").c_str(), &info), 0);
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

    // A request that changes nothing writes no worklog line.
    EXPECT_EQ(change("<set_setting><system><contact/></system></set_setting>").result, 0);
    EXPECT_EQ(count(worklog(), "\n"), 3);
}

TEST_F(WriteDom, ErrorsBeforeTheMergeChangeNothing)
{
    const std::string before = read_file(local());
    change_result wrong = change(
        "<set_setting source=\"defaults\"><dns><primary>1.1.1.1</primary></dns></set_setting>");
    EXPECT_EQ(
        wrong.reply,
        "<set_setting source=\"defaults\"><error id=\"1\"><desc>Invalid source specified</desc>"
        "</error></set_setting>");
    EXPECT_TRUE(log.has(LOG_ERR, "Invalid source specified for write_dom\n"));
    EXPECT_EQ(change("<set_setting source=\"\"><dns/></set_setting>").result, -1);
    change_result empty = change("<set_setting action=\"deferred\"/>");
    EXPECT_EQ(empty.result, -3);
    EXPECT_EQ(
        empty.reply,
        "<set_setting action=\"deferred\"><error id=\"3\"><desc>Unable to read new values</desc>"
        "</error></set_setting>");

    use_schema(dir().file("none.rng"));
    EXPECT_EQ(change("<set_setting><dns/></set_setting>").reply, error(8));
    use_schema(dir().write("broken.rng", "<grammar"));
    EXPECT_EQ(change("<set_setting><dns/></set_setting>").result, -8);
    use_schema(image_schema);

    std::remove(dir().file("generate_list").c_str());
    EXPECT_EQ(change("<set_setting><dns><primary>1.1.1.1</primary></dns></set_setting>").reply,
              error(5));
    EXPECT_TRUE(log.has(LOG_ERR, "Unable to open configuration worklog(-1). (2)\n"));
    EXPECT_EQ(current("/config/dns/primary"), "8.8.8.8");

    xml::doc_ptr kept = config_release_current();
    EXPECT_EQ(change("<set_setting><dns/></set_setting>").reply, error(2));
    config_replace_current(xml::parse_memory("<config/>", 9));
    EXPECT_EQ(change("<set_setting><dns/></set_setting>").reply, error(4));
    config_replace_current(std::move(kept));

    EXPECT_EQ(read_file(local()), before);
    EXPECT_EQ(letters(), "");
}

TEST_F(WriteDom, SchemaViolationsReportEachLibraryMessage)
{
    change_result r =
        change("<set_setting><dns><primary>1.1.1.1</primary></dns><bogus/></set_setting>");
    EXPECT_EQ(r.result, -7);
    EXPECT_EQ(r.reply,
              "<set_setting><error id=\"7\"><desc>Did not expect element bogus there\n</desc>"
              "<hint>bogus</hint></error></set_setting>");
    EXPECT_TRUE(log.has(LOG_ERR,
                        "RCI set_setting validation failed on node <bogus>: Did not expect element "
                        "bogus there\n\n"));

    // A value that tries to close the description is escaped in the reply; messages without a
    // node have no hint.
    size_t logged_before = log.all().size();
    r = change("<set_setting><tcp_serial "
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
    EXPECT_EQ(log.all().size() - logged_before, 3u);

    // Entity references would reach the saved file without their declaration.
    r = change("<!DOCTYPE set_setting [<!ENTITY a \"x\"><!ENTITY two \"2\">]><set_setting><system>"
               "<contact>&a;</contact></system><tcp_serial index=\"&two;\"/></set_setting>");
    EXPECT_EQ(r.result, -7);
    EXPECT_EQ(r.reply,
              "<set_setting><error id=\"7\"><desc>Entity reference &amp;a; is not accepted\n</desc>"
              "<hint>contact</hint></error><error id=\"7\"><desc>Entity reference &amp;two; is not "
              "accepted\n</desc><hint>tcp_serial</hint></error></set_setting>");

    // A value far beyond any setting's length is refused, never cut.
    std::string huge(1 << 20, 'x');
    r = change("<set_setting><system><description>" + huge +
               "</description></system></set_setting>");
    EXPECT_EQ(r.result, -7);
    EXPECT_EQ(r.reply.find(huge), std::string::npos);
    EXPECT_EQ(current("/config/system/description"), "Pump house 3");
    EXPECT_EQ(current("/config/dns/primary"), "8.8.8.8");
    EXPECT_EQ(worklog(), "");
    EXPECT_EQ(letters(), "");
}

TEST_F(WriteDom, ReadOnlyElementsRollBackTheWholeRequest)
{
    const std::string before = read_file(local());
    change_result r = change("<set_setting><dns><primary>1.1.1.1</primary></dns>"
                             "<system><serial_number>X1</serial_number></system>"
                             "<nimbo><server>elsewhere.example</server></nimbo></set_setting>",
                             "python");
    EXPECT_EQ(r.result, -9);
    EXPECT_EQ(
        r.reply,
        "<set_setting><error id=\"9\"><desc>Item is not writable</desc><hint>serial_number</hint>"
        "</error><error id=\"9\"><desc>Item is not writable</desc><hint>nimbo</hint></error>"
        "</set_setting>");
    EXPECT_EQ(current("/config/dns/primary"), "8.8.8.8")
        << "the writable change is dropped as well";
    EXPECT_EQ(read_file(local()), before);
    EXPECT_EQ(worklog(), "/config/dns/primary\n") << "lines already written stay";
    EXPECT_EQ(letters(), "");

    // The cloud may change what is read-only only for local scripts.
    EXPECT_EQ(change("<set_setting><nimbo><server>elsewhere.example</server></nimbo></set_setting>")
                  .result,
              0);
    EXPECT_EQ(current("/config/nimbo/server"), "elsewhere.example");
}

TEST_F(WriteDom, DeferredChangesWaitForTheNextImmediateOne)
{
    EXPECT_EQ(
        change(
            "<set_setting action=\"deferred\"><dns><primary>1.1.1.1</primary></dns></set_setting>")
            .reply,
        "<set_setting action=\"deferred\"><dns/></set_setting>");
    EXPECT_EQ(worklog(), "/config/dns/primary\n");
    EXPECT_EQ(letters(), "");
    EXPECT_EQ(
        change(
            "<set_setting action=\"later\"><dns><secondary>1.0.0.1</secondary></dns></set_setting>")
            .result,
        0);
    EXPECT_EQ(letters(), "g");
    EXPECT_EQ(change("<set_setting><dns><primary>9.9.9.9</primary></dns></set_setting>", "nimbo", 0)
                  .result,
              0);
    EXPECT_EQ(letters(), "") << "callers may forbid the notice";
}

TEST_F(WriteDom, FailedSaveKeepsTheFileAndTellsNobody)
{
    const std::string before = read_file(local());
    ASSERT_EQ(mkdir((local() + ".new").c_str(), 0755), 0);
    EXPECT_EQ(change("<set_setting><dns><primary>1.1.1.1</primary></dns></set_setting>").reply,
              error(6));
    EXPECT_TRUE(log.has(LOG_ERR, "Unable to save new config! " + std::to_string(EISDIR)));
    EXPECT_EQ(read_file(local()), before);
    EXPECT_EQ(current("/config/dns/primary"), "1.1.1.1")
        << "memory keeps the change after a failed save";
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
    {
        worklog_lock worklog;
        ASSERT_GE(worklog.fd(), 0);
        int other = open(path.c_str(), O_RDONLY);
        EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), -1);
        EXPECT_EQ(errno, EWOULDBLOCK);
        EXPECT_EQ(worklog_append_node(worklog.fd(), xmlDocGetRootElement(config_current())), 0);
        EXPECT_EQ(worklog.close(), 0);
        EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
        close(other);
    }
    EXPECT_EQ(read_file(path), "/config\n");
    std::remove(path.c_str());
    EXPECT_EQ(worklog_open(), -1) << "the worklog is never created";
}

class LocalWrite : public config_change
{
};

TEST_F(LocalWrite, AppliesSetSettingTextsLikeTheCommand)
{
    xml::buffer_ptr reply(xmlBufferCreate());
    auto write = [&](const std::string &text) {
        xmlBufferEmpty(reply.get());
        return config_parse_xmltree(reply.get(), text.data(), static_cast<int>(text.size()),
                                    "python");
    };
    EXPECT_EQ(config_parse_xmltree(reply.get(), nullptr, 5, "python"), -1);
    EXPECT_EQ(write("<set_setting><dns>"), -1);
    EXPECT_EQ(write("<set_setting/>"), -1);
    EXPECT_EQ(xmlBufferLength(reply.get()), 0);
    EXPECT_EQ(letters(), "");

    EXPECT_EQ(
        write(
            "<set_setting action=\"deferred\"><dns><primary>1.1.1.1</primary></dns></set_setting>"),
        0);
    EXPECT_STREQ(xml::chars(xmlBufferContent(reply.get())),
                 "<set_setting action=\"deferred\"><dns/></set_setting>");
    EXPECT_EQ(letters(), "");
    EXPECT_EQ(write("<set_setting><system><serial_number>X</serial_number></system></set_setting>"),
              -9);
    EXPECT_EQ(write("<query_setting><dns/></query_setting>"), -7)
        << "only a set_setting passes the schema";
    EXPECT_EQ(write("<set_setting><dns><secondary>1.0.0.1</secondary></dns></set_setting>"), 0);
    EXPECT_EQ(letters(), "g");
    EXPECT_EQ(current("/config/dns/primary"), "1.1.1.1");
}

TEST_F(WriteDom, CommandTableReachesTheHandlers)
{
    const std::string request =
        "<rci_request><set_setting><dns><primary>1.1.1.1</primary></dns></set_setting>"
        "<query_setting><dns/></query_setting></rci_request>";
    xmlBufferPtr raw = nullptr;
    ASSERT_GT(RCI_Processing(request.data(), request.size(), &raw, "nimbo"), 0);
    xml::buffer_ptr reply(raw);
    EXPECT_STREQ(
        xml::chars(xmlBufferContent(reply.get())),
        "<rci_reply version=\"1.1\"><set_setting><dns/></set_setting><query_setting><dns>\n"
        "    <primary>1.1.1.1</primary>\n    <secondary>8.8.4.4</secondary>\n  "
        "</dns></query_setting>"
        "</rci_reply>");
}

TEST(WriteDomDeath, UnreadableLocalFileDuringRollbackEndsTheEngine)
{
    log_capture log;
    config_files files("", image_cfd);
    ASSERT_EQ(files.load(), 0) << "runs on a copy of the defaults";
    set_change_paths({.schema = image_schema.c_str(), .custom_defaults = "", .certs = ""});
    const std::string request =
        "<set_setting><system><serial_number>X</serial_number></system></set_setting>";
    xml::doc_ptr doc = xml::parse_memory(request.data(), static_cast<int>(request.size()));
    EXPECT_EXIT(write_dom(nullptr, xmlDocGetRootElement(doc.get()), "python", 1),
                ::testing::ExitedWithCode(9), "");
    set_change_paths(device_change_paths);
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
