// Reading the system: the output of a shell tool, a file read as a stream or in pieces.
#pragma once

#include "base/fd.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
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

// How reading a file failed: some values tell a file that is not there from one that is there
// but cannot be read (a folder, say).
enum read_failure : int { READ_OPEN_FAILED = -1, READ_FAILED = -2 };

// Hands the content of the file at `path` to `sink(data, count)` in pieces of at most `piece`
// bytes (at most 1024), `limit` bytes in all. 0 after the end of the file or at the limit; a
// read_failure with errno when the open or a read failed (what was read before a failed read has
// been handed on).
template <typename Sink> int read_pieces(const char *path, size_t piece, size_t limit, Sink sink)
{
    unique_fd fd(open(path, O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) return READ_OPEN_FAILED;
    char data[1024];
    piece = std::min(piece, sizeof data);
    while (limit > 0) {
        ssize_t count = read(fd.get(), data, std::min(piece, limit));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return READ_FAILED;
        if (count == 0) return 0;
        sink(data, static_cast<size_t>(count));
        limit -= static_cast<size_t>(count);
    }
    return 0;
}

// Replaces `text` with the file at `path`, read in pieces of at most `piece` bytes, up to `limit`
// bytes (a value file that never ends, a link to a device, cannot stall the query). 0 after the end
// of the file or at the limit; a read_failure with errno when the open or a read failed (`text`
// keeps what was read).
int read_file(const char *path, size_t piece, size_t limit, std::string &text);
// More than any system file or tool output that a provider reads whole; what lies beyond is
// left unread rather than held in memory.
constexpr size_t system_text_limit = 64 * 1024;

// Starts `command` (a fixed command line), keeps at most `limit` bytes of its output in `text`
// and waits for it: the exit-status byte, or -1 when it could not be started or waited for. A
// tool that prints more than `limit` bytes is cut off there.
int read_command(const char *command, size_t limit, std::string &text);
