#include "answer_cmd.h"

#include "base/fd.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace
{

struct pipe_ends {
    unique_fd read_end;
    unique_fd write_end;
};

int make_pipe(pipe_ends &out)
{
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) < 0) return -errno;
    out.read_end.reset(fds[0]);
    out.write_end.reset(fds[1]);
    return 0;
}

[[noreturn]] void exec_command(const std::string &command, int input, int output)
{
    if (dup2(input, STDIN_FILENO) < 0 || dup2(output, STDOUT_FILENO) < 0) _exit(127);
    execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char *>(nullptr));
    _exit(127);
}

// Feeds the payload and drains the output together, so that a command that writes before it
// has read everything cannot stall on a full pipe.
int pump(unique_fd &to_command, unique_fd &from_command, const char *payload, size_t length,
         std::string &output)
{
    size_t sent = 0;
    if (length == 0) to_command.reset(-1);
    while (from_command.get() >= 0) {
        std::array<pollfd, 2> polls{{{.fd = from_command.get(), .events = POLLIN, .revents = 0},
                                     {.fd = to_command.get(), .events = POLLOUT, .revents = 0}}};
        if (poll(polls.data(), to_command.get() >= 0 ? 2 : 1, -1) < 0) {
            if (errno == EINTR) continue;
            return -errno;
        }
        if (polls[1].revents) {
            ssize_t count = write(to_command.get(), payload + sent, length - sent);
            if (count >= 0) sent += static_cast<size_t>(count);
            if ((count < 0 && errno != EAGAIN) || sent == length)
                to_command.reset(-1); // done, or the command stopped reading
        }
        if (polls[0].revents) {
            char chunk[4096];
            ssize_t count = read(from_command.get(), chunk, sizeof chunk);
            if (count <= 0)
                from_command.reset(-1);
            else
                output.append(chunk, static_cast<size_t>(count));
        }
    }
    return 0;
}

} // namespace

int run_answer_cmd(const std::string &command, const char *payload, size_t length,
                   std::string &output)
{
    pipe_ends input;
    pipe_ends result;
    int made = make_pipe(input);
    if (made == 0) made = make_pipe(result);
    if (made < 0) return made;
    pid_t child = fork();
    if (child < 0) return -errno;
    if (child == 0) exec_command(command, input.read_end.get(), result.write_end.get());
    input.read_end.reset(-1);
    result.write_end.reset(-1);
    fcntl(input.write_end.get(), F_SETFL, O_NONBLOCK);
    int pumped = pump(input.write_end, result.read_end, payload, length, output);
    int status;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return pumped;
}
