#include "base/readers.h"

#include <sys/wait.h>

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
