#include "channel/channel.h"

#include "base/log.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
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

void refuse(parent_letter letter, const char *why)
{
    log_msg(LOG_ERR, "Letter '%c' not sent, the parent would refuse it: %s", letter, why);
}

// True when the parent takes the message as it is sent (`request`: by parent_request); else the
// refusal is logged.
bool sendable(const letter_rule &rule, size_t length, const void *payload, bool request)
{
    if (rule.answered != request) {
        refuse(rule.letter, rule.answered ? "its answer would be left unread"
                                          : "it is not answered, so a request would wait forever");
        return false;
    }
    if (has_payload(rule) != (payload != nullptr)) {
        refuse(rule.letter, payload ? "a payload where none belongs" : "its payload is missing");
        return false;
    }
    if (payload && !payload_length_valid(rule, length)) {
        char why[80];
        std::snprintf(why, sizeof why, rule.invalid_length, static_cast<int>(length));
        refuse(rule.letter, why);
        return false;
    }
    if (payload && rule.check && !rule.check(static_cast<const char *>(payload), length)) {
        refuse(rule.letter, rule.invalid_content);
        return false;
    }
    return true;
}

void send_message(parent_letter letter, size_t length, const void *payload)
{
    unsigned char message[2 + max_letter_payload];
    static_assert(sizeof message <= PIPE_BUF);
    size_t count = 0;
    message[count++] = static_cast<unsigned char>(letter);
    if (payload) {
        message[count++] = static_cast<unsigned char>(length);
        std::memcpy(message + count, payload, length);
        count += length;
    }
    write_message(message, count);
    // The message may carry a password.
    explicit_bzero(message, count);
}

} // namespace

int parent_send(parent_letter letter)
{
    return parent_send_data(letter, 0, nullptr);
}

int parent_send_data(parent_letter letter, size_t length, const void *payload)
{
    if (!sendable(*find_letter_rule(letter), length, payload, false)) return -1;
    send_message(letter, length, payload);
    return 0;
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
    if (!sendable(*find_letter_rule(letter), length, payload, true)) return -1;
    channel_lock lock;
    send_message(letter, length, payload);
    return parent_read(answer, answer_size);
}
