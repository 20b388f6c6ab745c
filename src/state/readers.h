// What the state providers share to read the system: the output of a shell tool, and a file
// copied into the reply.
#pragma once

#include <libxml/tree.h>

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

struct pipe_closer {
    void operator()(FILE *pipe) const { pclose(pipe); }
};
// The read end of a tool started through the shell; closing it waits for the tool, so no child
// process outlives the query.
using command_pipe = std::unique_ptr<FILE, pipe_closer>;

// Starts `command` (a fixed command line, never request text) for reading; nullptr with errno
// when it cannot be started.
command_pipe open_command(const char *command);
// Waits for the tool and returns the exit-status byte, or -1 when the wait failed.
int close_command(command_pipe pipe);

// Appends the content of the file at `path`, read in pieces of at most `piece` bytes, unchanged.
// 0 after the end of the file; -1 with errno when the open or a read failed (what was read before
// a failed read stays in the reply).
int append_file(xmlBufferPtr reply, const char *path, size_t piece);

// More than any system file or tool output that a provider reads whole; what lies beyond is
// left unread rather than held in memory.
constexpr size_t system_text_limit = 64 * 1024;

// Replaces `text` with at most `limit` bytes of the file at `path`: 0, or -1 with errno when the
// open or a read failed. A file that vanishes after the open is read to its end all the same.
int read_file_text(const char *path, size_t limit, std::string &text);
// Starts `command` (a fixed command line), keeps at most `limit` bytes of its output in `text`
// and waits for it: the exit-status byte, or -1 when it could not be started or waited for. A
// tool that prints more than `limit` bytes is cut off there.
int read_command(const char *command, size_t limit, std::string &text);
