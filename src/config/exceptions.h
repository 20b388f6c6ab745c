// Groups of the current configuration that a custom factory revert keeps.
#pragma once

#include "base/xml.h"

// A new document "<set_setting/>" whose root holds deep copies of the nodes that the exception
// names in `exceptions` (comma-separated: "ethernet", "wifi", "snmp") select in `doc`, token by
// token in the order written, and the dns group last when "ethernet" or "wifi" is named.
xml::doc_ptr collect_exceptions(xmlDocPtr doc, const char *exceptions);
// Appends deep copies of every node that `xpath` selects in `doc` to the root of `target`:
// 0, or -1 when nothing was selected.
int copy_matching_nodes(xmlDocPtr target, xmlDocPtr doc, const char *xpath);
// Replaces, for each kept node, the first group of `doc` that answers it (rci matching) by a copy
// of the kept node at the end of the root; a kept node without counterpart is appended as well.
int merge_retained(xmlDocPtr doc, xmlNodePtr retained_root);
