// The engine's side of the password change: the checks before the parent is asked, the message
// it gets, what its answer makes of the reply, and the request's password texts wiped.
#include "base/xml.h"
#include "commands/targets.h"
#include "support/engine_channel.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace
{

struct change_result {
    std::string output; // what set_password_command wrote
    std::string sent;   // the message the parent received, "" for none
};

// Runs the command over `children`; a parent that receives a message answers with `answer`.
change_result change(const std::string &children, const char *answer = "p1",
                     xml::doc_ptr *keep = nullptr)
{
    engine_channel channel;
    std::string request = "<do_command target=\"set_password\">" + children + "</do_command>";
    xml::doc_ptr doc = xml::parse_memory(request.data(), static_cast<int>(request.size()));
    xml::buffer_ptr reply(xmlBufferCreate());
    change_result result;
    std::thread parent([&] {
        result.sent = channel.read_message();
        if (!result.sent.empty()) channel.answer(answer);
    });
    set_password_command(reply.get(), xmlDocGetRootElement(doc.get()), "set_password", "python");
    close(channel.to_parent[1]);
    channel.to_parent[1] = -1;
    parent.join();
    result.output = xml::chars(xmlBufferContent(reply.get()));
    if (keep) *keep = std::move(doc);
    return result;
}

std::string error(int id, const std::string &desc, const std::string &hint)
{
    return "<error id=\"" + std::to_string(id) + "\"><desc>" + desc + "</desc><hint>" + hint +
           "</hint></error>";
}

std::string elements(const std::string &login, const std::string &current,
                     const std::string &password)
{
    return "<login>" + login + "</login><current_password>" + current +
           "</current_password><password>" + password + "</password>";
}

} // namespace

TEST(SetPassword, ChecksRunInOrderAndOnlyARequestThatPassesReachesTheParent)
{
    struct case_row {
        std::string children;
        std::string output;
    };
    const case_row rows[] = {
        {"<password>1234567</password>", error(5, "Missing parameter", "login")},
        {"<login>python</login><current_password>x</current_password>",
         error(5, "Missing parameter", "password")},
        {"<login>python</login><password>12345678</password>",
         error(5, "Missing parameter", "current_password")},
        {elements("python", "x", "1234567"),
         error(6, "Password too short (eight character minimum)", "password")},
        {elements("python", "x", "\xc3\xa9\xc3\xa9\xc3\xa9\xc3\xa9"),
         error(6, "Password too short (eight character minimum)", "password")},
        {elements("python", "current!!", std::string(63, 'n')),
         error(6, "Invalid parameter", "login/password")},
    };
    for (const case_row &row : rows) {
        change_result result = change(row.children);
        EXPECT_EQ(result.output, row.output) << row.children;
        EXPECT_EQ(result.sent, "") << row.children;
    }
    // 79 bytes go out whole; the last of repeated elements counts.
    change_result longest =
        change("<login>admin</login>" + elements("python", "current!!", std::string(62, 'n')));
    EXPECT_EQ(longest.output, "");
    EXPECT_EQ(longest.sent, "ppython\x1e"
                            "current!!\x1e" +
                                std::string(62, 'n'));
}

TEST(SetPassword, OnlyTheParentsOwnLetterAndDoneMeanChanged)
{
    const std::string request = elements("python", "old", "new password");
    const std::string failed = error(4, "Update failed", "password");
    EXPECT_EQ(change(request, "p1").output, "");
    for (const char *answer : {"p0", "u1", "1p"})
        EXPECT_EQ(change(request, answer).output, failed) << answer;
}

TEST(SetPassword, ThePasswordTextsOfTheRequestAreZeroBytesAfterwards)
{
    // Short texts live in the parser's dictionary, longer ones in their nodes; CDATA and nested
    // text hold passwords as well.
    xml::doc_ptr doc;
    change_result result = change("<login>python</login><current_password>ab</current_password>"
                                  "<password>new<![CDATA[ pass]]><b>word</b></password>"
                                  "<current_password>old password</current_password>",
                                  "p1", &doc);
    EXPECT_EQ(result.sent, "ppython\x1eold password\x1enew password");
    std::vector<const xmlChar *> texts;
    auto collect = [&texts](xmlNodePtr node, auto &self) -> void {
        for (xmlNodePtr child = node->children; child; child = child->next) {
            if (child->type == XML_ELEMENT_NODE) self(child, self);
            if (child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE)
                texts.push_back(child->content);
        }
    };
    xmlNodePtr login = xmlDocGetRootElement(doc.get())->children;
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
