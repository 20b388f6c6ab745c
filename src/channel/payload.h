// The parent's reading of a letter's payload: a length byte, then that many bytes.
#pragma once

#include "channel/letters.h"

#include <cstddef>

// How the parent reads one letter's payload. Lengths the letter's rule refuses are logged with
// its invalid_length (LOG_ERR) and their bytes read and dropped in chunks of at most `chunk` (at
// most 100). The two messages are logged (LOG_CRIT, errno) when the length byte cannot be read
// and when the payload cannot be read whole. An end of file counts as a failed read with errno 0:
// the engine has gone, nothing more comes.
struct payload_reading {
    size_t chunk;
    const char *length_unreadable;
    const char *payload_unreadable;
};

// Reads one payload of the letter of `rule` from `fd` into `buf` and terminates it with a zero
// byte. Returns the length, or -1 when the action has to be given up (logged). Lengths that do
// not fit `size` are refused.
int read_payload(int fd, const letter_rule &rule, const payload_reading &reading, char *buf,
                 size_t size);
// True when the payload meets the content rule of the letter; else the rule's invalid_content is
// logged at `priority`.
bool payload_content_valid(const letter_rule &rule, const char *payload, size_t length,
                           int priority);
