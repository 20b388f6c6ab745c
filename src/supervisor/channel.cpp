#include "supervisor/channel.h"

#include "base/log.h"
#include "supervisor/log_errno.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
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

// The parent relies on receiving each message unbroken: the whole message goes out in one
// write (at most 257 bytes, below PIPE_BUF, so the kernel never splits it) under channel_mutex.
void write_message(const unsigned char *bytes, size_t count)
{
    ssize_t written;
    do {
        written = write(to_parent_fd, bytes, count);
    } while (written < 0 && errno == EINTR);
    if (written < 0) log_errno(LOG_CRIT, "Write to parent failed! %d (%s)");
}

void send_locked(char letter, size_t length, const void *payload)
{
    unsigned char message[2 + 255];
    size_t count = 0;
    message[count++] = static_cast<unsigned char>(letter);
    if (payload) {
        size_t bytes = length & 0xff;
        message[count++] = static_cast<unsigned char>(bytes);
        std::memcpy(message + count, payload, bytes);
        count += bytes;
    }
    write_message(message, count);
}

} // namespace

void parent_send(char letter)
{
    channel_lock lock;
    send_locked(letter, 0, nullptr);
}

void parent_send_data(char letter, size_t length, const void *payload)
{
    channel_lock lock;
    send_locked(letter, length, payload);
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

ssize_t parent_request(int letter, size_t length, const void *payload, void *answer,
                       size_t answer_size)
{
    channel_lock lock;
    send_locked(static_cast<char>(letter & 0xff), length, payload);
    return parent_read(answer, answer_size);
}
