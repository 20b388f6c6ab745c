// The system firmware update: an image already on the device is admitted, moved to the update
// location, checked by the check tool and applied by the parent, then the gateway reboots.
#pragma once

#include "commands/firmware_state.h"
#include "reply/request_source.h"

#include <sys/types.h>

#include <array>

// Where the update looks and what it runs. The daemon keeps the defaults; tests point them at
// scratch folders and commands of their own.
struct firmware_places {
    const char *userfs;       // "/userfs": the file system images must lie on
    const char *root;         // "/": a file system that is not the one of images
    const char *update_image; // "/userfs/firmware/system/update.bin"
    // The radio's log files, also accepted by open_userfs_file.
    std::array<const char *, 2> log_files; // "/var/log/pelk.log", "/var/log/pelk.log.0"
    const char *check_command;             // runs the check tool on the update image
};
extern firmware_places firmware_paths;

// Admits the image at `path`, moves it to the update location and starts the update thread.
// 0 started, -1 otherwise
// (firmware_state FIRMWARE_FAILED, logged).
int start_firmware_update(const char *path, request_source source);
// Body of the update thread; its argument is the request source, carried as a number.
void *firmware_update_thread(void *source);
// Checks the image unless *validated, then has the parent apply it. 0 applied, -1 otherwise.
int apply_firmware_update(bool *validated);
// 0 when the check tool accepts the image at the update location, -1 otherwise.
int check_fw();

// Opens `path` only when it is a regular file with a single link on the /userfs file system, or
// one of the radio's log files. The path must be absolute and canonical: a "." or ".." component,
// a doubled "/" or a symbolic link anywhere in it is refused. A descriptor, or -1 with errno
// (EACCES for a file that is not acceptable).
int open_userfs_file(const char *path, int flags, mode_t mode);
