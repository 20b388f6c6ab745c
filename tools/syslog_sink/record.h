// One syslog datagram turned into one line of the gateway's log file.
#pragma once

#include <string>
#include <string_view>

// Returns "FACILITY.PRIORITY TEXT\n" for a datagram as a local syslog client sends it
// ("<PRI>Mmm dd hh:mm:ss ident[pid]: message"): the timestamp is dropped, the text kept byte for
// byte, except that trailing newlines and NULs are removed and other control characters are
// written as "#" and three octal digits so that one message stays one line.
std::string format_record(std::string_view datagram);
