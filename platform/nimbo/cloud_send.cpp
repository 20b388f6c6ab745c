// cloud-send TARGET: sends standard input as one data request for TARGET through the cloud
// connector stand-in, and prints its answer, "CODE TEXT". Exit status 0 when an answer came.
#include "request_socket.h"
#include "sim.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace
{

int fail(const char *what)
{
    std::fprintf(stderr, "cloud-send: %s: %s\n", what, std::strerror(errno));
    return 1;
}

int connect_connector()
{
    sockaddr_un address;
    std::string path;
    if (!nimbo_sim::socket_address(address, path)) return -1;
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd >= 0 && connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

int send_all(int fd, const char *data, size_t size)
{
    while (size > 0) {
        ssize_t count = send(fd, data, size, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return -1;
        data += count;
        size -= static_cast<size_t>(count);
    }
    return 0;
}

int send_request(int fd, const std::string &target)
{
    std::string line = target + "\n";
    if (send_all(fd, line.data(), line.size()) < 0) return -1;
    char chunk[4096];
    ssize_t count;
    while ((count = read(STDIN_FILENO, chunk, sizeof chunk)) != 0) {
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 || send_all(fd, chunk, static_cast<size_t>(count)) < 0) return -1;
    }
    return shutdown(fd, SHUT_WR);
}

std::string read_answer(int fd)
{
    std::string answer;
    char chunk[4096];
    ssize_t count;
    while ((count = read(fd, chunk, sizeof chunk)) != 0) {
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) break;
        answer.append(chunk, static_cast<size_t>(count));
    }
    return answer;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2 || !*argv[1] || std::strchr(argv[1], '\n')) {
        std::fprintf(stderr, "usage: cloud-send TARGET <DATA\n");
        return 2;
    }
    int fd = connect_connector();
    if (fd < 0) return fail("cannot reach the cloud connector");
    if (send_request(fd, argv[1]) < 0) return fail("cannot send the request");
    std::string answer = read_answer(fd);
    close(fd);
    if (answer.empty()) {
        std::fprintf(stderr, "cloud-send: no answer\n");
        return 1;
    }
    std::fwrite(answer.data(), 1, answer.size(), stdout);
    return 0;
}
