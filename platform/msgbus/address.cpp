#include "address.h"

#include "msgbus.h"

#include <sys/socket.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

namespace msgbus
{

int endpoint_address(const char *endpoint, sockaddr_un &out)
{
    if (!endpoint || !*endpoint || std::strchr(endpoint, '/') || std::strcmp(endpoint, ".") == 0 ||
        std::strcmp(endpoint, "..") == 0)
        return -EINVAL;
    std::string path = std::string(msgbus_dir()) + "/" + endpoint;
    if (path.size() >= sizeof out.sun_path) return -ENAMETOOLONG;
    out = sockaddr_un{};
    out.sun_family = AF_UNIX;
    std::memcpy(out.sun_path, path.c_str(), path.size() + 1);
    return 0;
}

int make_bus_dir()
{
    std::string dir = msgbus_dir();
    for (size_t from = 1;;) {
        size_t slash = dir.find('/', from);
        std::string prefix = dir.substr(0, slash);
        if (mkdir(prefix.c_str(), 0755) < 0 && errno != EEXIST) return -errno;
        if (slash == std::string::npos) return 0;
        from = slash + 1;
    }
}

} // namespace msgbus

extern "C" const char *msgbus_dir(void)
{
    const char *dir = std::getenv("MSGBUS_DIR");
    return dir && *dir ? dir : "/var/run/msgbus";
}
