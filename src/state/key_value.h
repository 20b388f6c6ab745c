// Reading one value by its key from text the system keeps as "KEY=VALUE" or "KEY VALUE" lines: a
// file such as "/etc/version", or the output of a tool such as "boardenv -d" or "python -V".
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

// The value of the first line of `stream` that starts (after blanks) with `key` followed by a
// blank or "=": the rest of the line after every blank and "=", trailing white space removed,
// and one pair of enclosing double quotes removed. Lines are read 127 characters at a time; a
// longer line is taken as several. Nothing when no line matches.
std::optional<std::string> lookup_key(FILE *stream, std::string_view key);

// lookup_key over the file at `path`; nothing (logged) when it cannot be opened.
std::optional<std::string> file_value(const char *path, std::string_view key);

// lookup_key over the output of `command`, a fixed command line run through the shell; nothing
// (logged) when it cannot be started.
std::optional<std::string> command_value(const char *command, std::string_view key);
