// The parent's reading of a letter's payload: a length byte, then that many bytes.
#pragma once

#include <cstddef>

// How one letter's payload is read. Lengths `min` to `max` are taken; the bytes of any other
// announced length are read and dropped in chunks of at most `chunk` (at most 100). The three
// messages are logged when the length byte cannot be read (LOG_CRIT, errno), when the payload
// cannot be read whole (LOG_CRIT, errno) and when the length is refused (LOG_ERR, the length).
// An end of file counts as a failed read with errno 0: the engine has gone, nothing more comes.
struct payload_rule {
    int min;
    int max;
    size_t chunk;
    const char *length_unreadable;
    const char *payload_unreadable;
    const char *invalid_length;
};

// Reads one payload from `fd` into `buf` and terminates it with a zero byte. Returns the length,
// or -1 when the action has to be given up (logged). Lengths that do not fit `size` are refused.
int read_payload(int fd, const payload_rule &rule, char *buf, size_t size);
