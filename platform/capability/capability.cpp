#include "capability.h"

#include "sim.h"

#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

namespace
{

// The value of the first line that names `name`, "" when that line has none.
std::optional<std::string> lookup(const char *name)
{
    if (!name || !*name) return std::nullopt;
    std::optional<std::string> list = sim::read_data("capabilities");
    if (!list) return std::nullopt;
    std::string_view rest(*list);
    while (!rest.empty()) {
        size_t end = rest.find('\n');
        std::string_view line = rest.substr(0, end);
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
        if (line.empty() || line.front() == '#') continue;
        size_t equals = line.find('=');
        if (line.substr(0, equals) != name) continue;
        return std::string(equals == std::string_view::npos ? "" : line.substr(equals + 1));
    }
    return std::nullopt;
}

} // namespace

extern "C" int capability_exists(const char *name)
{
    return lookup(name).has_value();
}

extern "C" char *capability_value(const char *name)
{
    std::optional<std::string> value = lookup(name);
    return value ? strdup(value->c_str()) : nullptr;
}
