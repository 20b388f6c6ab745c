#include "state/device/providers.h"
#include "state/stats/stats.h"

#include <array>

namespace
{

// The state groups in the order query_state lists them; a new group is one row here.
constexpr std::array state_group_rows{
    state_row{.name = "device_info",
              .provider = render_state_table,
              .arg = {.table = &device_info_fields}},
    state_row{.name = "device_stats",
              .provider = render_state_table,
              .arg = {.table = &device_stats_fields}},
    state_row{.name = "python_info", .provider = python_info, .capability = "pyas"},
};

} // namespace

const state_table state_groups{state_group_rows};
