#include "base/log.h"
#include "base/table.h"
#include "base/xml.h"
#include "commands/handlers.h"
#include "commands/targets.h"
#include "radio/pelk.h"
#include "reply/reply.h"

#include <array>
#include <string_view>

namespace
{

int pelk_target(reply_buffer &reply, xmlNodePtr command, const char *target, rci_source)
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
    command_target{.name = "pelk", .run = pelk_target},
    command_target{.name = "zigbee", .run = pelk_target},
    command_target{.name = "update", .run = firmware_update_command},
    command_target{.name = "set_password", .run = set_password_command},
};

command_target_fn find_target(const char *name, command_target_fn other_target)
{
    const command_target *row = find_named(command_targets, name);
    return row ? row->run : other_target;
}

// The target as the client wrote it (non-ASCII text and tabs included) with only "&", "<", ">"
// and the quote escaped, whole: any name the request carries leaves the reply well formed. A
// parsed name holds nothing else that XML would not admit.
void echo_target(reply_buffer &reply, std::string_view target)
{
    for (size_t quote; (quote = target.find('"')) != std::string_view::npos;) {
        reply.append_text(target.substr(0, quote));
        reply.append("&quot;");
        target.remove_prefix(quote + 1);
    }
    reply.append_text(target);
}

} // namespace

int do_command(reply_buffer &reply, xmlNodePtr command, rci_source source,
               command_target_fn other_target)
{
    xml::text_ptr target(xmlGetProp(command, xml::uchars("target")));
    if (!target) {
        reply.append("<do_command>");
        reply_error(reply, 1, "Target missing", "target");
        reply.append("</do_command>");
        trace("\n");
        return -1;
    }
    const char *name = xml::chars(target.get());
    reply.append("<do_command target=\"");
    echo_target(reply, name);
    reply.append("\">");
    trace("\nProcessing %s -", xml::chars(command->name));
    int result = find_target(name, other_target)(reply, command, name, source);
    reply.append("</do_command>");
    return result;
}

int serialise_children(reply_buffer &out, xmlNodePtr element)
{
    for (xmlNodePtr child = element->children; child; child = child->next)
        if (out.append_node(element->doc, child) < 0) return -1;
    return 0;
}
