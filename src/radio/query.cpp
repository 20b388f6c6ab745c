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

void write_field(xmlBufferPtr reply, const catalogue_row &row, const char *text, int length)
{
    if (row.type != VALUE_STRING) {
        reply_printf(reply, "    <%s>%s</%s>\n", row.name, text, row.name);
        return;
    }
    // The radio's bytes, as much of them as the text buffer kept.
    size_t shown = std::min(static_cast<size_t>(length), CATALOGUE_TEXT_SIZE - 1);
    reply_printf(reply, "    <%s>", row.name);
    reply_text(reply, text, shown);
    reply_printf(reply, "</%s>\n", row.name);
}

int query(xmlBufferPtr reply, xmlNodePtr element)
{
    radio_target target;
    if (open_radio_element(reply, element, target) < 0) return -1;
    reply_append(reply, "\n  <radio>\n");
    int result = pelk_list_fields(reply, target.node(), target.network,
                                  xml::name_is(element, "query_setting"));
    reply_append(reply, "  </radio>\n");
    return result;
}

} // namespace

int pelk_list_fields(xmlBufferPtr reply, const uint8_t *address, uint8_t network, int which)
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
        write_field(reply, sel.rows[i], text, length);
    }
    return 0;
}

int pelk_query(xmlBufferPtr reply, xmlNodePtr element)
{
    return within_element(reply, xml::chars(element->name), query, element);
}
