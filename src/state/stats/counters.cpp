// Kernel traffic counters: one interface's line of "/proc/net/dev", and the protocol counters
// of "/proc/net/snmp".
#include "base/readers.h"
#include "reply/reply.h"
#include "state/stats/stats.h"
#include "state/text_lines.h"

#include <array>
#include <cctype>
#include <cstdio>
#include <string>

namespace
{

struct counter_column {
    size_t token; // position after the interface name, counted from 1
    const char *name;
};

constexpr std::array counter_columns{
    counter_column{.token = 1, .name = "ifinoctets"},
    counter_column{.token = 2, .name = "ifinpkts"},
    counter_column{.token = 9, .name = "ifoutoctets"},
    counter_column{.token = 10, .name = "ifoutpkts"},
};

// The element name of a counter comes from the file: only a plain name of a sensible length may
// become one (parsers refuse very long names), so the reply stays well formed whatever the file
// holds.
bool plain_name(std::string_view name)
{
    if (name.empty() || name.size() > 128 ||
        !(std::isalpha(static_cast<unsigned char>(name[0])) || name[0] == '_'))
        return false;
    for (char c : name)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_' && c != '-' && c != '.')
            return false;
    return true;
}

std::string lower(std::string_view text)
{
    std::string out(text);
    for (char &c : out)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

// One header line and its value line: "Section: Name1 Name2 ..." over "Section: 1 2 ...".
// False when they do not belong to the same section, which ends the file's counters.
bool snmp_section(xmlBufferPtr reply, std::string_view header, std::string_view values)
{
    size_t colon = header.find(':');
    if (colon == std::string_view::npos ||
        values.substr(0, colon + 1) != header.substr(0, colon + 1))
        return false;
    std::string section = lower(header.substr(0, colon));
    header.remove_prefix(colon + 1);
    values.remove_prefix(colon + 1);
    for (;;) {
        std::string_view name = next_token(header, " \n");
        std::string_view value = next_token(values, " \n");
        if (name.empty() || value.empty()) return true;
        std::string element = section + lower(name);
        if (plain_name(element)) reply_text_element(reply, element, value);
    }
}

} // namespace

void reply_text_element(xmlBufferPtr reply, std::string_view name, std::string_view text)
{
    std::string tag(name);
    reply_open_tag(reply, tag.c_str(), nullptr);
    reply_text(reply, text.data(), text.size());
    reply_close_tag(reply, tag.c_str());
    reply_append(reply, "\n");
}

// The counters follow the name's colon; large byte counts leave no blank after it.
void interface_counter_line(xmlBufferPtr reply, std::string_view line)
{
    size_t colon = line.find(':');
    if (colon == std::string_view::npos) return;
    std::string_view rest = line.substr(colon + 1);
    size_t position = 0;
    for (const counter_column &column : counter_columns) {
        std::string_view token;
        while (position < column.token && !(token = next_token(rest, " \n")).empty())
            ++position;
        if (position < column.token) return;
        reply_text_element(reply, column.name, token);
    }
}

void interface_counters(xmlBufferPtr reply, const char *ifname)
{
    char command[256];
    std::snprintf(command, sizeof command, "grep %s: /proc/net/dev", ifname);
    std::string output;
    read_command(command, 255, output);
    interface_counter_line(reply, output.substr(0, output.find('\n')));
}

void snmp_counter_text(xmlBufferPtr reply, std::string_view text)
{
    text_lines lines(text, text.size());
    std::string_view header, values;
    while (lines.next(header) && lines.next(values))
        if (!snmp_section(reply, header, values)) return;
}

void snmp_counters(xmlBufferPtr reply, const char *path)
{
    std::string text;
    if (read_file(path, 1024, system_text_limit, text) < 0) return;
    snmp_counter_text(reply, text);
}
