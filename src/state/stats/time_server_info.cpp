// The time servers that chrony is configured with.
#include "base/readers.h"
#include "reply/reply.h"
#include "state/stats/stats.h"
#include "state/text_lines.h"

#include "capability.h"

#include <cctype>
#include <string>

namespace
{

// A server line starts in the first column: "server NAME [options]". Indented and commented
// lines are not in force.
void write_servers(reply_buffer &reply, std::string_view configuration)
{
    text_lines lines(configuration, 127);
    std::string_view line;
    int index = 0;
    while (lines.next(line)) {
        if (!line.starts_with("server") || line.size() < 7 ||
            !std::isspace(static_cast<unsigned char>(line[6])))
            continue;
        line.remove_prefix(6);
        std::string_view name = next_token(line, " \t\n\r\f\v").substr(0, 63);
        if (name.empty()) continue;
        reply_printf(reply, "<server index=\"%d\"><name>", ++index);
        reply.append_text(name);
        reply.append("</name></server>\n");
    }
}

} // namespace

int time_server_info(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    if (!capability_exists("ntp")) return STATE_NO_VALUE;
    std::string configuration;
    if (read_command("cat /etc/chrony/local.conf /var/run/chrony_ntp.conf", system_text_limit,
                     configuration) < 0 &&
        configuration.empty())
        return STATE_NO_VALUE;
    reply->append("<time_server_info>\n");
    write_servers(*reply, configuration);
    reply->append("</time_server_info>\n");
    return STATE_DONE;
}
