// query_setting and query_state of a radio, and the field listing they share with zigbee_state.
#include "base/xml.h"
#include "radio/attributes.h"
#include "radio/catalogue.h"
#include "radio/errors.h"
#include "radio/subcommands.h"
#include "reply/reply.h"

#include <cstdio>

namespace
{

// A string value is the radio's bytes up to the first zero byte, as much of them as the text
// buffer kept.
void write_field(xmlDocPtr doc, reply_buffer &reply, const catalogue_row &row, const char *text)
{
    if (row.type != VALUE_STRING) {
        reply_printf(reply, "    <%s>%s</%s>\n", row.name, text, row.name);
        return;
    }
    reply_printf(reply, "    <%s>", row.name);
    reply.append_encoded(doc, text);
    reply_printf(reply, "</%s>\n", row.name);
}

int query(reply_buffer &reply, xmlNodePtr element)
{
    pelk_node target;
    if (open_radio_element(reply, element, target) < 0) return -1;
    reply.append("\n  <radio>\n");
    int result =
        pelk_list_fields(element->doc, reply, target.node(), target.network,
                         xml::name_is(element, "query_setting") ? catalogue_choice::settings
                                                                : catalogue_choice::state);
    reply.append("  </radio>\n");
    return result;
}

} // namespace

int pelk_list_fields(xmlDocPtr doc, reply_buffer &reply, const uint8_t *address, uint8_t network,
                     catalogue_choice which)
{
    catalogue_selector sel;
    if (catalogue_select(sel, address, network, which) < 0) {
        pelk_error(reply, PELK_LOAD_ERROR, "Pelk not available");
        return -1;
    }
    for (size_t i = 0; i < sel.rows.size(); ++i) {
        char text[CATALOGUE_TEXT_SIZE];
        int length = catalogue_read_text(sel, i, network, text, sizeof text);
        if (length == CATALOGUE_NOT_ON_RADIO) continue;
        if (length < 0) {
            std::snprintf(text, sizeof text, "Could not retrieve field '%s'", sel.rows[i].name);
            pelk_error(reply, PELK_LOAD_ERROR, text);
            return -1;
        }
        write_field(doc, reply, sel.rows[i], text);
    }
    return 0;
}

int pelk_query(reply_buffer &reply, xmlNodePtr element)
{
    return within_element(reply, xml::chars(element->name), query, element);
}
