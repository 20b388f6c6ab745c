#include "record.h"

#include <array>
#include <cctype>
#include <cstdio>

namespace
{

constexpr std::array<std::string_view, 8> priority_names = {
    "emerg", "alert", "crit", "err", "warning", "notice", "info", "debug",
};

constexpr std::array<std::string_view, 24> facility_names = {
    "kern",   "user",   "mail",     "daemon", "auth",   "syslog",   "lpr",     "news",
    "uucp",   "cron",   "authpriv", "ftp",    "ntp",    "security", "console", "cron2",
    "local0", "local1", "local2",   "local3", "local4", "local5",   "local6",  "local7",
};

// A datagram without a valid "<PRI>" prefix is taken as user.notice, as syslog daemons do.
constexpr int default_pri = 1 * 8 + 5;
constexpr int max_pri = 191;

int take_pri(std::string_view &text)
{
    if (text.size() < 3 || text[0] != '<') return default_pri;
    size_t end = text.find('>');
    if (end == std::string_view::npos || end < 2 || end > 4) return default_pri;
    int pri = 0;
    for (size_t i = 1; i < end; ++i) {
        if (!std::isdigit(static_cast<unsigned char>(text[i]))) return default_pri;
        pri = pri * 10 + (text[i] - '0');
    }
    if (pri > max_pri) return default_pri;
    text.remove_prefix(end + 1);
    return pri;
}

bool is_timestamp(std::string_view text)
{
    // "Mmm dd hh:mm:ss " with the day padded by a blank.
    constexpr std::string_view shape = "Aaa _d dd:dd:dd ";
    if (text.size() < shape.size()) return false;
    for (size_t i = 0; i < shape.size(); ++i) {
        auto c = static_cast<unsigned char>(text[i]);
        bool ok = shape[i] == 'A'   ? std::isupper(c)
                  : shape[i] == 'a' ? std::islower(c)
                  : shape[i] == 'd' ? std::isdigit(c)
                  : shape[i] == '_' ? (c == ' ' || std::isdigit(c))
                                    : c == static_cast<unsigned char>(shape[i]);
        if (!ok) return false;
    }
    return true;
}

void append_escaped(std::string &line, std::string_view text)
{
    while (!text.empty() && (text.back() == '\n' || text.back() == '\0'))
        text.remove_suffix(1);
    for (char c : text) {
        auto u = static_cast<unsigned char>(c);
        if (u >= 0x20 || c == '\t') {
            line += c;
            continue;
        }
        char code[5];
        std::snprintf(code, sizeof code, "#%03o", u);
        line += code;
    }
}

} // namespace

std::string format_record(std::string_view datagram)
{
    int pri = take_pri(datagram);
    if (is_timestamp(datagram)) datagram.remove_prefix(16);
    std::string line;
    line.reserve(datagram.size() + 20);
    line += facility_names[static_cast<size_t>(pri >> 3)];
    line += '.';
    line += priority_names[static_cast<size_t>(pri & 7)];
    line += ' ';
    append_escaped(line, datagram);
    line += '\n';
    return line;
}
