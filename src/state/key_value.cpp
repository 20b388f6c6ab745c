#include "state/key_value.h"

#include "base/log.h"
#include "base/readers.h"

#include <algorithm>
#include <cerrno>

namespace
{

constexpr std::string_view blanks = " \t";

// The value of `line` when it holds `key`, else nothing.
std::optional<std::string> line_value(std::string_view line, std::string_view key)
{
    size_t start = line.find_first_not_of(blanks);
    if (start == std::string_view::npos) return std::nullopt;
    line.remove_prefix(start);
    if (!line.starts_with(key) || line.size() == key.size()) return std::nullopt;
    char after = line[key.size()];
    if (after != ' ' && after != '\t' && after != '=') return std::nullopt;
    line.remove_prefix(std::min(line.find_first_not_of(" \t=", key.size()), line.size()));
    size_t end = line.find_last_not_of(" \t\n\r\v\f");
    line = end == std::string_view::npos ? std::string_view() : line.substr(0, end + 1);
    // A value in quotes loses them; a lone quote counts as both, so its value is empty.
    if (!line.empty() && line.front() == '"' && line.back() == '"')
        line = line.substr(1, line.size() >= 2 ? line.size() - 2 : 0);
    return std::string(line);
}

} // namespace

std::optional<std::string> lookup_key(FILE *stream, std::string_view key)
{
    char line[128];
    while (std::fgets(line, sizeof line, stream)) {
        // A NUL byte from the stream ends the line there.
        if (std::optional<std::string> value = line_value(line, key)) return value;
    }
    return std::nullopt;
}

std::optional<std::string> file_value(const char *path, std::string_view key)
{
    file_stream file = open_file(path);
    if (!file) {
        log_msg(LOG_ERR, "open %s errno=%d", path, errno);
        return std::nullopt;
    }
    return lookup_key(file.get(), key);
}

std::optional<std::string> command_value(const char *command, std::string_view key)
{
    command_pipe pipe = open_command(command);
    if (!pipe) {
        log_msg(LOG_ERR, "popen %s errno=%d", command, errno);
        return std::nullopt;
    }
    std::optional<std::string> value = lookup_key(pipe.get(), key);
    close_command(std::move(pipe));
    return value;
}
