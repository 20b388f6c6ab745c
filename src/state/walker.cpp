#include "base/log.h"
#include "base/xml.h"
#include "reply/reply.h"
#include "state/state_table.h"

#include "capability.h"

namespace
{

bool capability_missing(const state_row &row)
{
    return row.capability && !capability_exists(row.capability);
}

// A request element without a name attribute selects every row of its name; one with a name
// attribute only the rows that carry no name_attr or the same one.
bool name_attr_differs(const state_row &row, xmlNodePtr request)
{
    if (!row.name_attr) return false;
    xml::text_ptr value(xmlGetProp(request, xml::uchars("name")));
    return value && xmlStrcmp(value.get(), xml::uchars(row.name_attr)) != 0;
}

// Set mode has no reply buffer: the tags go nowhere.
int serve_row(const state_row &row, reply_buffer *reply, xmlNodePtr request, state_mode mode)
{
    trace(" %s", row.name);
    bool wrap = reply && !row.self_tagged;
    if (wrap) reply_open_tag(*reply, row.name, row.name_attr);
    int result = row.provider(reply, request, mode, row.arg);
    if (wrap) reply_close_tag(*reply, row.name);
    return result;
}

} // namespace

int render_state_table(reply_buffer *reply, xmlNodePtr element, state_mode mode,
                       const state_arg &arg)
{
    int result = -1;
    trace("\nProcessing %s -", element ? xml::chars(element->name) : "ALL");
    if (!element || !element->children) {
        trace(" all -");
        for (const state_row &row : *arg.table)
            if (!capability_missing(row)) result = serve_row(row, reply, element, mode);
    } else {
        // Text and comment children name no row; only elements select.
        for (xmlNodePtr child = element->children; child; child = child->next) {
            if (child->type != XML_ELEMENT_NODE) continue;
            for (const state_row &row : *arg.table)
                if (xml::name_is(child, row.name) && !capability_missing(row) &&
                    !name_attr_differs(row, child))
                    result = serve_row(row, reply, child, mode);
        }
    }
    trace("\n");
    return result;
}
