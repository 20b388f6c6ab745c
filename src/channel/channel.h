// The engine's side of the command channel to the privileged parent.
//
// A message is one letter, or for letters with a payload the letter, a length byte and the
// payload. Only LETTER_PASSWORD and LETTER_FIRMWARE wait for the parent's two-byte answer.
//
// Every message leaves in one write of at most 257 bytes, below PIPE_BUF, so the kernel never
// splits or interleaves it: sending takes no lock and never waits for an exchange that another
// thread has under way (a firmware apply holds one for minutes).
#pragma once

#include "channel/letters.h"

#include <sys/types.h>

#include <cstddef>

// Pipe ends kept by the engine; -1 until the engine has been forked.
extern int to_parent_fd;
extern int from_parent_fd;

void parent_send(parent_letter letter);
// Sends the letter, then, when `payload` is not null, the low eight bits of `length` and the
// payload bytes.
void parent_send_data(parent_letter letter, size_t length, const void *payload);
// One read of at most `size` bytes of the parent's answer; the count, or negative on failure.
ssize_t parent_read(void *buf, size_t size);
// Sends a message and reads its answer as one exchange under channel_mutex, so that each waiting
// thread reads the answer to its own letter. Returns parent_read's count; the caller judges the
// answer with parent_answer_accepted.
ssize_t parent_request(parent_letter letter, size_t length, const void *payload, void *answer,
                       size_t answer_size);
