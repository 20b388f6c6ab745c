// The engine's side of the password change: the parsed request keeps no password text.
#include "base/xml.h"
#include "commands/targets.h"
#include "support/engine_channel.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>

TEST(SetPassword, ThePasswordTextsOfTheRequestAreZeroBytesAfterwards)
{
    // Short texts live in the parser's dictionary, longer ones in their nodes; CDATA and nested
    // text hold passwords as well. The last current_password counts.
    const std::string request =
        "<do_command target=\"set_password\"><login>python</login>"
        "<current_password>ab</current_password><password>new<![CDATA[ pass]]><b>word</b>"
        "</password><current_password>old password</current_password></do_command>";
    xml::doc_ptr doc = xml::parse_memory(request.data(), static_cast<int>(request.size()));
    reply_buffer reply;
    engine_channel channel;
    std::string sent;
    std::thread parent([&] {
        sent = channel.read_message();
        channel.answer("p1");
    });
    xmlNodePtr command = xmlDocGetRootElement(doc.get());
    EXPECT_EQ(set_password_command(reply, command, "set_password", request_source::local), 0);
    parent.join();
    EXPECT_EQ(sent, "ppython\x1eold password\x1enew password");

    // Each text after the login, in document order: as many zero bytes as it had characters.
    xmlNodePtr first = command->children->next;
    xmlNodePtr password = first->next;
    xmlNodePtr cdata = password->children->next;
    const std::pair<xmlNodePtr, std::string> had[] = {
        {first->children, "ab"},
        {password->children, "new"},
        {cdata, " pass"},
        {cdata->next->children, "word"},
        {password->next->children, "old password"},
    };
    EXPECT_STREQ(xml::chars(command->children->children->content), "python");
    for (const auto &[text, was] : had)
        EXPECT_EQ(std::string(xml::chars(text->content), was.size()), std::string(was.size(), '\0'))
            << was;
}
