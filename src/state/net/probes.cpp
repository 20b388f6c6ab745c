#include "state/net/probes.h"

#include "base/fd.h"
#include "base/log.h"

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

int getmac(const char *name, unsigned char *mac)
{
    if (!mac) {
        log_msg(LOG_ERR, "getmac NULL\n");
        return -1;
    }
    ifreq req;
    switch (interface_request(name, SIOCGIFHWADDR, req)) {
    case interface_step::socket:
        log_msg(LOG_ERR, "getmac: %s\n", std::strerror(errno));
        return -1;
    case interface_step::ioctl:
        log_msg(LOG_ERR, "getmac HWADDR: %s\n", std::strerror(errno));
        return -1;
    case interface_step::done:
        break;
    }
    std::memcpy(mac, req.ifr_hwaddr.sa_data, 6);
    return 0;
}
