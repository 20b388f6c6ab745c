#include "channel/payload.h"

#include "base/log.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace
{

// One read; the count, 0 at end of file, or the negative errno.
ssize_t read_some(int fd, void *buf, size_t size)
{
    ssize_t count = read(fd, buf, size);
    return count < 0 ? -errno : count;
}

int failure_errno(ssize_t count)
{
    return count < 0 ? static_cast<int>(-count) : 0;
}

int read_length(int fd, const payload_rule &rule)
{
    unsigned char length = 0;
    ssize_t count = read_some(fd, &length, 1);
    if (count < 1) {
        log_msg(LOG_CRIT, rule.length_unreadable, failure_errno(count));
        return -1;
    }
    return length;
}

void discard(int fd, size_t length, size_t chunk)
{
    char sink[100];
    while (length > 0) {
        ssize_t count = read_some(fd, sink, std::min({length, chunk, sizeof sink}));
        if (count <= 0) return;
        length -= static_cast<size_t>(count);
    }
}

int read_exactly(int fd, const payload_rule &rule, char *buf, size_t length)
{
    size_t got = 0;
    while (got < length) {
        ssize_t count = read_some(fd, buf + got, length - got);
        if (count <= 0) {
            log_msg(LOG_CRIT, rule.payload_unreadable, failure_errno(count));
            return -1;
        }
        got += static_cast<size_t>(count);
    }
    buf[length] = '\0';
    return static_cast<int>(length);
}

} // namespace

int read_payload(int fd, const payload_rule &rule, char *buf, size_t size)
{
    int length = read_length(fd, rule);
    if (length < 0) return -1;
    if (length < rule.min || length > rule.max || static_cast<size_t>(length) >= size) {
        log_msg(LOG_ERR, rule.invalid_length, length);
        discard(fd, static_cast<size_t>(length), rule.chunk);
        return -1;
    }
    return read_exactly(fd, rule, buf, static_cast<size_t>(length));
}
