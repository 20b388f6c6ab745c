#include "base/xml.h"
#include "reply/reply.h"

#include <gtest/gtest.h>
#include <libxml/entities.h>

#include <string>
#include <tuple>
#include <vector>

using namespace std::string_literals;

namespace
{

xml::doc_ptr parse(std::string_view text)
{
    return xml::parse_memory(text.data(), static_cast<int>(text.size()));
}

// Keeps the library's complaints about text that is not UTF-8 off the test's output.
void quiet(void *, const char *, ...) {}

std::string repeated(const std::string &piece, size_t count)
{
    std::string out;
    for (size_t i = 0; i < count; ++i)
        out += piece;
    return out;
}

} // namespace

TEST(Reply, ErrorElementAndItsLeadingBracket)
{
    for (auto [before, hint, expected] : {
             std::tuple{"", "foo", "<error id=\"3\"><desc>D</desc><hint>foo</hint></error>"s},
             {"<value>12", nullptr, "<value>12><error id=\"3\"><desc>D</desc></error>"s},
             {"<set_setting>", nullptr, "<set_setting><error id=\"3\"><desc>D</desc></error>"s},
         }) {
        reply_buffer r;
        r.append(before);
        reply_error(r, 3, "D", hint);
        EXPECT_EQ(r.view(), expected);
    }
}

// Wherever a text is cut (a hint, a formatted piece), the cut falls before a tag, an entity or a
// character that would not fit, and the reply still parses.
TEST(Reply, CutsNeverFallInsideATagAnEntityOrACharacterOfAHintEscapedBeyondTheMinimum)
{
    EXPECT_EQ(reply_cut("ab<cd>ef", 4), 2u);
    EXPECT_EQ(reply_cut("ab<cd>ef", 6), 6u);
    EXPECT_EQ(reply_cut("a&amp;b", 4), 1u);
    EXPECT_EQ(reply_cut("a\xe2\x82\xac", 3), 1u);
    EXPECT_EQ(reply_cut("a<b&lt;", 40), 7u);

    // The hint element, tags included, takes at most 255 bytes; the description has no limit.
    const std::string desc(400, 'd');
    for (auto [hint, kept] : {
             std::tuple{std::string(400, 'h'), std::string(242, 'h')},
             {"x" + std::string(60, '&'), "x" + repeated("&amp;", 48)},
             {repeated("\xe2\x82\xac", 100), repeated("\xe2\x82\xac", 80)},
         }) {
        reply_buffer r;
        r.append("<v>");
        reply_error(r, 7, desc.c_str(), hint.c_str());
        r.append("</v>");
        EXPECT_EQ(r.view(), "<v><error id=\"7\"><desc>" + desc + "</desc><hint>" + kept +
                                "</hint></error></v>");
        EXPECT_TRUE(parse(r.view()));
    }

    // A formatted piece longer than 255 bytes keeps exactly 255 when the cut falls in text, and
    // drops a tag it would break.
    reply_buffer r;
    reply_printf(r, "%s", std::string(300, 'a').c_str());
    EXPECT_EQ(r.view(), std::string(255, 'a'));
    r.truncate(0);
    reply_printf(r, "<v>x</v><w a=\"%s\"/>", std::string(300, 'a').c_str());
    EXPECT_EQ(r.view(), "<v>x</v>");
}

TEST(Reply, AttributesAreEchoedWithoutEntityReferences)
{
    // A reply has no DTD: a reference copied from the request would make it unparsable.
    xml::doc_ptr doc =
        parse("<!DOCTYPE r [<!ENTITY e \"x'&amp;&lt;y\">]><r a=\"1&e;2\" b=\"&quot;\"/>");
    ASSERT_TRUE(doc);
    reply_buffer echoed;
    reply_empty_tag_attrs(echoed, xmlDocGetRootElement(doc.get()));
    EXPECT_EQ(echoed.view(), "<r a=\"1x'&amp;&lt;y2\" b=\"&quot;\"/>");
    EXPECT_TRUE(parse(echoed.view()));
}

// Whatever bytes the system hands over, the element they end up in parses and keeps every
// character XML admits.
TEST(Reply, BeyondTheMinimumSystemTextIsEscapedAndAlwaysParses)
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
        r.append("<v>");
        r.append_text(text);
        r.append("</v>");
        ASSERT_TRUE(parse(r.view())) << r.view();
    }
    reply_buffer r;
    r.append_text("a&b<c>d \xc3\xa9\x01");
    EXPECT_EQ(r.view(), "a&amp;b&lt;c&gt;d \xc3\xa9?");
}

// Encoded text is exactly what xmlEncodeEntitiesReentrant writes wherever that parses; where the
// library would copy bytes that are not UTF-8 (a document that names its encoding, or the rest of
// a text after the first byte it could not decode) the reply still parses.
TEST(Reply, EncodedTextIsTheLibrarysExceptWhereItWouldNotParse)
{
    xml::doc_ptr plain = parse("<r/>");
    xml::doc_ptr declared = parse("<?xml version=\"1.0\" encoding=\"UTF-8\"?><r/>");
    const std::string text("a&<>\r\x01\t caf\xc3\xa9\0ignored", 20);
    reply_buffer r;
    r.append_encoded(plain.get(), text);
    EXPECT_EQ(r.view(), "a&amp;&lt;&gt;&#13;\t caf&#xE9;");
    r.truncate(0);
    r.append_encoded(declared.get(), text);
    EXPECT_EQ(r.view(), "a&amp;&lt;&gt;&#13;\t caf\xc3\xa9");

    // Every text of up to three bytes from these, in a document of each kind and in none.
    const std::string bytes("a<\r\x01\x80\xa9\xbf\xc0\xc3\xe2\xed\xf0\xf4\xf8\xff", 15);
    std::vector<std::string> texts{""};
    for (size_t i = 0; i < texts.size(); ++i)
        if (texts[i].size() < 3)
            for (char b : bytes)
                texts.push_back(texts[i] + b);
    xmlSetGenericErrorFunc(nullptr, quiet);
    const char *declarations[] = {"", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>", nullptr};
    for (const char *declaration : declarations) {
        // The library names an encoding in the document it is given: each call gets its own.
        auto fresh = [declaration] { return declaration ? parse(declaration + "<r/>"s) : nullptr; };
        for (const std::string &t : texts) {
            xml::doc_ptr mine = fresh(), library = fresh();
            reply_buffer out;
            out.append_encoded(mine.get(), t);
            xml::text_ptr encoded(xmlEncodeEntitiesReentrant(library.get(), xml::uchars(t.c_str())));
            const std::string expected = xml::chars(encoded.get());
            ASSERT_TRUE(parse("<v>" + std::string(out.view()) + "</v>"))
                << testing::PrintToString(t) << " gives " << out.view();
            if (parse("<v>" + expected + "</v>")) {
                EXPECT_EQ(out.view(), expected) << testing::PrintToString(t);
            }
        }
    }
    xmlSetGenericErrorFunc(nullptr, nullptr);
}
