// Probes of the network interfaces: what the kernel and the network files say about one
// interface. Each probe logs its own failures at LOG_ERR; addresses are 32-bit values in network
// byte order, as the kernel keeps them.
#pragma once

#include <net/if.h>
#include <netinet/in.h>

#include <cstddef>
#include <string_view>

// Which step of an interface request failed.
enum class interface_step { done, socket, ioctl };

// Runs one interface ioctl (`request`, e.g. SIOCGIFADDR) for the interface `name` on an AF_INET
// datagram socket of its own: `req` is zeroed, given the name (at most 15 characters) and filled
// by the kernel. On failure errno tells why.
interface_step interface_request(const char *name, unsigned long request, ifreq &req);

// The 6 bytes of the interface's MAC address: 0, or -1.
int getmac(const char *name, unsigned char *mac);
// 1 when the interface is running, 0 when not, -1 when the kernel cannot say (not logged).
int getlink(const char *name);
// The interface's IPv4 address and netmask: 0, or -1. An interface without an address is no
// fault worth a log line for getip.
int getip(const char *name, in_addr_t *addr);
int getsubnet(const char *name, in_addr_t *mask);
// The gateway of the interface's default route from "/proc/net/route", 0 when it has none:
// 0, or -1 when the table cannot be read.
int getgateway(const char *name, in_addr_t *addr);
// Whether "/etc/network/interfaces" configures the interface for DHCP, or statically: 0 with
// *flag 0 or 1, or -1 when the file cannot be read.
int getdhcp(const char *name, int *flag);
int getstatic(const char *name, int *flag);

// Name servers listed by one resolver file.
constexpr size_t dns_slots = 7;
// The first seven name servers of "/var/run/dns.conf", or of "/etc/resolv.conf" when that file
// cannot be opened; a server that is no IPv4 address keeps its slot, as 0. 7, or -1.
int getdns(in_addr_t *slots);

// The parsers behind the file probes, on the file's text.
in_addr_t route_gateway(std::string_view table, const char *name);
bool interface_configured(std::string_view interfaces, const char *name, const char *method);
void resolver_servers(std::string_view resolver, in_addr_t *slots);
