#include "state/net/probes.h"

#include "base/fd.h"
#include "base/log.h"

#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

interface_step interface_request(const char *name, unsigned long request, ifreq &req)
{
    std::memset(&req, 0, sizeof req);
    std::strncpy(req.ifr_name, name, IFNAMSIZ - 1);
    unique_fd sock(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (sock.get() < 0) return interface_step::socket;
    return ioctl(sock.get(), request, &req) < 0 ? interface_step::ioctl : interface_step::done;
}

namespace
{

// The part every ioctl probe shares: the out-parameter check and the socket, whose failures are
// logged as "PROBE NULL" and "PROBE: error". True when the kernel answered; after a failed ioctl
// (false with *ioctl_failed set) the caller logs in its own words.
bool probe_request(const char *probe, const void *out, const char *name, unsigned long request,
                   ifreq &req, bool *ioctl_failed)
{
    *ioctl_failed = false;
    if (!out) {
        log_msg(LOG_ERR, "%s NULL\n", probe);
        return false;
    }
    switch (interface_request(name, request, req)) {
    case interface_step::socket:
        log_msg(LOG_ERR, "%s: %s\n", probe, std::strerror(errno));
        return false;
    case interface_step::ioctl:
        *ioctl_failed = true;
        return false;
    case interface_step::done:
        break;
    }
    return true;
}

in_addr_t sockaddr_ipv4(const sockaddr &address)
{
    sockaddr_in inet;
    std::memcpy(&inet, &address, sizeof inet);
    return inet.sin_addr.s_addr;
}

} // namespace

int getmac(const char *name, unsigned char *mac)
{
    ifreq req;
    bool ioctl_failed;
    if (!probe_request("getmac", mac, name, SIOCGIFHWADDR, req, &ioctl_failed)) {
        if (ioctl_failed) log_msg(LOG_ERR, "getmac HWADDR: %s\n", std::strerror(errno));
        return -1;
    }
    std::memcpy(mac, req.ifr_hwaddr.sa_data, 6);
    return 0;
}

int getlink(const char *name)
{
    ifreq req;
    if (interface_request(name, SIOCGIFFLAGS, req) != interface_step::done) return -1;
    return (req.ifr_flags & IFF_RUNNING) ? 1 : 0;
}

int getip(const char *name, in_addr_t *addr)
{
    ifreq req;
    bool ioctl_failed;
    if (!probe_request("getip", addr, name, SIOCGIFADDR, req, &ioctl_failed)) {
        int error = errno;
        if (ioctl_failed && error != EADDRNOTAVAIL && error != ENODEV)
            log_msg(LOG_ERR, "getip(%s) IFADDR: %d %s\n", name, error, std::strerror(error));
        return -1;
    }
    *addr = sockaddr_ipv4(req.ifr_addr);
    return 0;
}

int getsubnet(const char *name, in_addr_t *mask)
{
    ifreq req;
    bool ioctl_failed;
    if (!probe_request("getsubnet", mask, name, SIOCGIFNETMASK, req, &ioctl_failed)) {
        if (ioctl_failed) log_msg(LOG_ERR, "getsubnet IFNETMASK: %s\n", std::strerror(errno));
        return -1;
    }
    *mask = sockaddr_ipv4(req.ifr_netmask);
    return 0;
}
