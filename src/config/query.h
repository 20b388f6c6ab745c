// Setting queries and the element matching and access rules that every configuration command
// shares.
#pragma once

#include "base/xml.h"
#include "reply/reply_buffer.h"

// Access tests on the `ro` and `wo` attributes of stored elements. A source is listed when its
// name occurs anywhere in the attribute's text.
int node_writable(xmlNodePtr node, const char *source);
int node_readable(xmlNodePtr node, const char *source);

int has_index_or_name(xmlNodePtr element);
int has_element_child(xmlNodePtr node);

// 1 when the stored node answers the request node. rci_mode 1 (queries, exception merge) lets
// index="1" stand for a group stored without index or name; 0 is the plain set_setting match.
int xml_nodes_equal(xmlNodePtr stored, xmlNodePtr request, int rci_mode);

// The text of an attribute, or nullptr when the element lacks it or it has no text.
const xmlChar *attr_text(const xmlNode *element, const char *name);

// Appends the XML text of a stored node and its subtree with the access rules of `source`.
void render_node(reply_buffer &buf, xmlNodePtr node, const char *source);

// Answers query_setting: appends the whole query_setting element for `request` (nullptr: the
// whole configuration) to `reply`. 0, or -1 with nothing appended when the document the request
// names is unknown, missing or empty.
int read_dom(reply_buffer &reply, xmlNodePtr request, const char *source);
