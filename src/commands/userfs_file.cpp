#include "base/fd.h"
#include "commands/firmware.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace
{

// The device of the /userfs file system, known once /userfs has been seen on another device
// than the root; until then it is looked up at every use.
struct userfs_cache {
    bool known = false;
    dev_t device = 0;
};
userfs_cache userfs_device;

void look_up_userfs()
{
    if (userfs_device.known) return;
    struct stat userfs {
    };
    struct stat root {
    };
    if (stat(firmware_paths.userfs, &userfs) != 0 || stat(firmware_paths.root, &root) != 0 ||
        userfs.st_dev == root.st_dev)
        return;
    userfs_device = {.known = true, .device = userfs.st_dev};
}

struct malloc_free {
    void operator()(char *p) const { std::free(p); }
};

// True when `path` is absolute and is its own canonical form up to its last component, which
// must be a plain name (the open refuses a link there).
bool canonical(const char *path)
{
    const char *last = std::strrchr(path, '/');
    if (path[0] != '/' || !last) return false;
    std::string name(last + 1);
    if (name.empty() || name == "." || name == "..") return false;
    std::string folder(path, last == path ? 1 : static_cast<size_t>(last - path));
    std::unique_ptr<char, malloc_free> resolved(realpath(folder.c_str(), nullptr));
    return resolved && folder == resolved.get();
}

bool is_log_file(const struct stat &file)
{
    for (const char *log : firmware_paths.log_files) {
        struct stat info {
        };
        if (log && stat(log, &info) == 0 && info.st_dev == file.st_dev &&
            info.st_ino == file.st_ino)
            return true;
    }
    return false;
}

bool acceptable(int fd)
{
    struct stat file {
    };
    if (fstat(fd, &file) != 0) return false;
    if (!S_ISREG(file.st_mode) || file.st_nlink > 1) return false;
    if (userfs_device.known && file.st_dev == userfs_device.device) return true;
    return is_log_file(file);
}

} // namespace

int open_userfs_file(const char *path, int flags, mode_t mode)
{
    look_up_userfs();
    if (!canonical(path)) {
        errno = EACCES;
        return -1;
    }
    unique_fd fd(open(path, flags | O_NOFOLLOW | O_CLOEXEC, mode));
    if (fd.get() < 0) {
        // A link as the last component is refused like any other file that is not acceptable.
        if (errno == ELOOP) errno = EACCES;
        return -1;
    }
    if (!acceptable(fd.get())) {
        errno = EACCES;
        return -1;
    }
    return fd.release();
}
