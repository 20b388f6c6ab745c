// Setting queries and the element matching and access rules that every configuration command
// shares.
#pragma once

#include "base/xml.h"
#include "reply/reply_buffer.h"
#include "reply/request_source.h"

// Access tests on the `ro` and `wo` attributes of stored elements. A source is listed when its
// name occurs anywhere in the attribute's text.
int node_writable(xmlNodePtr node, request_source source);
int node_readable(xmlNodePtr node, request_source source);

int has_index_or_name(xmlNodePtr element);
int has_element_child(xmlNodePtr node);

// How a request element finds its stored element: set_setting matches exactly; queries and the
// exception merge of a factory revert also let index="1" stand for a group stored without index
// or name.
enum class match_mode { exact, first_instance };

// 1 when the stored node answers the request node.
int xml_nodes_equal(xmlNodePtr stored, xmlNodePtr request, match_mode mode);

// The text of an attribute, or nullptr when the element lacks it or it has no text.
const xmlChar *attr_text(const xmlNode *element, const char *name);

// Appends the XML text of a stored node and its subtree with the access rules of `source`.
void render_node(reply_buffer &buf, xmlNodePtr node, request_source source);

// Answers query_setting: appends the whole query_setting element for `request` (nullptr: the
// whole configuration) to `reply`. 0, or -1 with nothing appended when the document the request
// names is unknown, missing or empty.
int read_dom(reply_buffer &reply, xmlNodePtr request, request_source source);
