#include "nimbo.h"

#include "request_socket.h"
#include "sim.h"

#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

struct nimbo_request {
    int fd;
    bool answered;
};

namespace
{

struct data_target {
    std::string name;
    nimbo_data_callback callback;
    void *arg;
};

struct connector {
    std::mutex lock;
    std::vector<data_target> targets;
    int listener = -1;
};

// Never destroyed: the connector's thread runs until the process ends.
connector &state()
{
    static connector *const instance = new connector;
    return *instance;
}

// Under state().lock.
const data_target *registered(const std::string &name)
{
    for (const data_target &target : state().targets)
        if (target.name == name) return &target;
    return nullptr;
}

bool find_target(const std::string &name, data_target &out)
{
    std::lock_guard hold(state().lock);
    const data_target *target = registered(name);
    if (target) out = *target;
    return target != nullptr;
}

int write_line(int fd, const std::string &line)
{
    size_t done = 0;
    while (done < line.size()) {
        ssize_t count = send(fd, line.data() + done, line.size() - done, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return -1;
        done += static_cast<size_t>(count);
    }
    return 0;
}

// The whole request, or false when the sender stalls, fails or sends too much.
bool read_request(int fd, std::string &request)
{
    char chunk[4096];
    for (;;) {
        ssize_t count = recv(fd, chunk, sizeof chunk, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        if (count == 0) return true;
        request.append(chunk, static_cast<size_t>(count));
        if (request.size() > nimbo_sim::max_request + 256) return false;
    }
}

void serve_request(int fd)
{
    std::string request;
    size_t line_end;
    data_target target;
    if (!read_request(fd, request) || (line_end = request.find('\n')) == std::string::npos) {
        write_line(fd, "-1 Malformed request\n");
        return;
    }
    if (!find_target(request.substr(0, line_end), target)) {
        write_line(fd, "-1 Unknown target\n");
        return;
    }
    nimbo_request handle{.fd = fd, .answered = false};
    const std::string data = request.substr(line_end + 1);
    target.callback(&handle, target.arg, data.data(), data.size());
}

void *connector_thread(void *)
{
    for (;;) {
        int fd = accept4(state().listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) {
            if (errno == EINTR || errno == ECONNABORTED) continue;
            return nullptr;
        }
        timeval stall{.tv_sec = nimbo_sim::stall_seconds, .tv_usec = 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &stall, sizeof stall);
        setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &stall, sizeof stall);
        serve_request(fd);
        close(fd);
    }
}

// Only the gateway's root (the simulated cloud) may send requests.
int open_listener()
{
    sockaddr_un address;
    std::string path;
    if (!nimbo_sim::socket_address(address, path)) return -1;
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    unlink(path.c_str());
    if (bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        chmod(path.c_str(), 0600) != 0 || listen(fd, 8) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

} // namespace

extern "C" int nimbo_api_init(void)
{
    std::lock_guard hold(state().lock);
    if (state().listener >= 0) return 0;
    int fd = open_listener();
    if (fd < 0) return -1;
    state().listener = fd;
    pthread_t thread;
    if (pthread_create(&thread, nullptr, connector_thread, nullptr) != 0) {
        close(fd);
        state().listener = -1;
        return -1;
    }
    pthread_detach(thread);
    return 0;
}

extern "C" int nimbo_data_register_callback(const char *target, nimbo_data_callback callback,
                                            void *arg)
{
    if (!target || !callback) return -1;
    std::lock_guard hold(state().lock);
    if (registered(target)) return -1;
    state().targets.push_back({.name = target, .callback = callback, .arg = arg});
    return 0;
}

extern "C" int nimbo_data_send_response(nimbo_request *request, int code, const char *text,
                                        size_t length)
{
    if (!request || request->answered || (!text && length > 0)) return -1;
    request->answered = true;
    std::string status(text ? text : "", length);
    sim::record_call("nimbo_data_send_response", {std::to_string(code), status});
    return write_line(request->fd, std::to_string(code) + " " + status + "\n");
}
