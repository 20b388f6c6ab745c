#include "io.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace msgbus
{

deadline deadline_after_ms(int timeout_ms)
{
    if (timeout_ms < 0) return std::nullopt;
    return clock::now() + std::chrono::milliseconds(timeout_ms);
}

int remaining_ms(const deadline &until)
{
    if (!until) return -1;
    auto left = std::chrono::ceil<std::chrono::milliseconds>(*until - clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

int fail(int negated_errno)
{
    errno = -negated_errno;
    return -1;
}

char *copy_text(const char *text, size_t length)
{
    auto *copy = static_cast<char *>(std::malloc(length + 1));
    if (copy) {
        std::memcpy(copy, text, length);
        copy[length] = '\0';
    }
    return copy;
}

void bus_log(const char *fmt, ...)
{
    char text[256];
    va_list ap;
    va_start(ap, fmt);
    vsnprintf(text, sizeof text, fmt, ap);
    va_end(ap);
    syslog(LOG_WARNING, "msgbus: %s", text);
}

namespace
{

// Waits until `fd` is ready for `events`: 1 ready, 0 timed out, -errno on failure.
int wait_for(int fd, short events, const deadline &until)
{
    for (;;) {
        pollfd entry{.fd = fd, .events = events, .revents = 0};
        int ready = poll(&entry, 1, remaining_ms(until));
        if (ready >= 0) return ready;
        if (errno != EINTR) return -errno;
    }
}

// Drops the bytes a partial send already took from the front of the vector.
void advance(std::array<iovec, 3> &parts, size_t &first, size_t sent)
{
    while (first < parts.size() && sent >= parts[first].iov_len) {
        sent -= parts[first].iov_len;
        ++first;
    }
    if (first < parts.size()) {
        parts[first].iov_base = static_cast<char *>(parts[first].iov_base) + sent;
        parts[first].iov_len -= sent;
    }
}

} // namespace

int write_frame(int fd, frame_kind kind, int op, uint32_t tag, int result, const void *part1,
                size_t length1, const void *part2, size_t length2, const deadline &until)
{
    wire_header head;
    if ((!part1 && length1) || (!part2 && length2)) return -EINVAL;
    if (make_header(kind, op, tag, result, length1, length2, head) < 0) return -EMSGSIZE;
    std::array<iovec, 3> parts{{{&head, sizeof head},
                                {const_cast<void *>(part1), length1},
                                {const_cast<void *>(part2), length2}}};
    size_t first = 0;
    while (first < parts.size()) {
        msghdr message{};
        message.msg_iov = parts.data() + first;
        message.msg_iovlen = parts.size() - first;
        ssize_t sent = sendmsg(fd, &message, MSG_NOSIGNAL);
        if (sent >= 0) {
            advance(parts, first, static_cast<size_t>(sent));
            continue;
        }
        if (errno == EINTR) continue;
        if (errno != EAGAIN) return -errno;
        int ready = wait_for(fd, POLLOUT, until);
        if (ready <= 0) return ready == 0 ? -ETIMEDOUT : ready;
    }
    return 0;
}

long read_into(int fd, frame_reader &reader)
{
    std::span<char> room = reader.room();
    if (room.empty()) return -EPROTO;
    for (;;) {
        ssize_t count = read(fd, room.data(), room.size());
        if (count >= 0) {
            reader.filled(static_cast<size_t>(count));
            return count;
        }
        if (errno != EINTR) return errno == EWOULDBLOCK ? -EAGAIN : -errno;
    }
}

namespace
{

void drop_stale(const frame &reply)
{
    bus_log("stale reply op=%d tag=%u dropped", reply.head.op, reply.head.tag);
}

} // namespace

int inbox::next_request(frame &out)
{
    if (!pending.empty()) {
        out = std::move(pending.front());
        pending.pop_front();
        return 1;
    }
    for (;;) {
        int taken = reader.take(out);
        if (taken <= 0 || !out.is_reply()) return taken;
        drop_stale(out);
    }
}

namespace
{

// Sorts one frame that arrived while a reply was awaited; true when it is that reply.
bool sort_arrival(inbox &in, int op, uint32_t tag, frame &arrived)
{
    if (!arrived.is_reply()) {
        in.pending.push_back(std::move(arrived));
        return false;
    }
    if (arrived.head.op == op && arrived.head.tag == tag) return true;
    drop_stale(arrived);
    return false;
}

} // namespace

int await_reply(int fd, inbox &in, int op, uint32_t tag, const deadline &until, frame &out)
{
    for (;;) {
        int taken = in.reader.take(out);
        if (taken < 0) return -EPROTO;
        if (taken > 0) {
            if (sort_arrival(in, op, tag, out)) return 0;
            continue;
        }
        int ready = wait_for(fd, POLLIN, until);
        if (ready <= 0) return ready == 0 ? -ETIMEDOUT : ready;
        long count = read_into(fd, in.reader);
        if (count == 0) return -ENOTCONN;
        if (count < 0 && count != -EAGAIN) return static_cast<int>(count);
    }
}

} // namespace msgbus
