#include "base/xml.h"
#include "rci/reply.h"

#include <gtest/gtest.h>

#include <string>

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

// The reply after `before` and one error element.
std::string error_after(const char *before, int id, const char *desc, const char *hint)
{
    reply_buffer r;
    reply_append(r.get(), before);
    reply_error(r.get(), id, desc, hint);
    return r.text();
}

} // namespace

TEST(Reply, PrintfCutsAt255CharactersAndTrimEndKeepsItsBounds)
{
    reply_buffer r;
    std::string long_text(300, 'x');
    reply_printf(r.get(), "<%s>", long_text.c_str());
    EXPECT_EQ(r.text(), "<" + std::string(254, 'x'));
    reply_printf(r.get(), "%d", 42);
    EXPECT_EQ(r.text().size(), 257u);

    r.buf.reset(xmlBufferCreate());
    reply_append(r.get(), "<value>abc\n");
    EXPECT_EQ(reply_trim_end(r.get(), 1), 0);
    for (int bad : {-1, 11})
        EXPECT_EQ(reply_trim_end(r.get(), bad), -1) << bad;
    EXPECT_EQ(reply_trim_end(nullptr, 0), -1);
    EXPECT_EQ(r.text(), "<value>abc");
    EXPECT_EQ(reply_trim_end(r.get(), 10), 0);
    reply_append(r.get(), "x");
    EXPECT_EQ(r.text(), "x") << "a buffer trimmed to nothing takes new text";
}

TEST(Reply, ErrorElementAndItsLeadingBracket)
{
    EXPECT_EQ(error_after("", 3, "Unknown command", "foo"),
              "<error id=\"3\"><desc>Unknown command</desc><hint>foo</hint></error>");
    EXPECT_EQ(error_after("<value>12", 5, "Bad", nullptr),
              "<value>12><error id=\"5\"><desc>Bad</desc></error>");
    EXPECT_EQ(error_after("<set_setting>", 1, "Invalid", nullptr),
              "<set_setting><error id=\"1\"><desc>Invalid</desc></error>");
    // The description is unbounded; the hint element, tags included, is cut at 255 characters.
    std::string desc(400, 'd'), hint(400, 'h');
    EXPECT_EQ(error_after("", 7, desc.c_str(), hint.c_str()),
              "<error id=\"7\"><desc>" + desc + "</desc><hint>" + std::string(249, 'h') +
                  "</error>");
}

TEST(Reply, TagHelpersEchoAttributesWithoutEntityReferences)
{
    reply_buffer r;
    reply_open_tag(r.get(), "interface", "eth0");
    reply_open_tag(r.get(), "ip", nullptr);
    reply_close_tag(r.get(), "ip");
    reply_close_tag(r.get(), "interface");
    EXPECT_EQ(r.text(), "<interface name=\"eth0\"><ip></ip></interface>");

    auto doc = parse(
        "<set_setting action=\"deferred\"><tcp_serial index=\"2\" ro=\"a&amp;b\">"
        "<port>1</port></tcp_serial>text<!-- note --><![CDATA[]]><?pi x?><dns/></set_setting>");
    xmlNodePtr root = xmlDocGetRootElement(doc.get());
    reply_buffer tags;
    reply_open_tag_attrs(tags.get(), root);
    reply_empty_children(tags.get(), root);
    reply_empty_tag_attrs(tags.get(), root);
    EXPECT_EQ(tags.text(),
              "<set_setting action=\"deferred\"><tcp_serial index=\"2\" ro=\"a&amp;b\"/>"
              "<dns/><set_setting action=\"deferred\"/>");

    // A reply has no DTD: a reference copied from the request would make it unparsable.
    doc = parse("<!DOCTYPE r [<!ENTITY e \"x'&amp;&lt;y\">]><r a=\"1&e;2\" b=\"&quot;\"/>");
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
        xml::doc_ptr doc = parse(r.text());
        ASSERT_TRUE(doc) << r.text();
    }
    reply_buffer r;
    reply_text(r.get(), "a&b<c>d \xc3\xa9\x01");
    EXPECT_EQ(r.text(), "a&amp;b&lt;c&gt;d \xc3\xa9?");
}
