// What the state providers share to read the system: the output of a shell tool, and a file
// copied into the reply.
#pragma once

#include <libxml/tree.h>

#include <cstddef>
#include <cstdio>
#include <memory>

struct pipe_closer {
    void operator()(FILE *pipe) const { pclose(pipe); }
};
// The read end of a tool started through the shell; closing it waits for the tool, so no child
// process outlives the query.
using command_pipe = std::unique_ptr<FILE, pipe_closer>;

// Starts `command` for reading: a fixed command line, into which request text goes only after a
// parser that admits nothing but characters safe on a command line accepted it. nullptr with
// errno when it cannot be started.
command_pipe open_command(const char *command);
// Waits for the tool and returns the exit-status byte, or -1 when the wait failed.
int close_command(command_pipe pipe);

// Appends the content of the file at `path`, read in pieces of at most `piece` bytes, unchanged.
// 0 after the end of the file; -1 with errno when the open or a read failed (what was read before
// a failed read stays in the reply).
int append_file(xmlBufferPtr reply, const char *path, size_t piece);
