#include "rci/command_table.h"

#include "base/table.h"
#include "commands/handlers.h"
#include "config/handlers.h"
#include "rci/forward.h"
#include "state/handlers.h"

namespace
{

// The RCI commands in lookup order; a new command is one row here and one handler.
constexpr std::array rci_command_table{
    rci_command{.name = "query_setting", .handler = query_setting},
    rci_command{.name = "set_setting", .handler = set_setting},
    rci_command{.name = "set_factory_default", .handler = set_factory_default},
    rci_command{.name = "reboot", .handler = reboot_command},
    rci_command{.name = "set_state", .handler = set_state},
    rci_command{.name = "query_state", .handler = query_state},
    rci_command{.name = "do_command", .handler = do_command_or_forward},
    rci_command{.name = "query_descriptor", .handler = query_descriptor},
};

} // namespace

const rci_command *rci_find_command(const char *name)
{
    return find_named(rci_command_table, name);
}
