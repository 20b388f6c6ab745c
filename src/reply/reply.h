// The helpers every RCI command writes its reply with, over the reply builder.
//
// The reply is plain text built by appending to one growable buffer: no XML declaration, no line
// breaks, no indentation. Clients compare replies byte for byte.
#pragma once

#include "reply/reply_buffer.h"

#include <cstddef>

// The most one reply_printf call appends, and the most an error's hint element takes, tags
// included.
inline constexpr size_t reply_piece_limit = 255;

// Appends the formatted text, at most reply_piece_limit bytes, a longer one cut by the cut rule.
// For markup with bounded values (numbers, names from the code's tables, formatted addresses):
// request and system text goes through reply_buffer::append_text instead.
void reply_printf(reply_buffer &reply, const char *fmt, ...) __attribute__((format(printf, 2, 3)));
// Appends <error id="N"><desc>DESC</desc>[<hint>HINT</hint>]</error>, preceded by ">" when the
// reply is not empty and does not already end in ">". Description and hint are escaped as system
// text; the hint element, tags included, takes at most reply_piece_limit bytes, its text cut by
// the cut rule. No hint (nullptr): no hint element.
void reply_error(reply_buffer &reply, int id, const char *desc, const char *hint);
// Appends <TAG> or <TAG name="NAME">.
void reply_open_tag(reply_buffer &reply, const char *tag, const char *name);
void reply_close_tag(reply_buffer &reply, const char *tag);
// Appends <NAME attr="v" …>, every attribute of the element as libxml2 serialises it.
void reply_open_tag_attrs(reply_buffer &reply, xmlNodePtr element);
// Appends <NAME attr="v" …/>.
void reply_empty_tag_attrs(reply_buffer &reply, xmlNodePtr element);
// <NAME/> for every child node of the element that is not text, in order: elements with their
// attributes, comments as <comment/>, processing instructions by their target. CDATA sections
// are left out, since their name would not parse.
void reply_empty_children(reply_buffer &reply, xmlNodePtr element);
// Appends one attribute node as libxml2 serialises it: a blank, the name, =, the quoted value.
void reply_attribute(reply_buffer &reply, xmlAttrPtr attr);
// Appends the content of the file at `path`, read in pieces of at most `piece` bytes, unchanged.
// 0 after the end of the file; a read_failure with errno when the open or a read failed (what
// was read before a failed read stays in the reply).
int append_file(reply_buffer &reply, const char *path, size_t piece);
