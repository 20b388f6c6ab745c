#include "config/merge.h"

#include "base/log.h"
#include "config/query.h"
#include "config/worklog.h"
#include "reply/reply.h"

namespace
{

struct merge_context {
    xmlDocPtr doc;
    request_source source;
    int worklog_fd;
    reply_buffer &errors;
    int error = 0;
};

bool single_text_child(xmlNodePtr node)
{
    return node->children && !node->children->next && node->children->type == XML_TEXT_NODE;
}

xmlNodePtr find_stored(xmlNodePtr request, xmlNodePtr stored)
{
    for (; stored; stored = stored->next)
        if (xml_nodes_equal(stored, request, match_mode::exact)) return stored;
    return nullptr;
}

void refuse(merge_context &merge, xmlNodePtr stored)
{
    reply_error(merge.errors, 9, "Item is not writable", xml::chars(stored->name));
    merge.error = 9;
}

// A request element with content for a stored element that has none: the content moves over.
void move_children(merge_context &merge, xmlNodePtr request, xmlNodePtr match)
{
    trace("Adding children of %s to tree.\n", xml::chars(request->name));
    worklog_append_node(merge.worklog_fd, match);
    while (xmlNodePtr child = request->children) {
        xmlAddChild(match, xmlDocCopyNode(child, merge.doc, 1));
        xmlUnlinkNode(child);
        xmlFreeNode(child);
    }
}

void replace_value(merge_context &merge, xmlNodePtr request, xmlNodePtr match)
{
    xmlNodePtr old_text = match->children, new_text = request->children;
    trace("Replacing %s with %s in %s\n", xml::chars(old_text->content),
          xml::chars(new_text->content), xml::chars(match->name));
    worklog_append_node(merge.worklog_fd, match);
    xmlReplaceNode(old_text, xmlDocCopyNode(new_text, merge.doc, 1));
    xmlFreeNode(old_text);
    xmlUnlinkNode(new_text);
    xmlFreeNode(new_text);
}

void clear_value(merge_context &merge, xmlNodePtr match)
{
    xmlNodePtr old_text = match->children;
    trace("Removing %s in %s\n", xml::chars(old_text->content), xml::chars(match->name));
    worklog_append_node(merge.worklog_fd, match);
    xmlUnlinkNode(old_text);
    xmlFreeNode(old_text);
}

bool empty_value(xmlNodePtr request)
{
    xmlNodePtr first = request->children;
    return !first || (first->type == XML_TEXT_NODE && (!first->content || !first->content[0]));
}

// Changes a writable stored element; any shape not handled here changes nothing at this level.
void change_match(merge_context &merge, xmlNodePtr request, xmlNodePtr match)
{
    if (request->children && !match->children)
        move_children(merge, request, match);
    else if (!single_text_child(match))
        return;
    else if (single_text_child(request))
        replace_value(merge, request, match);
    else if (empty_value(request))
        clear_value(merge, match);
}

// An element with no stored counterpart joins the stored parent whole.
void add_element(merge_context &merge, xmlNodePtr request, xmlNodePtr parent)
{
    if (!node_writable(parent, merge.source)) {
        refuse(merge, parent);
        return;
    }
    trace("Adding nodes %s to tree under %s\n", xml::chars(request->name),
          xml::chars(parent->name));
    worklog_append_node(merge.worklog_fd, parent);
    xmlAddChild(parent, xmlDocCopyNode(request, merge.doc, 1));
}

// Every search scans all stored siblings from the first, whatever the previous request matched.
void merge_siblings(merge_context &merge, xmlNodePtr request, xmlNodePtr parent)
{
    for (; request; request = request->next) {
        if (request->type != XML_ELEMENT_NODE) continue;
        xmlNodePtr match = find_stored(request, parent->children);
        if (!match) {
            add_element(merge, request, parent);
        } else if (!node_writable(match, merge.source)) {
            refuse(merge, match);
        } else {
            change_match(merge, request, match);
            if (request->children) merge_siblings(merge, request->children, match);
        }
    }
}

} // namespace

int merge_request(xmlNodePtr request, xmlNodePtr root, request_source source, int worklog_fd,
                  reply_buffer &errors)
{
    merge_context merge{
        .doc = root->doc, .source = source, .worklog_fd = worklog_fd, .errors = errors};
    merge_siblings(merge, request->children, root);
    return merge.error;
}
