// The client side, for local programs: requests with a timeout and serving forwarded calls.
#include "address.h"
#include "io.h"
#include "msgbus.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

struct msgbus_client {
    unique_fd fd;
    msgbus::inbox in;
    msgbus::frame received;
};

namespace msgbus
{

namespace
{

// How often msgbus_serve looks at its stop flag while nothing arrives.
constexpr int stop_check_ms = 1000;

int open_client(const char *endpoint, unique_fd &out)
{
    sockaddr_un address;
    int ok = endpoint_address(endpoint, address);
    if (ok < 0) return ok;
    unique_fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (fd.get() < 0 ||
        connect(fd.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) < 0)
        return -errno;
    // Non-blocking from here on, so that every write honours the caller's timeout.
    int flags = fcntl(fd.get(), F_GETFL);
    if (flags < 0 || fcntl(fd.get(), F_SETFL, flags | O_NONBLOCK) < 0) return -errno;
    out = std::move(fd);
    return 0;
}

int request(msgbus_client &client, int op, uint32_t tag, const void *part1, size_t length1,
            const void *part2, size_t length2, int timeout_ms)
{
    deadline until = deadline_after_ms(timeout_ms);
    int sent = write_frame(client.fd.get(), frame_kind::request, op, tag, 0, part1, length1, part2,
                           length2, until);
    if (sent < 0) return sent;
    return await_reply(client.fd.get(), client.in, op, tag, until, client.received);
}

int send_answer(msgbus_client &client, const frame &call, int result, const char *text)
{
    return write_frame(client.fd.get(), frame_kind::reply, call.head.op, call.head.tag, result,
                       text, text ? std::strlen(text) : 0, nullptr, 0,
                       deadline_after_ms(send_timeout_ms));
}

// Answers one request from the server: forwarded calls go to `serve`; anything else is refused
// at once, so that the caller does not wait for its timeout.
int answer(msgbus_client &client, const frame &call, msgbus_serve_fn serve, void *arg)
{
    if (call.head.op != MSGBUS_OP_FORWARD) return send_answer(client, call, -1, nullptr);
    std::string name(call.payload(), strnlen(call.payload(), call.head.length1));
    char *text = serve(name.c_str(), call.part2(), call.head.length2, arg);
    if (!text) return 0;
    int sent = send_answer(client, call, 0, text);
    std::free(text);
    return sent;
}

// Waits up to `timeout_ms` for bytes and reads them: 0 when there was nothing, -errno on failure.
long receive(msgbus_client &client, int timeout_ms)
{
    pollfd entry{.fd = client.fd.get(), .events = POLLIN, .revents = 0};
    int ready = poll(&entry, 1, timeout_ms);
    if (ready <= 0) return ready < 0 && errno != EINTR ? -errno : 0;
    long count = read_into(client.fd.get(), client.in.reader);
    if (count == 0) return -ENOTCONN;
    return count == -EAGAIN ? 0 : count;
}

int serve_calls(msgbus_client &client, msgbus_serve_fn serve, void *arg, volatile int *stop)
{
    while (!stop || !*stop) {
        int taken = client.in.next_request(client.received);
        if (taken < 0) return -EPROTO;
        int done = taken > 0 ? answer(client, client.received, serve, arg)
                             : static_cast<int>(receive(client, stop_check_ms));
        if (done < 0) return done;
    }
    return 0;
}

} // namespace

} // namespace msgbus

using namespace msgbus;

extern "C" msgbus_client *msgbus_connect(const char *endpoint)
{
    unique_fd fd;
    int opened = open_client(endpoint, fd);
    if (opened < 0) {
        fail(opened);
        return nullptr;
    }
    auto *client = new (std::nothrow) msgbus_client;
    if (!client) {
        fail(-ENOMEM);
        return nullptr;
    }
    client->fd = std::move(fd);
    return client;
}

extern "C" void msgbus_disconnect(msgbus_client *client)
{
    delete client;
}

extern "C" int msgbus_request(msgbus_client *client, int op, uint32_t tag, const void *part1,
                              size_t length1, const void *part2, size_t length2, int *result,
                              char **reply, size_t *reply_length, int timeout_ms)
{
    if (!client) return fail(-EINVAL);
    int got = request(*client, op, tag, part1, length1, part2, length2, timeout_ms);
    if (got < 0) return fail(got);
    const frame &answer = client->received;
    if (result) *result = answer.head.result;
    if (reply) {
        *reply = copy_text(answer.payload(), answer.length());
        if (!*reply) return fail(-ENOMEM);
    }
    if (reply_length) *reply_length = answer.length();
    client->received.trim();
    return 0;
}

extern "C" int msgbus_serve(msgbus_client *client, msgbus_serve_fn serve, void *arg,
                            volatile int *stop)
{
    if (!client || !serve) return fail(-EINVAL);
    int served = serve_calls(*client, serve, arg, stop);
    return served < 0 ? fail(served) : 0;
}
