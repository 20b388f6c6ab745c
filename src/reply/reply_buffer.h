// The reply builder: the one buffer every RCI command writes its output into.
//
// A reply is plain text, appended piece by piece: no XML declaration, no line breaks or
// indentation but those the commands write themselves. What goes in is either markup that the
// code composes (tags, element names of parsed documents, numbers, fixed texts), appended as it
// stands, or text from the system or a request, which goes through the one escaper. Where a text
// has a length limit it is cut by the cut rule (reply_cut), so a piece may lose its end but never
// its well-formedness.
//
// Allocation failure is sticky. Once any append could not get memory, failed() stays true, every
// later append is dropped and the content is whatever had been appended before; nothing throws.
// Whoever hands the reply on checks failed() first and answers with an error code instead of a
// partial reply (RCI_Processing returns RCI_NO_BUFFER). libxml2's own allocations made for an
// append (the serialisations below) count the same.
//
// mark() and truncate() let a command take back what it wrote: remember the size, and on a
// failure drop everything after it and write an error element in its place. truncate() leaves a
// recorded failure in place.
#pragma once

#include "base/xml.h"

#include <cstddef>
#include <string_view>

class reply_buffer
{
  public:
    reply_buffer() = default;
    ~reply_buffer();
    // Held where it is written: neither copied nor moved.
    reply_buffer(const reply_buffer &) = delete;
    reply_buffer &operator=(const reply_buffer &) = delete;

    // Markup the code composes, appended as it stands.
    void append(std::string_view markup);
    // Text from the system or a request, as element content: "&", "<" and ">" escaped, every byte
    // that XML does not admit (control characters other than tab, line feed and carriage return,
    // broken or overlong UTF-8, surrogates, U+FFFE and U+FFFF) written as "?". Quotes stay.
    void append_text(std::string_view text);
    // The same, with at most `limit` bytes of escaped text: the rest is cut by the cut rule.
    void append_text(std::string_view text, size_t limit);
    // Markup of at most `limit` bytes: a longer one is cut by the cut rule.
    void append_cut(std::string_view markup, size_t limit);

    // libxml2's serialisations, for the replies that are defined by them. An attribute value as
    // xmlAttrSerializeTxtContent writes it (doc decides whether non-ASCII characters become
    // character references); a node and its subtree as xmlNodeDump writes it, unformatted (-1 when
    // libxml2 fails).
    void append_attribute_value(xmlDocPtr doc, const xmlChar *value);
    int append_node(xmlDocPtr doc, xmlNodePtr node);
    // Text as xmlEncodeEntitiesReentrant encodes it for `doc` (configuration text, and the system
    // texts that are defined by that call): it ends at the first zero byte; "&", "<", ">" and a
    // carriage return become references; other control characters are dropped; non-ASCII
    // characters become character references unless `doc` names an encoding. Only where the
    // library would copy bytes that are not UTF-8 of a character XML admits into the reply are
    // they written as "?" instead (see the guard in reply_buffer.cpp).
    void append_encoded(xmlDocPtr doc, std::string_view text);
    void append_encoded(xmlDocPtr doc, const xmlChar *text);

    size_t mark() const { return size_; }
    // Drops everything appended after `mark` (a larger mark changes nothing).
    void truncate(size_t mark);

    bool failed() const { return failed_; }
    // Records an allocation that failed for this reply elsewhere (a scratch text built for it).
    void fail() { failed_ = true; }
    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    // The content, always followed by a zero byte (for traces); "" before the first append.
    std::string_view view() const { return {c_str(), size_}; }
    const char *c_str() const { return data_ ? data_ : ""; }

  private:
    // Room for `more` bytes and the zero byte after them; false (and failed) when there is none.
    bool reserve(size_t more);
    void add(const char *bytes, size_t count);
    // Copies what libxml2 serialised into the scratch buffer, at least `least` bytes, and empties
    // it; a shorter result means libxml2 lost bytes to a failed allocation.
    void take_scratch(size_t least);
    xmlBufferPtr scratch();

    char *data_ = nullptr;
    size_t size_ = 0;
    size_t capacity_ = 0;
    bool failed_ = false;
    xml::buffer_ptr scratch_;
};

// The cut rule: the length of the longest start of `text` that is at most `limit` bytes long and
// does not end inside a tag ("<" without its ">"), an entity or character reference ("&" without
// its ";") or a UTF-8 character. A text within the limit is kept whole. The start of markup that
// was well formed, cut there, leaves no broken tag, reference or character behind; an element it
// opened stays open, so pieces cut this way hold text or whole elements only (an error hint, a
// value), with their enclosing tags written outside the cut.
size_t reply_cut(std::string_view text, size_t limit);
