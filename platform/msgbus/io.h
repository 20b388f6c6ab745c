// Socket plumbing shared by the server and the client side of the bus.
//
// Internal functions return 0 (or a count) on success and a negated errno value on failure;
// only the C entry points turn that into -1 with errno set, through fail().
#pragma once

#include "base/fd.h"
#include "frame.h"

#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>

namespace msgbus
{

using clock = std::chrono::steady_clock;
// No deadline means waiting without limit.
using deadline = std::optional<clock::time_point>;

deadline deadline_after_ms(int timeout_ms);
// Milliseconds left for poll(): -1 without a deadline, 0 once it has passed.
int remaining_ms(const deadline &until);

// Longest time one message may take to leave, so a peer that stops reading cannot hold a writer.
constexpr int send_timeout_ms = 5000;

// Sets errno and returns -1: the one place a negated errno becomes the C calling convention.
int fail(int negated_errno);

// A warning from the bus, in the log of the process it runs in.
void bus_log(const char *fmt, ...) __attribute__((format(printf, 1, 2)));

// A malloc'd, zero-terminated copy for callers of the C interface (they free() it).
char *copy_text(const char *text, size_t length);

// Writes one message on a non-blocking socket, waiting for room until `until`.
int write_frame(int fd, frame_kind kind, int op, uint32_t tag, int result, const void *part1,
                size_t length1, const void *part2, size_t length2, const deadline &until);

// One read into the reader: the count, 0 at end of stream, -EAGAIN when nothing is there yet.
long read_into(int fd, frame_reader &reader);

// A connection's receiving side: the stream and the requests that arrived while a reply was
// awaited, kept in arrival order for whoever serves requests next.
struct inbox {
    frame_reader reader;
    std::deque<frame> pending;

    // 1: the next request (queued ones first) is in `out`; 0: none buffered; -1: refused stream.
    int next_request(frame &out);
};

// Reads until the reply to (op, tag) arrives or `until` passes. Requests arriving meanwhile are
// queued in the inbox; replies to anything else are stale and dropped.
// 0, -ETIMEDOUT, -ENOTCONN (end of stream), -EPROTO (refused stream) or another -errno.
int await_reply(int fd, inbox &in, int op, uint32_t tag, const deadline &until, frame &out);

} // namespace msgbus
