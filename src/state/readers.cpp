#include "state/readers.h"

#include "base/fd.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

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
