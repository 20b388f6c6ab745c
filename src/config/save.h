// Saving the configuration, and the file and shell primitives that configuration changes share.
#pragma once

#include "base/xml.h"

#include <cstddef>

// Writes the document to the local configuration file through a new file that is flushed to
// storage and then moved into place, so that a power cut leaves the old or the new file whole.
// 0, or 6 (the set_setting error id) when the new file cannot be written or moved.
int config_save(xmlDocPtr doc);

// Drops the current document and parses the local configuration file again. A file that cannot
// be parsed leaves the engine without a configuration: it ends with exit status 9.
void config_reload_local();

// Writes all `size` bytes, retrying partial writes: 0, or minus errno (errno is left set).
int write_all(int fd, const void *data, size_t size);

// What system() reported for a shell command.
struct shell_status {
    int raw;         // system()'s result
    int exit_status; // the exit-status byte of that result
};
// Runs a command line that is formed only from fixed paths, never from request text.
// 0 when the call worked and the command exited with 0, else -1.
int run_shell(const char *command, shell_status *status);
