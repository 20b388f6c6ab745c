#include "base/xml.h"
#include "radio/attributes.h"
#include "radio/errors.h"
#include "radio/pelk.h"
#include "radio/subcommands.h"
#include "reply/reply.h"

#include <strings.h>

namespace
{

bool cached(xmlNodePtr element)
{
    xml::text_ptr value = attribute(element, "cached");
    return value && strncasecmp(xml::chars(value.get()), "true", 4) == 0;
}

void write_state(reply_buffer &reply, xmlNodePtr element, const radio_gateway_info &info)
{
    network_choice network = read_network_index(element);
    reply.append("<zigbee_state");
    network.echo(reply);
    reply.append(">\n");
    if (!network.usable()) {
        pelk_error(reply, PELK_INVALID_PARAMETER, "network_index");
    } else {
        char address[RADIO_ADDRESS_TEXT_SIZE + 1];
        radio_format_address(info.address, address, sizeof address);
        reply_printf(reply, "    <gateway_addr>%s</gateway_addr>\n    <caps>0x%x</caps>\n", address,
                     info.caps);
        if (!cached(element))
            pelk_list_fields(element->doc, reply, nullptr, network.index, catalogue_choice::state);
    }
    reply.append("</zigbee_state>");
}

} // namespace

int zigbee_state(reply_buffer *reply, xmlNodePtr element)
{
    radio_gateway_info info{};
    if (radio_get_gateway_info(&info) < 0) return -1;
    if (reply) write_state(*reply, element, info);
    return 0;
}
