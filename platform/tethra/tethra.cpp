#include "tethra.h"

#include "sim.h"

#include <cstring>
#include <optional>
#include <string>

extern "C" char *tethra_query_state(void)
{
    std::optional<std::string> fragment = sim::read_data("tethra.xml");
    return fragment ? strdup(fragment->c_str()) : nullptr;
}
