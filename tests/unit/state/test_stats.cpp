// The statistics parsers on what the kernel and the tools print, and the Bluetooth group against
// its stand-in library, loaded by name as on the gateway.
#include "base/xml.h"
#include "state/stats/stats.h"
#include "support/config_fixture.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <string>

namespace
{

std::string written(const std::function<void(xmlBufferPtr)> &write)
{
    xml::buffer_ptr reply(xmlBufferCreate());
    write(reply.get());
    return xml::chars(xmlBufferContent(reply.get()));
}

std::string snmp(std::string_view text)
{
    return written([&](xmlBufferPtr reply) { snmp_counter_text(reply, text); });
}

std::string counters(std::string_view line)
{
    return written([&](xmlBufferPtr reply) { interface_counter_line(reply, line); });
}

} // namespace

TEST(KernelCounters, SnmpHeaderNamesMeetTheValuesBelowThemSectionBySection)
{
    EXPECT_EQ(snmp("Ip: Forwarding DefaultTTL\nIp: 2 64\nTcp: RtoMin MaxConn X\nTcp: 200 -1\n"
                   "Icmp: InMsgs\nUdp: 5\nUdp: A\nUdp: 3\n"),
              "<ipforwarding>2</ipforwarding>\n<ipdefaultttl>64</ipdefaultttl>\n"
              "<tcprtomin>200</tcprtomin>\n<tcpmaxconn>-1</tcpmaxconn>\n")
        << "a pair ends with its shorter line; two sections in one pair end the file";
    EXPECT_EQ(snmp("Ip: Forw<ard Ok\nIp: 1 <x>&\n"), "<ipok>&lt;x&gt;&amp;</ipok>\n")
        << "a name that cannot be an element is left out, values are escaped";
    EXPECT_EQ(snmp("Ip: " + std::string(200, 'A') + " B\nIp: 1 2\nIp A\nIp 1\n"), "<ipb>2</ipb>\n")
        << "a name too long for a parser to take; no section without its colon";
}

TEST(KernelCounters, InterfaceLineGivesBytesAndPacketsEachWay)
{
    const std::string four = "<ifinoctets>1234</ifinoctets>\n<ifinpkts>12</ifinpkts>\n"
                             "<ifoutoctets>5678</ifoutoctets>\n<ifoutpkts>34</ifoutpkts>\n";
    EXPECT_EQ(counters("  eth0:    1234      12    0    0    0     0   0    0     5678    34  0"),
              four);
    EXPECT_EQ(counters("eth0:1234 12 0 0 0 0 0 0 5678 34 0\n"), four)
        << "a byte count that fills its column leaves no blank after the colon";
    EXPECT_EQ(counters("can0: 1 2 3"), "<ifinoctets>1</ifinoctets>\n<ifinpkts>2</ifinpkts>\n");
    EXPECT_EQ(counters("eth0 1 2 3 4 5 6 7 8 9 10"), "") << "no interface name";
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
    EXPECT_EQ(netstat_peer(":2101\n\t10.0.0.5:1", 2101), "10.0.0.5");
    EXPECT_EQ(netstat_peer(":2101 x:2101 1:", 2101), "1");
    for (const char *none : {"", ":2101", ":2101   10.0.0.5", "1.2.3.4:2101 ::ffff:10.0.0.5:1"})
        EXPECT_EQ(netstat_peer(none, 2101), std::nullopt) << none;
}

TEST(BluetoothState, TheModuleLibraryIsLoadedForEachQuery)
{
    scratch_dir dir;
    setenv("VEXA_SIM_DATA", dir.path().c_str(), 1);
    log_capture log;
    int result = 0;
    auto query = [&](int mode = STATE_QUERY) {
        return written([&](xmlBufferPtr reply) {
            result = bluetooth_state(mode == STATE_SET ? nullptr : reply, nullptr, mode, {});
        });
    };
    EXPECT_EQ(query(), "");
    EXPECT_EQ(result, -1);
    EXPECT_TRUE(log.has(LOG_ERR, "Unable to retrieve bluetooth information")) << "no address";
    dir.write("bluetooth_address", "00:07:80:AB:cd:0f\n");
    EXPECT_EQ(query(), "<bluetooth_state><address>00:07:80:ab:cd:0f</address></bluetooth_state>");
    EXPECT_EQ(query(STATE_SET), "");
    EXPECT_EQ(result, -1) << "set mode runs the query but has nowhere to write it";
    EXPECT_TRUE(log.has(LOG_ERR, "Failure writing bluetooth_state"));
    unsetenv("VEXA_SIM_DATA");
}
