#include "radio/attributes.h"

#include "radio/codec.h"
#include "radio/errors.h"
#include "reply/reply.h"

#include <libpelk.h>

xml::text_ptr attribute(xmlNodePtr element, const char *name)
{
    return xml::text_ptr(xmlGetProp(element, xml::uchars(name)));
}

void echo_attribute(reply_buffer &reply, const char *name, const xmlChar *value)
{
    reply.append(" ");
    reply.append(name);
    reply.append("=\"");
    reply.append_attribute_value(nullptr, value);
    reply.append("\"");
}

bool network_choice::usable() const
{
    return index == 0 || (index == 1 && radio_dual_mode_enabled());
}

void network_choice::echo(reply_buffer &reply) const
{
    if (index != 0) echo_attribute(reply, "network_index", text.get());
}

network_choice read_network_index(xmlNodePtr element)
{
    network_choice choice{.text = attribute(element, "network_index")};
    choice.index = parse_network_index(xml::chars(choice.text.get()));
    return choice;
}

int read_node_address(xmlNodePtr element, const char *name, uint8_t address[8])
{
    xml::text_ptr text = attribute(element, name);
    if (!text) return 0;
    return parse_node_address(xml::chars(text.get()), address) ? 1 : -1;
}

int close_with_network(reply_buffer &reply, xmlNodePtr element)
{
    network_choice network = read_network_index(element);
    network.echo(reply);
    reply.append(">");
    if (network.usable()) return network.index;
    pelk_error(reply, PELK_INVALID_PARAMETER, "network_index");
    return -1;
}

int open_radio_element(reply_buffer &reply, xmlNodePtr element, pelk_node &target)
{
    if (xml::text_ptr addr = attribute(element, "addr")) {
        echo_attribute(reply, "addr", addr.get());
        if (!parse_node_address(xml::chars(addr.get()), target.address)) {
            pelk_error(reply, PELK_INVALID_PARAMETER, "addr");
            return -1;
        }
        target.remote = true;
    }
    int network = close_with_network(reply, element);
    if (network < 0) return -1;
    target.network = static_cast<uint8_t>(network);
    return 0;
}
