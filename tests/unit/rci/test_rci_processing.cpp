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

class RciProcessing : public ::testing::Test
{
  protected:
    void SetUp() override { ASSERT_EQ(files.load(), 0); }

    // All but the last `cut` bytes are handed over.
    static outcome process(const std::string &text, size_t cut = 0)
    {
        xmlBufferPtr reply = nullptr;
        int result = RCI_Processing(text.data(), text.size() - cut, &reply, "python");
        outcome out{result, reply ? xml::chars(xmlBufferContent(reply)) : ""};
        EXPECT_EQ(result < 0, reply == nullptr) << "a reply buffer comes with a reply length";
        EXPECT_EQ(result < 0 ? size_t{0} : static_cast<size_t>(result), out.reply.size());
        xmlBufferFree(reply);
        return out;
    }

    log_capture log;
    config_files files{"<config><dns><primary>1.1.1.1</primary></dns></config>",
                       "<config><dns/></config>"};
};

} // namespace

TEST_F(RciProcessing, RefusedRequestsAndCommandsInOrder)
{
    EXPECT_EQ(process("<rci_request/>").result, RCI_NO_CONTENT);
    EXPECT_TRUE(log.has(LOG_ERR, "No RCI sent in request.\n"));
    EXPECT_EQ(process("<rci_reply><query_setting/></rci_reply>").result, RCI_WRONG_ROOT);
    EXPECT_TRUE(log.has(LOG_ERR, "Unknown RCI type rci_reply, expecting rci_request.\n"));
    EXPECT_EQ(process("<rci_request><query_setting/>").result, RCI_NOT_WELL_FORMED);
    EXPECT_TRUE(log.has(LOG_ERR, "Unable to parse input buffer 29 chars\n"));
    EXPECT_EQ(process("").result, RCI_NOT_WELL_FORMED);
    EXPECT_EQ(process("<rci_request>\xff\xfe</rci_request>").result, RCI_NOT_WELL_FORMED);
    EXPECT_EQ(process("<rci_request><x/></rci_request>", 3).result, RCI_NOT_WELL_FORMED)
        << "the closing tag beyond the given size does not count";

    EXPECT_EQ(process("<rci_request version=\"1.1\"> </rci_request>").reply,
              "<rci_reply version=\"1.1\"></rci_reply>");
    std::string unknown = "<error id=\"3\"><desc>Unknown command</desc><hint>";
    EXPECT_EQ(process("<rci_request><foo/><!-- c -->text<Query_setting/></rci_request>").reply,
              "<rci_reply version=\"1.1\">" + unknown + "foo</hint></error>" + unknown +
                  "Query_setting</hint></error></rci_reply>");
    EXPECT_TRUE(log.has(LOG_ERR, "Invalid rci_command: foo\n"));

    std::string query = "<query_setting><dns/></query_setting>";
    std::string answer = "<query_setting><dns><primary>1.1.1.1</primary></dns></query_setting>";
    EXPECT_EQ(process("<rci_request>" + query + query + "</rci_request>").reply,
              "<rci_reply version=\"1.1\">" + answer + answer + "</rci_reply>")
        << "identical commands both answer";
}

TEST_F(RciProcessing, HostileDocumentsNeitherExpandNorReadFiles)
{
    auto external = process(
        "<!DOCTYPE r [<!ENTITY x SYSTEM \"file://" + files.dir().write("secret", "TOPSECRET") +
        "\">]><rci_request><query_setting><dns>&x;</dns></query_setting></rci_request>");
    EXPECT_EQ(external.reply.find("TOPSECRET"), std::string::npos) << external.reply;

    std::string laughs = "<!DOCTYPE r [<!ENTITY a \"lollollollollollol\">";
    for (char name = 'b'; name <= 'k'; ++name) {
        std::string ref = std::string("&") + static_cast<char>(name - 1) + ";", refs;
        for (int i = 0; i < 10; ++i)
            refs += ref;
        laughs += std::string("<!ENTITY ") + name + " \"" + refs + "\">";
    }
    EXPECT_LT(process(laughs + "]><rci_request><foo>&k;</foo></rci_request>").reply.size(), 4096u);

    std::string open = "<rci_request>", close = "</rci_request>";
    for (int i = 0; i < 5000; ++i) {
        open += "<a>";
        close = "</a>" + close;
    }
    EXPECT_EQ(process(open).result, RCI_NOT_WELL_FORMED);
    EXPECT_EQ(process(open + close).result, RCI_NOT_WELL_FORMED)
        << "nesting beyond libxml2's depth limit is refused";
}
