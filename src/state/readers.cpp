#include "state/readers.h"

#include "base/fd.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

file_stream open_file(const char *path)
{
    return file_stream(std::fopen(path, "re"));
}

// Close-on-exec, so a tool that another thread starts meanwhile (the firmware check) does not
// hold this pipe open.
command_pipe open_command(const char *command)
{
    return command_pipe(popen(command, "re"));
}

int close_command(command_pipe pipe)
{
    int status = pclose(pipe.release());
    return status < 0 ? -1 : WEXITSTATUS(status);
}

namespace
{

// Hands the file's content to `sink` in pieces of at most `piece` bytes, `limit` bytes in all.
template <typename Sink> int read_pieces(const char *path, size_t piece, size_t limit, Sink sink)
{
    unique_fd fd(open(path, O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) return -1;
    char data[1024];
    piece = std::min(piece, sizeof data);
    while (limit > 0) {
        ssize_t count = read(fd.get(), data, std::min(piece, limit));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return -1;
        if (count == 0) return 0;
        sink(data, static_cast<size_t>(count));
        limit -= static_cast<size_t>(count);
    }
    return 0;
}

} // namespace

int append_file(xmlBufferPtr reply, const char *path, size_t piece)
{
    return read_pieces(path, piece, SIZE_MAX, [reply](const char *data, size_t count) {
        xmlBufferAdd(reply, reinterpret_cast<const xmlChar *>(data), static_cast<int>(count));
    });
}

int read_file(const char *path, size_t piece, size_t limit, std::string &text)
{
    text.clear();
    return read_pieces(path, piece, limit,
                       [&text](const char *data, size_t count) { text.append(data, count); });
}

int read_command(const char *command, size_t limit, std::string &text)
{
    text.clear();
    command_pipe pipe = open_command(command);
    if (!pipe) return -1;
    char data[4096];
    while (text.size() < limit) {
        size_t count = std::fread(data, 1, std::min(sizeof data, limit - text.size()), pipe.get());
        if (count == 0) break;
        text.append(data, count);
    }
    return close_command(std::move(pipe));
}
