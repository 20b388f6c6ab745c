#include "base/xml.h"
#include "rci/rci.h"
#include "support/config_fixture.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

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
        reply_buffer reply;
        int result = RCI_Processing(text.data(), text.size() - cut, reply, request_source::local);
        outcome out{result, std::string(reply.view())};
        EXPECT_EQ(result < 0 ? size_t{0} : static_cast<size_t>(result), out.reply.size())
            << "a reply buffer comes with its length, and only then";
        return out;
    }

    log_capture quiet; // keeps the refusals out of the host's log
    config_files files{"<config><dns><primary>1.1.1.1</primary></dns></config>",
                       "<config><dns/></config>"};
};

} // namespace

TEST_F(RciProcessing, RefusedRequestsAndCommandsInOrder)
{
    for (auto [text, cut, result] :
         {std::tuple{"<rci_request/>", 0, RCI_NO_CONTENT},
          {"<rci_reply><query_setting/></rci_reply>", 0, RCI_WRONG_ROOT},
          {"<rci_request><query_setting/>", 0, RCI_NOT_WELL_FORMED},
          {"", 0, RCI_NOT_WELL_FORMED},
          {"<rci_request>\xff\xfe</rci_request>", 0, RCI_NOT_WELL_FORMED},
          // The closing tag beyond the given size does not count.
          {"<rci_request><x/></rci_request>", 3, RCI_NOT_WELL_FORMED}})
        EXPECT_EQ(process(text, cut).result, result) << text;

    std::string unknown = "<error id=\"3\"><desc>Unknown command</desc><hint>";
    std::string query = "<query_setting><dns/></query_setting>";
    std::string answer = "<query_setting><dns><primary>1.1.1.1</primary></dns></query_setting>";
    EXPECT_EQ(process("<rci_request><foo/><!-- c -->text" + query + "<Query_setting/>" + query +
                      "</rci_request>")
                  .reply,
              "<rci_reply version=\"1.1\">" + unknown + "foo</hint></error>" + answer + unknown +
                  "Query_setting</hint></error>" + answer + "</rci_reply>");
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
    EXPECT_EQ(process(open + close).result, RCI_NOT_WELL_FORMED)
        << "nesting beyond libxml2's depth limit is refused";
}
