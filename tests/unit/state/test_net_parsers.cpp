// The parsers behind the interface probes, on the texts the system gives them: the routing
// table, the interfaces file, the resolver files and the Wi-Fi tools' output.
#include "state/net/interface_info.h"
#include "state/net/probes.h"

#include <gtest/gtest.h>

#include <string>

using namespace std::literals;

TEST(NetworkFiles, RouteTableGivesTheGatewayOfTheInterfacesDefaultRouteOrNone)
{
    const std::string header = "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\n";
    const std::string table = header + "eth0\t0001A8C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\n"
                                       "eth0\t00000000\t0101A8C0\t0003\t0\t0\t0\t00000000\n";
    auto gateway = [](std::string_view text, const char *name) {
        return std::string(format_ipv4(route_gateway(text, name)).text);
    };
    EXPECT_EQ(gateway(table, "eth0"), "192.168.1.1");
    for (const std::string &none :
         {header + "eth0\t00000000", header + "eth0 00000000 zz\n",
          header + "eth0\0\t00000000\t0101A8C0\n"s, "eth0 00000000 0101A8C0\n"s})
        EXPECT_EQ(gateway(none, "eth0"), "0.0.0.0") << none.substr(0, 99);
}

TEST(NetworkFiles, InterfacesFileCountsOnlyAStanzaInTheFirstColumn)
{
    const std::string file =
        "iface eth0 inet dhcp\n  iface wlan0 inet dhcp\n#iface wlan1 inet dhcp\n"
        "iface eth0:1 inet static\niface wlan10 inet static\n"
        "iface wlan1 inet static";
    EXPECT_TRUE(interface_configured(file, "wlan1", "static"));
    EXPECT_FALSE(interface_configured(file, "eth0", "static")) << "an alias is another interface";
    EXPECT_FALSE(interface_configured(file, "wlan0", "dhcp")) << "indented";
    EXPECT_FALSE(interface_configured(file, "wlan1", "dhcp")) << "commented out";
}

TEST(NetworkFiles, ResolverFileFillsSevenSlotsAndAServerThatIsNoIPv4AddressKeepsItsSlot)
{
    in_addr_t slots[dns_slots];
    auto listed = [&](std::string_view file) {
        resolver_servers(file, slots);
        std::string out;
        for (in_addr_t slot : slots)
            out += std::string(format_ipv4(slot).text) + " ";
        return out;
    };
    EXPECT_EQ(listed("search x\nnameserver 8.8.8.8\n nameserver 1.1.1.1\nnameserver\t2001:db8::1\n"
                     "nameserver\nnameserver   9.9.9.9 x"),
              "8.8.8.8 0.0.0.0 9.9.9.9 0.0.0.0 0.0.0.0 0.0.0.0 0.0.0.0 ");
    EXPECT_EQ(listed("nameserver 10.0.0.1\0x\nnameserver 10.0.0.2"s + std::string(5000, '\xff')),
              "10.0.0.1 0.0.0.0 0.0.0.0 0.0.0.0 0.0.0.0 0.0.0.0 0.0.0.0 ")
        << "an address ends at a NUL byte; binary bytes make the next one no address";
}

TEST(WifiToolOutput, OddOutputGivesAValueInsideTheQuotesOrNone)
{
    const std::pair<std::string, std::optional<std::string_view>> odd[] = {
        {"ESSID:", std::nullopt},
        {"ESSID:\"  ", ""},
        {"ESSID:\"a\"b\"  ", "a\"b"},
        {"ESSID:\"\0\xff\"  "s, "\0\xff"sv},
        {"ESSID:" + std::string(5000, 'x'), std::nullopt},
    };
    for (const auto &[output, value] : odd)
        EXPECT_EQ(tool_value(output, "ESSID", "  "), value) << output.substr(0, 20);
}
