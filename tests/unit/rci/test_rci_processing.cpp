#include "base/xml.h"
#include "rci/rci.h"
#include "support/config_fixture.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

struct outcome {
    int result;
    std::string reply;
};

outcome process(const std::string &text, const char *source = "python")
{
    xmlBufferPtr reply = nullptr;
    int result = RCI_Processing(text.data(), text.size(), &reply, source);
    outcome out{result, reply ? xml::chars(xmlBufferContent(reply)) : ""};
    if (result < 0)
        EXPECT_EQ(reply, nullptr) << "no reply buffer is handed out with a negative result";
    else
        EXPECT_EQ(static_cast<size_t>(result), out.reply.size());
    xmlBufferFree(reply);
    return out;
}

} // namespace

TEST(RciProcessing, RequestsThatCannotBeProcessed)
{
    log_capture log;
    EXPECT_EQ(process("<rci_request/>").result, RCI_NO_CONTENT);
    EXPECT_TRUE(log.has(LOG_ERR, "No RCI sent in request.\n"));
    EXPECT_EQ(process("<rci_reply><query_setting/></rci_reply>").result, RCI_WRONG_ROOT);
    EXPECT_TRUE(log.has(LOG_ERR, "Unknown RCI type rci_reply, expecting rci_request.\n"));
    EXPECT_EQ(process("<rci_request><query_setting/>").result, RCI_NOT_WELL_FORMED);
    EXPECT_TRUE(log.has(LOG_ERR, "Unable to parse input buffer 29 chars\n"));
    EXPECT_EQ(process("").result, RCI_NOT_WELL_FORMED);
    EXPECT_EQ(process("<rci_request>\xff\xfe</rci_request>").result, RCI_NOT_WELL_FORMED);
    // Only the given size is parsed: the closing tag beyond it does not count.
    std::string text = "<rci_request><x/></rci_request>";
    xmlBufferPtr reply = nullptr;
    EXPECT_EQ(RCI_Processing(text.data(), text.size() - 3, &reply, "python"), RCI_NOT_WELL_FORMED);
}

TEST(RciProcessing, CommandsRunInOrderAndUnknownOnesAreReportedInPlace)
{
    log_capture log;
    auto white = process("<rci_request version=\"1.1\"> </rci_request>");
    EXPECT_EQ(white.reply, "<rci_reply version=\"1.1\"></rci_reply>");

    auto out = process("<rci_request><foo/><!-- c -->text<Query_setting/><foo/></rci_request>");
    EXPECT_EQ(out.reply,
              "<rci_reply version=\"1.1\">"
              "<error id=\"3\"><desc>Unknown command</desc><hint>foo</hint></error>"
              "<error id=\"3\"><desc>Unknown command</desc><hint>Query_setting</hint></error>"
              "<error id=\"3\"><desc>Unknown command</desc><hint>foo</hint></error>"
              "</rci_reply>");
    EXPECT_TRUE(log.has(LOG_ERR, "Invalid rci_command: foo\n"));
}

TEST(RciProcessing, IdenticalCommandsBothAnswer)
{
    config_files files("<config><dns><primary>1.1.1.1</primary></dns></config>",
                       "<config><dns/></config>");
    ASSERT_EQ(files.load(), 0);
    auto out = process(
        "<rci_request><query_setting><dns/></query_setting><query_setting><dns/></query_setting>"
        "</rci_request>");
    std::string one = "<query_setting><dns><primary>1.1.1.1</primary></dns></query_setting>";
    EXPECT_EQ(out.reply, "<rci_reply version=\"1.1\">" + one + one + "</rci_reply>");
}

TEST(RciProcessing, HostileDocumentsNeitherExpandNorReadFiles)
{
    scratch_dir dir;
    std::string secret = dir.write("secret", "TOPSECRET");
    config_files files("<config><dns><primary>1.1.1.1</primary></dns></config>",
                       "<config><dns/></config>");
    ASSERT_EQ(files.load(), 0);

    std::string external =
        "<?xml version=\"1.0\"?><!DOCTYPE r [<!ENTITY x SYSTEM \"file://" + secret +
        "\">]><rci_request><query_setting><dns>&x;</dns></query_setting></rci_request>";
    auto ext = process(external);
    EXPECT_EQ(ext.reply.find("TOPSECRET"), std::string::npos) << ext.reply;

    std::string laughs;
    laughs = "<?xml version=\"1.0\"?><!DOCTYPE r [<!ENTITY a \"lollollollollollol\">";
    char prev = 'a';
    for (char name = 'b'; name <= 'k'; prev = name++) {
        std::string refs;
        for (int i = 0; i < 10; ++i)
            refs += std::string("&") + prev + ";";
        laughs += std::string("<!ENTITY ") + name + " \"" + refs + "\">";
    }
    laughs += "]><rci_request><foo>&k;</foo></rci_request>";
    auto lol = process(laughs);
    EXPECT_LT(lol.reply.size(), 4096u);

    std::string deep = "<rci_request>";
    for (int i = 0; i < 5000; ++i)
        deep += "<a>";
    EXPECT_EQ(process(deep).result, RCI_NOT_WELL_FORMED);
    for (int i = 0; i < 5000; ++i)
        deep += "</a>";
    deep += "</rci_request>";
    EXPECT_EQ(process(deep).result, RCI_NOT_WELL_FORMED)
        << "nesting beyond libxml2's depth limit is refused";
}
