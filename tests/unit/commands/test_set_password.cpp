// The engine's side of the password change: the parsed request keeps no password text.
#include "base/xml.h"
#include "commands/targets.h"
#include "support/engine_channel.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

TEST(SetPassword, ThePasswordTextsOfTheRequestAreZeroBytesAfterwards)
{
    // Short texts live in the parser's dictionary, longer ones in their nodes; CDATA and nested
    // text hold passwords as well. The last current_password counts.
    const std::string request =
        "<do_command target=\"set_password\"><login>python</login>"
        "<current_password>ab</current_password><password>new<![CDATA[ pass]]><b>word</b>"
        "</password><current_password>old password</current_password></do_command>";
    xml::doc_ptr doc = xml::parse_memory(request.data(), static_cast<int>(request.size()));
    xml::buffer_ptr reply(xmlBufferCreate());
    engine_channel channel;
    std::string sent;
    std::thread parent([&] {
        sent = channel.read_message();
        channel.answer("p1");
    });
    xmlNodePtr command = xmlDocGetRootElement(doc.get());
    EXPECT_EQ(set_password_command(reply.get(), command, "set_password", "python"), 0);
    parent.join();
    EXPECT_EQ(sent, "ppython\x1eold password\x1enew password");

    std::vector<const xmlChar *> texts;
    auto collect = [&texts](xmlNodePtr node, auto &self) -> void {
        for (xmlNodePtr child = node->children; child; child = child->next) {
            if (child->type == XML_ELEMENT_NODE) self(child, self);
            if (child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE)
                texts.push_back(child->content);
        }
    };
    xmlNodePtr login = command->children;
    EXPECT_STREQ(xml::chars(login->children->content), "python");
    for (xmlNodePtr secret = login->next; secret; secret = secret->next)
        collect(secret, collect);
    // As many zero bytes as each text had characters.
    const std::string had[] = {"ab", "new", " pass", "word", "old password"};
    ASSERT_EQ(texts.size(), std::size(had));
    for (size_t i = 0; i < texts.size(); ++i)
        EXPECT_EQ(std::string(xml::chars(texts[i]), had[i].size()),
                  std::string(had[i].size(), '\0'))
            << had[i];
}
