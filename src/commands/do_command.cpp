#include "base/log.h"
#include "base/table.h"
#include "base/xml.h"
#include "commands/handlers.h"
#include "commands/targets.h"
#include "radio/pelk.h"
#include "reply/reply.h"

#include <array>

namespace
{

int radio_target(xmlBufferPtr reply, xmlNodePtr command, const char *target, const char *)
{
    return pelk_do_command(reply, command, target);
}

// A target that vexacsd serves itself: its exact, case-sensitive name and its function.
struct command_target {
    const char *name;
    command_target_fn run;
};

// Every name that is not here is some local client's.
constexpr std::array command_targets{
    command_target{.name = "pelk", .run = radio_target},
    command_target{.name = "zigbee", .run = radio_target},
    command_target{.name = "update", .run = firmware_update_command},
    command_target{.name = "set_password", .run = set_password_command},
};

command_target_fn find_target(const char *name, command_target_fn other_target)
{
    const command_target *row = find_named(command_targets, name);
    return row ? row->run : other_target;
}

} // namespace

// The target is written escaped and whole, so that any name the request carries leaves the reply
// well formed.
int do_command(xmlBufferPtr reply, xmlNodePtr command, const char *source,
               command_target_fn other_target)
{
    xml::text_ptr target(xmlGetProp(command, xml::uchars("target")));
    if (!target) {
        reply_append(reply, "<do_command>");
        reply_error(reply, 1, "Target missing", "target");
        reply_append(reply, "</do_command>");
        trace("\n");
        return -1;
    }
    const char *name = xml::chars(target.get());
    reply_append(reply, "<do_command target=\"");
    xmlAttrSerializeTxtContent(reply, command->doc, nullptr, target.get());
    reply_append(reply, "\">");
    trace("\nProcessing %s -", xml::chars(command->name));
    int result = find_target(name, other_target)(reply, command, name, source);
    reply_append(reply, "</do_command>");
    return result;
}

int serialise_children(xmlBufferPtr out, xmlNodePtr element)
{
    for (xmlNodePtr child = element->children; child; child = child->next)
        if (xmlNodeDump(out, element->doc, child, 0, 0) < 0) return -1;
    return 0;
}
