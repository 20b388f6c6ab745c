// Serial port statistics: the kernel's interrupt counters and modem lines of each port, and the
// connection of the port's serial-over-TCP service.
#include "base/fd.h"
#include "base/readers.h"
#include "config/config.h"
#include "reply/reply.h"
#include "state/stats/stats.h"

#include <fcntl.h>
#include <linux/serial.h>
#include <sys/ioctl.h>

#include <array>
#include <cctype>
#include <cstdio>
#include <string>

namespace
{

struct counter_field {
    const char *name;
    int serial_icounter_struct::*count;
};

constexpr std::array counter_fields{
    counter_field{.name = "overrun_err", .count = &serial_icounter_struct::overrun},
    counter_field{.name = "overflow_err", .count = &serial_icounter_struct::buf_overrun},
    counter_field{.name = "frame_err", .count = &serial_icounter_struct::frame},
    counter_field{.name = "parity_err", .count = &serial_icounter_struct::parity},
    counter_field{.name = "breaks", .count = &serial_icounter_struct::brk},
    counter_field{.name = "rx", .count = &serial_icounter_struct::rx},
    counter_field{.name = "tx", .count = &serial_icounter_struct::tx},
    counter_field{.name = "cts_count", .count = &serial_icounter_struct::cts},
    counter_field{.name = "dsr_count", .count = &serial_icounter_struct::dsr},
    counter_field{.name = "dcd_count", .count = &serial_icounter_struct::dcd},
    counter_field{.name = "ri_count", .count = &serial_icounter_struct::rng},
};

struct modem_line {
    const char *name;
    int bit;
};

constexpr std::array modem_lines{
    modem_line{.name = "dtr", .bit = TIOCM_DTR}, modem_line{.name = "rts", .bit = TIOCM_RTS},
    modem_line{.name = "cts", .bit = TIOCM_CTS}, modem_line{.name = "dsr", .bit = TIOCM_DSR},
    modem_line{.name = "dcd", .bit = TIOCM_CAR}, modem_line{.name = "ri", .bit = TIOCM_RNG},
};

// A port whose driver keeps no counters (or no modem lines) leaves that block out.
void write_line_state(reply_buffer &reply, int fd)
{
    serial_icounter_struct counters{};
    if (ioctl(fd, TIOCGICOUNT, &counters) == 0)
        for (const counter_field &field : counter_fields)
            reply_printf(reply, "<%s>%d</%s>\n", field.name, counters.*field.count, field.name);
    int bits = 0;
    if (ioctl(fd, TIOCMGET, &bits) == 0)
        for (const modem_line &line : modem_lines)
            reply_printf(reply, "<%s>%s</%s>\n", line.name, (bits & line.bit) ? "on" : "off",
                         line.name);
}

// The first port's service is the tcp_serial group without an index; the others are numbered.
void write_connection(reply_buffer &reply, int port, std::string_view netstat)
{
    char setting[80] = "/config/tcp_serial[not(@index)]/port";
    if (port > 0)
        std::snprintf(setting, sizeof setting, "/config/tcp_serial[@index=\"%d\"]/port", port + 1);
    uint16_t tcp_port = 0;
    if (config_get_uint16(SAVE_CURRENT, setting, &tcp_port) < 0) return;
    std::optional<std::string_view> peer = netstat_peer(netstat, tcp_port);
    if (!peer) {
        reply.append("<status>disconnected</status>\n");
        return;
    }
    reply.append("<status>connected</status>\n");
    reply_text_element(reply, "ip", *peer);
}

// O_NONBLOCK: a port without carrier must not hold the query up in open.
void write_port(reply_buffer &reply, int port, std::string_view netstat)
{
    char path[80];
    std::snprintf(path, sizeof path, "/dev/ttyR%d", port);
    unique_fd fd(open(path, O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (fd.get() < 0) return;
    reply_printf(reply, "<serial_stats index=\"%d\">\n", port + 1);
    write_line_state(reply, fd.get());
    write_connection(reply, port, netstat);
    reply.append("</serial_stats>\n");
}

} // namespace

// netstat prints "proto recv-q send-q local-address:port foreign-address:port state". A match
// counts when the pattern ends the port number and an address follows it, so the port seen as
// the foreign end, or a longer port that starts with the same digits, does not.
std::optional<std::string_view> netstat_peer(std::string_view netstat, uint16_t port)
{
    char pattern[8];
    std::snprintf(pattern, sizeof pattern, ":%u", static_cast<unsigned>(port));
    size_t from = 0, at;
    while ((at = netstat.find(pattern, from)) != std::string_view::npos) {
        size_t next = at + std::string_view(pattern).size();
        auto digit_at = [&](size_t i) {
            return i < netstat.size() && std::isdigit(static_cast<unsigned char>(netstat[i]));
        };
        if (!digit_at(next)) {
            while (next < netstat.size() && std::isspace(static_cast<unsigned char>(netstat[next])))
                ++next;
            size_t colon = netstat.find(':', next);
            if (digit_at(next) && colon != std::string_view::npos)
                return netstat.substr(next, colon - next);
        }
        from = next;
    }
    return std::nullopt;
}

int serial_stats(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    int count = capability_count("serial");
    if (count < 0) return STATE_NO_VALUE;
    std::string netstat;
    read_command("netstat -tn|grep ESTABLISHED", 2047, netstat);
    for (int port = 0; port < count; ++port)
        write_port(*reply, port, netstat);
    return STATE_DONE;
}
