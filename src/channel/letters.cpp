#include "channel/letters.h"

#include <cstring>

namespace
{

constexpr char password_separator = '\x1e';

} // namespace

bool date_text_valid(const char *payload, size_t length)
{
    for (size_t i = 0; i < length; ++i) {
        auto c = static_cast<unsigned char>(payload[i]);
        if (c == '\'' || c < 0x20 || c == 0x7f) return false;
    }
    return true;
}

bool password_request_valid(const char *payload, size_t length)
{
    if (std::memchr(payload, '\0', length)) return false;
    size_t pieces = 0;
    for (size_t i = 0; i < length; ++i)
        if (payload[i] != password_separator && (i == 0 || payload[i - 1] == password_separator))
            ++pieces;
    return pieces == 3;
}
