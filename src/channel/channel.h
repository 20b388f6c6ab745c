// The engine's side of the command channel to the privileged parent.
//
// A message is one letter, or for letters with a payload the letter, a length byte and the
// payload. The senders hold every message to the letter table (letters.h) before it leaves: a
// message that the parent would refuse (a payload of the wrong length or content, a payload where
// none belongs, an answered letter sent without waiting for the answer or the other way round)
// is not sent, and the engine's log says why in the parent's words.
//
// Every message leaves in one write of at most 2 + max_letter_payload bytes, below PIPE_BUF, so
// the kernel never splits or interleaves it: sending takes no lock and never waits for an
// exchange that another thread has under way (a firmware apply holds one for minutes).
#pragma once

#include "channel/letters.h"

#include <sys/types.h>

#include <cstddef>

// Pipe ends kept by the engine; -1 until the engine has been forked.
extern int to_parent_fd;
extern int from_parent_fd;

// Sends a letter without payload that is not answered. 0, or -1 when it was refused (logged).
int parent_send(parent_letter letter);
// Sends a letter that is not answered: the letter, then, when `payload` is not null, the length
// as one byte and the payload bytes. 0, or -1 when it was refused (logged).
int parent_send_data(parent_letter letter, size_t length, const void *payload);
// One read of at most `size` bytes of the parent's answer; the count, or negative on failure.
ssize_t parent_read(void *buf, size_t size);
// Sends an answered letter and reads its answer as one exchange under channel_mutex, so that each
// waiting thread reads the answer to its own letter. Returns parent_read's count, or -1 when the
// letter was refused (logged); the caller judges the answer with parent_answer_accepted.
ssize_t parent_request(parent_letter letter, size_t length, const void *payload, void *answer,
                       size_t answer_size);
