// do_command's routing by exact target name, and what forwarding to a client makes of its
// answers and failures.
#include "base/xml.h"
#include "rci/rci.h"
#include "rci/registry.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace
{

// What the last forward received, as "name:payload".
std::string forwarded;

forward_reply answer_ok(const char *name, const char *payload, size_t length, msgbus_peer)
{
    forwarded = std::string(name) + ":" + std::string(payload, length);
    return forward_reply(strdup("<ok/>"));
}

forward_reply time_out(const char *, const char *, size_t, msgbus_peer)
{
    errno = ETIMEDOUT;
    return nullptr;
}

forward_reply hang_up(const char *, const char *, size_t, msgbus_peer)
{
    errno = ENOTCONN;
    return nullptr;
}

std::string reply_to(const std::string &commands)
{
    std::string request = "<rci_request>" + commands + "</rci_request>";
    xmlBufferPtr buf = nullptr;
    if (RCI_Processing(request.data(), request.size(), &buf, "python") < 0) return "(no reply)";
    xml::buffer_ptr owner(buf);
    return xml::chars(xmlBufferContent(buf));
}

std::string inside_reply(const std::string &output)
{
    return "<rci_reply version=\"1.1\">" + output + "</rci_reply>";
}

std::string error(const std::string &target, int id, const std::string &desc)
{
    return "<do_command target=\"" + target + "\"><error id=\"" + std::to_string(id) + "\"><desc>" +
           desc + "</desc><hint>" + target + "</hint></error></do_command>";
}

struct registered_clients : ::testing::Test {
    void SetUp() override
    {
        registry_init();
        forwarded.clear();
        // Clients that claim the built-in names are never asked.
        for (const char *name : {"myapp", "Update", "update", "set_password", "pelk"})
            registry_add(name, answer_ok, 1);
        registry_add("slow", time_out, 2);
        registry_add("gone", hang_up, 3);
    }
    void TearDown() override { registry_init(); }
};

} // namespace

TEST_F(registered_clients, NamesAreMatchedExactlyAndOnlyUnknownOnesAreForwarded)
{
    EXPECT_EQ(reply_to("<do_command target=\"myapp\"><x a=\"1\">t<!--c--></x><y/></do_command>"),
              inside_reply("<do_command target=\"myapp\"><ok/></do_command>"));
    EXPECT_EQ(forwarded, "myapp:<x a=\"1\">t<!--c--></x><y/>");
    EXPECT_EQ(reply_to("<do_command target=\"Update\"/>"),
              inside_reply("<do_command target=\"Update\"><ok/></do_command>"));
    for (const char *builtin : {"update", "set_password", "pelk"}) {
        forwarded.clear();
        std::string reply = reply_to("<do_command target=\"" + std::string(builtin) + "\"/>");
        EXPECT_EQ(forwarded, "") << builtin;
        EXPECT_EQ(reply.find("<ok/>"), std::string::npos) << reply;
    }
}

TEST_F(registered_clients, FailedForwardsAreErrorsAndLaterCommandsStillRun)
{
    EXPECT_EQ(reply_to("<do_command target=\"slow\"/><do_command target=\"gone\"/>"
                       "<do_command target=\"nosuch\"/><do_command/>"),
              inside_reply(error("slow", 3, "Timeout waiting for response") +
                           error("gone", 2, "Name not registered") +
                           error("nosuch", 2, "Name not registered") +
                           "<do_command><error id=\"1\"><desc>Target missing</desc><hint>target"
                           "</hint></error></do_command>"));
}

TEST_F(registered_clients, AnyTargetNameLeavesTheReplyWellFormed)
{
    const std::string long_name(300, 'n');
    for (const std::string &target : {std::string("a&quot;&lt;&amp;&#10;b"), long_name}) {
        std::string reply = reply_to("<do_command target=\"" + target + "\"/>");
        xml::doc_ptr parsed = xml::parse_memory(reply.data(), static_cast<int>(reply.size()));
        ASSERT_TRUE(parsed) << reply;
        xmlNodePtr command = xmlDocGetRootElement(parsed.get())->children;
        xml::text_ptr written(xmlGetProp(command, xml::uchars("target")));
        xml::text_ptr hint(xmlNodeGetContent(command->children->children->next));
        EXPECT_STREQ(xml::chars(written.get()), xml::chars(hint.get()));
        EXPECT_EQ(std::strlen(xml::chars(written.get())), target == long_name ? 300u : 6u);
    }
}
