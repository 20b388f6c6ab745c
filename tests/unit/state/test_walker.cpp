// The state table walker with rows of its own: which rows a request element selects, in what order,
// and which it leaves out for a capability the product lacks.
#include "base/xml.h"
#include "rci/reply.h"
#include "state/state_table.h"
#include "support/config_fixture.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <string>

namespace
{

// Writes the row's argument text, so the reply shows which row ran with which request element.
int show(xmlBufferPtr reply, xmlNodePtr element, int, const state_arg &arg)
{
    reply_printf(reply, "%s@%s", arg.text, xml::chars(element->name));
    return arg.selector;
}

constexpr std::array rows{
    state_row{.name = "a", .provider = show, .arg = {.text = "a1"}},
    state_row{.name = "if", .provider = show, .arg = {.text = "eth"}, .name_attr = "eth0"},
    state_row{.name = "if",
              .provider = show,
              .arg = {.text = "wl"},
              .name_attr = "wlan0",
              .capability = "wifi"},
    state_row{.name = "own",
              .provider = show,
              .arg = {.text = "own", .selector = 7},
              .self_tagged = true},
    state_row{.name = "gone", .provider = show, .arg = {.text = "x"}, .capability = "absent"},
};
const state_table table{rows};

class Walker : public ::testing::Test
{
  protected:
    void SetUp() override
    {
        dir.write("capabilities", "wifi\n");
        setenv("VEXA_SIM_DATA", dir.path().c_str(), 1);
    }
    void TearDown() override { unsetenv("VEXA_SIM_DATA"); }

    // The walker's output for the query element `text`, and its result.
    std::string walk(const std::string &text, int *result = nullptr)
    {
        xml::doc_ptr doc = xml::parse_memory(text.data(), static_cast<int>(text.size()));
        xml::buffer_ptr reply(xmlBufferCreate());
        int r = render_state_table(reply.get(), xmlDocGetRootElement(doc.get()), STATE_QUERY,
                                   {.table = &table});
        if (result) *result = r;
        return xml::chars(xmlBufferContent(reply.get()));
    }

    scratch_dir dir;
};

} // namespace

TEST_F(Walker, AnEmptyElementSelectsEveryRowWhoseCapabilityExists)
{
    int result = -1;
    EXPECT_EQ(walk("<q/>", &result), "<a>a1@q</a><if name=\"eth0\">eth@q</if>"
                                     "<if name=\"wlan0\">wl@q</if>own@q");
    EXPECT_EQ(result, 7) << "the last provider's result";
}

TEST_F(Walker, ChildElementsSelectRowsInRequestOrder)
{
    EXPECT_EQ(walk("<q><own/><a/><a/></q>"), "own@own<a>a1@a</a><a>a1@a</a>");
    EXPECT_EQ(walk("<q><if/></q>"), "<if name=\"eth0\">eth@if</if><if name=\"wlan0\">wl@if</if>");
    EXPECT_EQ(walk("<q><if name=\"wlan0\" index=\"3\"/></q>"), "<if name=\"wlan0\">wl@if</if>");
    int result = 0;
    for (const char *none :
         {"<q><if name=\"eth1\"/></q>", "<q> </q>", "<q><!--a--><nosuch/><gone/><A/></q>"}) {
        EXPECT_EQ(walk(none, &result), "") << none;
        EXPECT_EQ(result, -1) << none;
    }
}
