// The state table walker with rows of its own: which rows a request element selects, in what order,
// and which it leaves out for a capability the product lacks.
#include "base/xml.h"
#include "reply/reply.h"
#include "state/state_table.h"
#include "support/scratch_dir.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>

namespace
{

// Writes the row's argument text, so the reply shows which row ran with which request element.
int show(reply_buffer *reply, xmlNodePtr element, state_mode, const state_arg &arg)
{
    reply_printf(*reply, "%s@%s", arg.text, xml::chars(element->name));
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

} // namespace

TEST(Walker, RequestElementsSelectRowsInTheirOrderAndCapabilitiesTheProductHas)
{
    scratch_dir dir;
    dir.write("capabilities", "wifi\n");
    setenv("VEXA_SIM_DATA", dir.path().c_str(), 1);
    const struct {
        const char *request, *shown;
        int result; // the last provider's, or -1 when no row matched
    } walks[] = {
        {"<q/>", "<a>a1@q</a><if name=\"eth0\">eth@q</if><if name=\"wlan0\">wl@q</if>own@q", 7},
        {"<q><own/><a/><a/></q>", "own@own<a>a1@a</a><a>a1@a</a>", 0},
        {"<q><if/></q>", "<if name=\"eth0\">eth@if</if><if name=\"wlan0\">wl@if</if>", 0},
        {"<q><if name=\"wlan0\" index=\"3\"/></q>", "<if name=\"wlan0\">wl@if</if>", 0},
        {"<q><if name=\"eth1\"/></q>", "", -1},
        {"<q> </q>", "", -1},
        {"<q><!--a--><nosuch/><gone/><A/></q>", "", -1},
    };
    for (const auto &w : walks) {
        xml::doc_ptr doc = xml::parse_memory(w.request, static_cast<int>(std::strlen(w.request)));
        reply_buffer reply;
        EXPECT_EQ(render_state_table(&reply, xmlDocGetRootElement(doc.get()), STATE_QUERY,
                                     {.table = &table}),
                  w.result)
            << w.request;
        EXPECT_EQ(reply.view(), w.shown) << w.request;
    }
    unsetenv("VEXA_SIM_DATA");
}
