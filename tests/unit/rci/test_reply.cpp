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

} // namespace

TEST(Reply, PrintfCutsAt255Characters)
{
    reply_buffer r;
    std::string long_text(300, 'x');
    reply_printf(r.get(), "<%s>", long_text.c_str());
    EXPECT_EQ(r.text(), "<" + std::string(254, 'x'));
    reply_printf(r.get(), "%d", 42);
    EXPECT_EQ(r.text().size(), 257u);
}

TEST(Reply, ErrorElementAndItsLeadingBracket)
{
    reply_buffer empty;
    reply_error(empty.get(), 3, "Unknown command", "foo");
    EXPECT_EQ(empty.text(), "<error id=\"3\"><desc>Unknown command</desc><hint>foo</hint></error>");

    reply_buffer after_text;
    reply_append(after_text.get(), "<value>12");
    reply_error(after_text.get(), 5, "Bad", nullptr);
    EXPECT_EQ(after_text.text(), "<value>12><error id=\"5\"><desc>Bad</desc></error>");

    reply_buffer after_tag;
    reply_append(after_tag.get(), "<set_setting>");
    reply_error(after_tag.get(), 1, "Invalid source specified", nullptr);
    EXPECT_EQ(after_tag.text(),
              "<set_setting><error id=\"1\"><desc>Invalid source specified</desc></error>");

    // The description is unbounded; the hint element, tags included, is cut at 255 characters.
    reply_buffer long_parts;
    std::string desc(400, 'd'), hint(400, 'h');
    reply_error(long_parts.get(), 7, desc.c_str(), hint.c_str());
    std::string expect =
        "<error id=\"7\"><desc>" + desc + "</desc><hint>" + std::string(249, 'h') + "</error>";
    EXPECT_EQ(long_parts.text(), expect);
}

TEST(Reply, TagHelpers)
{
    reply_buffer r;
    reply_open_tag(r.get(), "interface", "eth0");
    reply_open_tag(r.get(), "ip", nullptr);
    reply_close_tag(r.get(), "ip");
    reply_close_tag(r.get(), "interface");
    EXPECT_EQ(r.text(), "<interface name=\"eth0\"><ip></ip></interface>");

    auto doc = parse("<set_setting action=\"deferred\"><tcp_serial index=\"2\" "
                     "ro=\"a&amp;b\"><port>1</port></tcp_serial>"
                     "text<!-- note --><dns/></set_setting>");
    xmlNodePtr root = xmlDocGetRootElement(doc.get());
    reply_buffer tags;
    reply_open_tag_attrs(tags.get(), root);
    reply_empty_children(tags.get(), root);
    reply_empty_tag_attrs(tags.get(), root);
    EXPECT_EQ(
        tags.text(),
        "<set_setting action=\"deferred\"><tcp_serial index=\"2\" ro=\"a&amp;b\"/><comment/><dns/>"
        "<set_setting action=\"deferred\"/>");
}

TEST(Reply, EchoedAttributesNeverCarryEntityReferences)
{
    // A reply has no DTD: a reference copied from the request would make it unparsable.
    auto doc = parse("<!DOCTYPE r [<!ENTITY e \"x'&amp;&lt;y\">]><r a=\"1&e;2\" b=\"&quot;\"/>");
    ASSERT_TRUE(doc);
    reply_buffer r;
    reply_empty_tag_attrs(r.get(), xmlDocGetRootElement(doc.get()));
    EXPECT_EQ(r.text(), "<r a=\"1x'&amp;&lt;y2\" b=\"&quot;\"/>");
    EXPECT_TRUE(parse(r.text()));
}

TEST(Reply, TrimEnd)
{
    reply_buffer r;
    reply_append(r.get(), "<value>abc\n");
    EXPECT_EQ(reply_trim_end(r.get(), 1), 0);
    EXPECT_EQ(r.text(), "<value>abc");
    EXPECT_EQ(reply_trim_end(r.get(), -1), -1);
    EXPECT_EQ(reply_trim_end(r.get(), 11), -1);
    EXPECT_EQ(r.text(), "<value>abc");
    EXPECT_EQ(reply_trim_end(r.get(), 10), 0);
    EXPECT_EQ(r.text(), "");
    EXPECT_EQ(reply_trim_end(nullptr, 0), -1);
    reply_append(r.get(), "x");
    EXPECT_EQ(r.text(), "x");
}
