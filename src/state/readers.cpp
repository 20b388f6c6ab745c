#include "state/readers.h"

#include "base/fd.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

command_pipe open_command(const char *command)
{
    return command_pipe(popen(command, "r"));
}

int close_command(command_pipe pipe)
{
    int status = pclose(pipe.release());
    return status < 0 ? -1 : WEXITSTATUS(status);
}

int append_file(xmlBufferPtr reply, const char *path, size_t piece)
{
    unique_fd fd(open(path, O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) return -1;
    char data[1024];
    if (piece > sizeof data) piece = sizeof data;
    for (;;) {
        ssize_t count = read(fd.get(), data, piece);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return -1;
        if (count == 0) return 0;
        xmlBufferAdd(reply, reinterpret_cast<const xmlChar *>(data), static_cast<int>(count));
    }
}

int read_file_text(const char *path, size_t limit, std::string &text)
{
    text.clear();
    unique_fd fd(open(path, O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) return -1;
    char data[4096];
    while (text.size() < limit) {
        ssize_t count = read(fd.get(), data, std::min(sizeof data, limit - text.size()));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return -1;
        if (count == 0) break;
        text.append(data, static_cast<size_t>(count));
    }
    return 0;
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
