// set_setting of a radio: every field of the radio group is written (queued in the radio), and
// only when all writes succeeded are they committed.
#include "base/xml.h"
#include "radio/attributes.h"
#include "radio/catalogue.h"
#include "radio/errors.h"
#include "radio/subcommands.h"
#include "reply/reply.h"

namespace
{

// The group element: the first element child, or, when there is none, the last child of any
// kind (whose name then names no group).
xmlNodePtr group_of(xmlNodePtr element)
{
    for (xmlNodePtr child = element->children; child; child = child->next)
        if (child->type == XML_ELEMENT_NODE) return child;
    return element->last;
}

int error_of(int outcome)
{
    switch (outcome) {
    case CATALOGUE_NO_FIELD:
        return PELK_NO_SUCH_FIELD;
    case CATALOGUE_INVALID:
    case CATALOGUE_OUT_OF_RANGE:
        return PELK_INVALID_VALUE;
    case CATALOGUE_NOT_ON_RADIO:
        return PELK_NOT_SUPPORTED;
    default:
        return PELK_SAVE_ERROR;
    }
}

// Writes the group's fields in request order and commits them; the outcome of the first failure
// or of the commit. `tried` is the name of the last field written.
int write_group(const catalogue_selector &sel, uint8_t network, xmlNodePtr group,
                const char **tried)
{
    for (xmlNodePtr field = group->children; field; field = field->next) {
        if (field->type != XML_ELEMENT_NODE) continue;
        *tried = xml::chars(field->name);
        xml::text_ptr content(xmlNodeGetContent(field));
        int result =
            catalogue_set_field(sel, *tried, network, content ? xml::chars(content.get()) : "", -1);
        if (result < 0) return result;
    }
    return catalogue_commit(sel, network);
}

int set_group(reply_buffer &reply, const pelk_node &target, xmlNodePtr group)
{
    catalogue_selector sel;
    if (catalogue_select(sel, target.node(), target.network, catalogue_choice::settings) < 0) {
        pelk_error(reply, PELK_SAVE_ERROR, "Pelk not available");
        return -1;
    }
    const char *tried = nullptr;
    int outcome = write_group(sel, target.network, group, &tried);
    if (outcome >= 0) return 0;
    pelk_error(reply, error_of(outcome), tried);
    return -1;
}

int set_setting(reply_buffer &reply, xmlNodePtr element)
{
    pelk_node target;
    if (open_radio_element(reply, element, target) < 0) return -1;
    xmlNodePtr group = group_of(element);
    if (!group) return 0; // nothing to write
    if (!xml::name_is(group, "radio")) {
        pelk_error(reply, PELK_UNKNOWN_GROUP, xml::chars(group->name));
        return -1;
    }
    reply.append("<radio>");
    int result = set_group(reply, target, group);
    reply.append("</radio>");
    return result;
}

} // namespace

int pelk_set_setting(reply_buffer &reply, xmlNodePtr element)
{
    return within_element(reply, "set_setting", set_setting, element);
}
