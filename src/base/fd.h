// Owner of one file descriptor, and the write loop every file writer of the daemon shares.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <cstddef>

class unique_fd
{
  public:
    unique_fd() = default;
    explicit unique_fd(int fd) : fd_(fd) {}
    unique_fd(unique_fd &&other) noexcept : fd_(other.release()) {}
    unique_fd &operator=(unique_fd &&other) noexcept
    {
        if (this != &other) reset(other.release());
        return *this;
    }
    unique_fd(const unique_fd &) = delete;
    unique_fd &operator=(const unique_fd &) = delete;
    ~unique_fd() { reset(-1); }

    int get() const { return fd_; }
    int release()
    {
        int fd = fd_;
        fd_ = -1;
        return fd;
    }
    void reset(int fd)
    {
        if (fd_ >= 0) ::close(fd_);
        fd_ = fd;
    }
    // Closes now, for callers that must know whether the close worked: 0, or minus errno.
    int close()
    {
        int result = ::close(release());
        return result < 0 ? -errno : 0;
    }

  private:
    int fd_ = -1;
};

// Writes all `size` bytes, retrying partial and interrupted writes: 0, or minus errno (errno is
// left set).
int write_all(int fd, const void *data, size_t size);
