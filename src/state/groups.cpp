#include "radio/pelk.h"
#include "state/stats/stats.h"

#include <array>

namespace
{

// The state groups in the order query_state lists them; a new group is one row here.
constexpr std::array state_group_rows{
    state_row{.name = "zigbee_state",
              .provider = zigbee_state,
              .capability = "pelk",
              .self_tagged = true},
    state_row{.name = "python_info", .provider = python_info, .capability = "pyas"},
};

} // namespace

const state_table state_groups{state_group_rows};
