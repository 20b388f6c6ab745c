// Helpers that append to an RCI reply buffer.
//
// The reply is plain text built by appending to one growable buffer: no XML declaration, no line
// breaks, no indentation. The helpers escape nothing; clients compare replies byte for byte.
#pragma once

#include <libxml/tree.h>

#include <cstddef>

// Appends at most 255 formatted characters; longer output is cut there.
void reply_printf(xmlBufferPtr buf, const char *fmt, ...) __attribute__((format(printf, 2, 3)));
// Appends text of any length, unformatted.
void reply_append(xmlBufferPtr buf, const char *text);
// Appends text that comes from the system (a file, a tool's output, a library) as element
// content: "&", "<" and ">" escaped, bytes that XML does not admit (control characters other than
// tab, line feed and carriage return, broken UTF-8) replaced by "?", so any such text leaves the
// reply well formed.
void reply_text(xmlBufferPtr buf, const char *text, size_t length);
void reply_text(xmlBufferPtr buf, const char *text);
// Appends <error id="N"><desc>DESC</desc>[<hint>HINT</hint>]</error>, preceded by ">" when the
// buffer is not empty and does not already end in ">".
void reply_error(xmlBufferPtr buf, int id, const char *desc, const char *hint);
// reply_error for a hint taken from the request or the system: written as reply_text writes it,
// and cut, as reply_error cuts a hint, to 255 characters tags included, but only where a whole
// character and a whole escape end, so the element stays well formed whatever the hint held.
void reply_error_quoted(xmlBufferPtr buf, int id, const char *desc, const char *hint);
// Appends <TAG> or <TAG name="NAME">.
void reply_open_tag(xmlBufferPtr buf, const char *tag, const char *name);
void reply_close_tag(xmlBufferPtr buf, const char *tag);
// Appends <NAME attr="v" …>, every attribute of the element as libxml2 serialises it.
void reply_open_tag_attrs(xmlBufferPtr buf, xmlNodePtr element);
// Appends <NAME attr="v" …/>.
void reply_empty_tag_attrs(xmlBufferPtr buf, xmlNodePtr element);
// reply_empty_tag_attrs for every child element of the element, in order.
void reply_empty_children(xmlBufferPtr buf, xmlNodePtr element);
// Removes the last `count` characters; -1 (and no change) for no buffer, a negative count or a
// count larger than the content, else 0.
int reply_trim_end(xmlBufferPtr buf, int count);
// Appends one attribute node as libxml2 serialises it: a blank, the name, =, the quoted value.
void reply_attribute(xmlBufferPtr buf, xmlAttrPtr attr);
// Appends the content of the file at `path`, read in pieces of at most `piece` bytes, unchanged.
// 0 after the end of the file; -1 with errno when the open or a read failed (what was read before
// a failed read stays in the reply).
int append_file(xmlBufferPtr buf, const char *path, size_t piece);
