// The gateway's syslog: receives datagrams on a Unix socket (the gateway's /dev/log) and appends
// one line per message to a file that `scripts/device log` prints.
//
// Usage: syslog_sink SOCKET FILE
#include "base/fd.h"
#include "record.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace
{

int fail(const char *what, const char *path)
{
    std::fprintf(stderr, "syslog_sink: %s %s: %s\n", what, path, std::strerror(errno));
    return 1;
}

int bind_socket(const unique_fd &sock, const char *path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (std::strlen(path) >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return -1;
    }
    std::strcpy(address.sun_path, path);
    unlink(path);
    if (bind(sock.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) < 0) return -1;
    // Every account of the gateway logs, the unprivileged engine included.
    return chmod(path, 0666);
}

// Appends each message whole with one write, so lines never mix even with concurrent readers.
int serve(const unique_fd &sock, const unique_fd &out)
{
    std::vector<char> buffer(64 * 1024);
    for (;;) {
        ssize_t got = recv(sock.get(), buffer.data(), buffer.size(), 0);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return -1;
        std::string line = format_record({buffer.data(), static_cast<size_t>(got)});
        if (write(out.get(), line.data(), line.size()) < 0) return -1;
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "Usage: %s SOCKET FILE\n", argv[0]);
        return 2;
    }
    unique_fd out(open(argv[2], O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644));
    if (out.get() < 0) return fail("cannot open", argv[2]);
    unique_fd sock(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (sock.get() < 0 || bind_socket(sock, argv[1]) < 0) return fail("cannot listen on", argv[1]);
    serve(sock, out);
    return fail("stopped serving", argv[1]);
}
