// Probes of the network interfaces: what the kernel says about one interface.
#pragma once

#include <net/if.h>

// Which step of an interface request failed.
enum class interface_step { done, socket, ioctl };

// Runs one interface ioctl (`request`, e.g. SIOCGIFADDR) for the interface `name` on an AF_INET
// datagram socket of its own: `req` is zeroed, given the name (at most 15 characters) and filled
// by the kernel. On failure errno tells why.
interface_step interface_request(const char *name, unsigned long request, ifreq &req);

// The 6 bytes of the interface's MAC address: 0, or -1 (logged).
int getmac(const char *name, unsigned char *mac);
