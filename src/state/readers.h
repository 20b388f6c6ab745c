// What the state providers share to read the system: the output of a shell tool, a file read as a
// stream, and a file copied into the reply or into a text.
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

struct file_closer {
    void operator()(FILE *file) const { fclose(file); }
};
using file_stream = std::unique_ptr<FILE, file_closer>;

// Opens `path` for reading; nullptr with errno when it cannot be opened.
file_stream open_file(const char *path);

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

// Replaces `text` with the file at `path`, read in pieces of at most `piece` bytes, up to `limit`
// bytes (a value file that never ends, a link to a device, cannot stall the query). 0 after the end
// of the file or at the limit; -1 with errno when the open or a read failed (`text` keeps what was
// read).
int read_file(const char *path, size_t piece, size_t limit, std::string &text);
// More than any system file or tool output that a provider reads whole; what lies beyond is
// left unread rather than held in memory.
constexpr size_t system_text_limit = 64 * 1024;

// Starts `command` (a fixed command line), keeps at most `limit` bytes of its output in `text`
// and waits for it: the exit-status byte, or -1 when it could not be started or waited for. A
// tool that prints more than `limit` bytes is cut off there.
int read_command(const char *command, size_t limit, std::string &text);
