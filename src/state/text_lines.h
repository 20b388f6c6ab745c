// Line-by-line reading of text that a probe has read whole (a file, a tool's output).
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

// Hands out the lines of `text` as a bounded line reader of the system files reads them: a line
// ends after its line feed or after `limit` characters, so a longer line comes in pieces and
// each piece counts as a line of its own. No piece is ever longer than `limit`.
class text_lines
{
  public:
    text_lines(std::string_view text, size_t limit) : rest_(text), limit_(limit ? limit : 1) {}

    // The next line (its line feed included), or false at the end of the text.
    bool next(std::string_view &line)
    {
        if (rest_.empty()) return false;
        size_t end = rest_.substr(0, limit_).find('\n');
        size_t length = end == std::string_view::npos ? std::min(limit_, rest_.size()) : end + 1;
        line = rest_.substr(0, length);
        rest_.remove_prefix(length);
        return true;
    }

  private:
    std::string_view rest_;
    size_t limit_;
};

// The next token of `rest` (separated by any of `separators`), which is advanced past it; empty
// when only separators are left.
inline std::string_view next_token(std::string_view &rest, std::string_view separators)
{
    size_t start = rest.find_first_not_of(separators);
    if (start == std::string_view::npos) {
        rest = {};
        return {};
    }
    rest.remove_prefix(start);
    std::string_view token = rest.substr(0, rest.find_first_of(separators));
    rest.remove_prefix(token.size());
    return token;
}
