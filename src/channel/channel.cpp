#include "channel/channel.h"

#include "base/log.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

int to_parent_fd = -1;
int from_parent_fd = -1;

namespace
{

pthread_mutex_t channel_mutex = PTHREAD_MUTEX_INITIALIZER;

class channel_lock
{
  public:
    channel_lock() { pthread_mutex_lock(&channel_mutex); }
    ~channel_lock() { pthread_mutex_unlock(&channel_mutex); }
    channel_lock(const channel_lock &) = delete;
    channel_lock &operator=(const channel_lock &) = delete;
};

// One write per message: pipe writes of at most PIPE_BUF bytes are atomic, so messages of
// concurrent senders never interleave although no lock is taken.
void write_message(const unsigned char *bytes, size_t count)
{
    ssize_t written;
    do {
        written = write(to_parent_fd, bytes, count);
    } while (written < 0 && errno == EINTR);
    if (written < 0) log_errno(LOG_CRIT, "Write to parent failed! %d (%s)");
}

} // namespace

void parent_send(parent_letter letter)
{
    parent_send_data(letter, 0, nullptr);
}

void parent_send_data(parent_letter letter, size_t length, const void *payload)
{
    unsigned char message[2 + 255];
    static_assert(sizeof message <= PIPE_BUF);
    size_t count = 0;
    message[count++] = static_cast<unsigned char>(letter);
    if (payload) {
        size_t bytes = length & 0xff;
        message[count++] = static_cast<unsigned char>(bytes);
        std::memcpy(message + count, payload, bytes);
        count += bytes;
    }
    write_message(message, count);
    // The message may carry a password.
    explicit_bzero(message, count);
}

ssize_t parent_read(void *buf, size_t size)
{
    ssize_t count;
    do {
        count = read(from_parent_fd, buf, size);
    } while (count < 0 && errno == EINTR);
    if (count < 0) log_errno(LOG_CRIT, "Read from parent failed! %d (%s)");
    return count;
}

ssize_t parent_request(parent_letter letter, size_t length, const void *payload, void *answer,
                       size_t answer_size)
{
    channel_lock lock;
    parent_send_data(letter, length, payload);
    return parent_read(answer, answer_size);
}
