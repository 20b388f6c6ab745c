// The statistics parsers on what the kernel and the tools print, shaped as they should be and as
// they never should.
#include "base/xml.h"
#include "state/stats/stats.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

// What `write` makes of `text` in a reply of its own.
std::string written(void (*write)(reply_buffer &, std::string_view), std::string_view text)
{
    reply_buffer reply;
    write(reply, text);
    return std::string(reply.view());
}

} // namespace

TEST(KernelCounters, SnmpHeaderNamesMeetTheValuesBelowThemSectionBySection)
{
    EXPECT_EQ(written(snmp_counter_text,
                      "Ip: Forwarding DefaultTTL\nIp: 2 64\nTcp: RtoMin MaxConn X\nTcp: 200 -1\n"
                      "Icmp: InMsgs\nUdp: 5\nUdp: A\nUdp: 3\n"),
              "<ipforwarding>2</ipforwarding>\n<ipdefaultttl>64</ipdefaultttl>\n"
              "<tcprtomin>200</tcprtomin>\n<tcpmaxconn>-1</tcpmaxconn>\n")
        << "a pair ends with its shorter line; two sections in one pair end the file";
    EXPECT_EQ(
        written(snmp_counter_text, "Ip: " + std::string(200, 'A') + " B\nIp: 1 2\nIp A\nIp 1\n"),
        "<ipb>2</ipb>\n")
        << "a name too long for a parser to take; no section without its colon";
}

TEST(KernelCounters, InterfaceLineGivesBytesAndPacketsEachWay)
{
    const std::string four = "<ifinoctets>1234</ifinoctets>\n<ifinpkts>12</ifinpkts>\n"
                             "<ifoutoctets>5678</ifoutoctets>\n<ifoutpkts>34</ifoutpkts>\n";
    EXPECT_EQ(written(interface_counter_line,
                      "  eth0:    1234      12    0    0    0     0   0    0     5678    34  0"),
              four);
    EXPECT_EQ(written(interface_counter_line, "eth0:1234 12 0 0 0 0 0 0 5678 34 0\n"), four)
        << "a byte count that fills its column leaves no blank after the colon";
    EXPECT_EQ(written(interface_counter_line, "eth0 1 2 3 4 5 6 7 8 9 10"), "")
        << "no interface name";
}

TEST(NetstatScan, OnlyTheLocalPortWithAnAddressAfterItIsAConnection)
{
    const std::string netstat =
        "tcp        0      0 192.168.1.50:40112      192.168.1.9:2101        ESTABLISHED\n"
        "tcp        0      0 192.168.1.50:21010      10.0.0.9:40000          ESTABLISHED\n"
        "tcp        0      0 192.168.1.50:2101       10.0.0.5:51234          ESTABLISHED\n";
    EXPECT_EQ(netstat_peer(netstat, 2101), "10.0.0.5");
    EXPECT_EQ(netstat_peer(netstat, 21010), "10.0.0.9");
    EXPECT_EQ(netstat_peer(netstat, 40000), std::nullopt) << "only seen as the foreign port";
    EXPECT_EQ(netstat_peer(netstat, 210), std::nullopt) << "a port is matched whole";
    EXPECT_EQ(netstat_peer(":2101 x:2101 1:", 2101), "1");
    for (const char *none : {"", ":2101", ":2101   10.0.0.5", "1.2.3.4:2101 ::ffff:10.0.0.5:1"})
        EXPECT_EQ(netstat_peer(none, 2101), std::nullopt) << none;
}
