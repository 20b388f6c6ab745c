#include "base/fd.h"

int write_all(int fd, const void *data, size_t size)
{
    const char *bytes = static_cast<const char *>(data);
    while (size > 0) {
        ssize_t written = write(fd, bytes, size);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) {
            if (written == 0) errno = EIO;
            return -errno;
        }
        bytes += written;
        size -= static_cast<size_t>(written);
    }
    return 0;
}
