#include "base/table.h"
#include "base/xml.h"
#include "radio/errors.h"
#include "radio/pelk.h"
#include "radio/subcommands.h"
#include "reply/reply.h"

#include <array>

namespace
{

// A radio subcommand: the element name that selects it and its handler.
struct pelk_subcommand {
    const char *name;
    pelk_handler handler;
};

// In lookup order; a new subcommand is one row here and one handler.
constexpr std::array pelk_subcommands{
    pelk_subcommand{.name = "discover", .handler = pelk_discover},
    pelk_subcommand{.name = "fw_update", .handler = pelk_fw_update},
    pelk_subcommand{.name = "get_lqi", .handler = pelk_get_lqi},
    pelk_subcommand{.name = "radio_command", .handler = pelk_radio_command},
    pelk_subcommand{.name = "query_setting", .handler = pelk_query},
    pelk_subcommand{.name = "query_state", .handler = pelk_query},
    pelk_subcommand{.name = "set_factory_default", .handler = pelk_factory_default},
    pelk_subcommand{.name = "set_setting", .handler = pelk_set_setting},
};

void run_subcommand(xmlBufferPtr reply, xmlNodePtr element)
{
    if (const pelk_subcommand *row = find_named(pelk_subcommands, xml::chars(element->name))) {
        row->handler(reply, element);
        return;
    }
    pelk_error(reply, PELK_UNKNOWN_SUBCOMMAND, xml::chars(element->name));
}

} // namespace

int within_element(xmlBufferPtr reply, const char *tag, pelk_handler body, xmlNodePtr element)
{
    reply_printf(reply, "<%s", tag);
    int result = body(reply, element);
    reply_printf(reply, "</%s>", tag);
    return result;
}

int pelk_do_command(xmlBufferPtr reply, xmlNodePtr command, const char *)
{
    for (xmlNodePtr child = command->children; child; child = child->next)
        if (child->type == XML_ELEMENT_NODE) run_subcommand(reply, child);
    return 0;
}
