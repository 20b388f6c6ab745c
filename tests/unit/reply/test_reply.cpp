#include "base/xml.h"
#include "reply/reply.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

using namespace std::string_literals;

namespace
{

struct reply_buffer {
    xml::buffer_ptr buf{xmlBufferCreate()};
    xmlBufferPtr get() const { return buf.get(); }
    std::string text() const { return xml::chars(xmlBufferContent(buf.get())); }
};

xml::doc_ptr parse(const std::string &text)
{
    return xml::parse_memory(text.data(), static_cast<int>(text.size()));
}

} // namespace

TEST(Reply, ErrorElementItsLeadingBracketAndItsHintCut)
{
    for (auto [before, hint, expected] : {
             std::tuple{"", "foo", "<error id=\"3\"><desc>D</desc><hint>foo</hint></error>"s},
             {"<value>12", nullptr, "<value>12><error id=\"3\"><desc>D</desc></error>"s},
             {"<set_setting>", nullptr, "<set_setting><error id=\"3\"><desc>D</desc></error>"s},
         }) {
        reply_buffer r;
        reply_append(r.get(), before);
        reply_error(r.get(), 3, "D", hint);
        EXPECT_EQ(r.text(), expected);
    }
    // The description is unbounded; the hint element, tags included, is cut at 255 characters.
    std::string desc(400, 'd');
    reply_buffer r;
    reply_error(r.get(), 7, desc.c_str(), std::string(400, 'h').c_str());
    EXPECT_EQ(r.text(), "<error id=\"7\"><desc>" + desc + "</desc><hint>" + std::string(249, 'h') +
                            "</error>");
}

TEST(Reply, AttributesAreEchoedWithoutEntityReferences)
{
    // A reply has no DTD: a reference copied from the request would make it unparsable.
    xml::doc_ptr doc =
        parse("<!DOCTYPE r [<!ENTITY e \"x'&amp;&lt;y\">]><r a=\"1&e;2\" b=\"&quot;\"/>");
    ASSERT_TRUE(doc);
    reply_buffer echoed;
    reply_empty_tag_attrs(echoed.get(), xmlDocGetRootElement(doc.get()));
    EXPECT_EQ(echoed.text(), "<r a=\"1x'&amp;&lt;y2\" b=\"&quot;\"/>");
    EXPECT_TRUE(parse(echoed.text()));
}

// Whatever bytes the system hands over, the element they end up in parses and keeps every
// character XML admits.
TEST(Reply, SystemTextAlwaysParses)
{
    const std::string cases[] = {
        "home & <away>",
        std::string("ctl\x01\x1f tab\tline\n", 16),
        "caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80",
        "broken \xc3 \xe2\x82 \xff\xfe \xed\xa0\x80 \xc0\xaf \xef\xbf\xbe",
        std::string("nul\0inside", 10),
    };
    for (const std::string &text : cases) {
        reply_buffer r;
        reply_append(r.get(), "<v>");
        reply_text(r.get(), text.data(), text.size());
        reply_append(r.get(), "</v>");
        ASSERT_TRUE(parse(r.text())) << r.text();
    }
    reply_buffer r;
    reply_text(r.get(), "a&b<c>d \xc3\xa9\x01");
    EXPECT_EQ(r.text(), "a&amp;b&lt;c&gt;d \xc3\xa9?");
}
