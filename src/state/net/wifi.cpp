// Wi-Fi figures, read from the output of the Wi-Fi tools.
#include "base/readers.h"
#include "reply/reply.h"
#include "state/net/interface_info.h"

#include <string>

namespace
{

// The tools print a page at most; the rest of a longer output is not read.
constexpr size_t tool_output_limit = 1023;

// Runs the tool and appends the value after `label`, escaped: an SSID may hold any character.
// A tool that ends with a non-zero status still has its output used; the result is then 1.
int tool_field(reply_buffer *reply, state_mode mode, const char *command, const char *label,
               std::string_view terminator)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    std::string output;
    int status = read_command(command, tool_output_limit, output);
    if (auto value = tool_value(output, label ? label : "", terminator)) reply->append_text(*value);
    return status == 0 ? STATE_DONE : STATE_NO_VALUE;
}

} // namespace

std::optional<std::string_view> tool_value(std::string_view output, std::string_view label,
                                           std::string_view terminator)
{
    size_t at = output.find(label);
    if (at == std::string_view::npos) return std::nullopt;
    size_t start = at + label.size() + 1;
    if (start > output.size()) return std::nullopt;
    std::string_view rest = output.substr(start);
    if (rest.starts_with('"')) rest.remove_prefix(1);
    size_t end = rest.find(terminator);
    if (end == std::string_view::npos) return std::nullopt;
    if (end > 0 && rest[end - 1] == '"') --end;
    return rest.substr(0, end);
}

// iwconfig ends each figure with two blanks.
int wlan_client(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &arg)
{
    return tool_field(reply, mode, "iwconfig wlan0", arg.text, "  ");
}

// The status tool prints one key=value pair per line.
int wlan_access_point(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &arg)
{
    return tool_field(reply, mode, "wlan_status_tool status", arg.text, "\n");
}
