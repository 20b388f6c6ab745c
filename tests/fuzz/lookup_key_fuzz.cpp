// Feeds arbitrary text to lookup_key, the reader of key/value lines in files and tool output: the
// first byte gives the key's length (up to 15), the key follows, the rest is the stream. A value
// never spans lines, ends in white space only when that was quoted, is at most one read (127
// characters) long and is a piece of the input.
#include "state/key_value.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1) return 0;
    size_t key_length = data[0] % 16;
    if (size < 1 + key_length) return 0;
    std::string_view key(reinterpret_cast<const char *>(data + 1), key_length);
    std::string_view text(reinterpret_cast<const char *>(data + 1 + key_length),
                          size - 1 - key_length);
    // fmemopen refuses an empty buffer; an empty stream is /dev/null.
    FILE *stream = text.empty() ? std::fopen("/dev/null", "r")
                                : fmemopen(const_cast<char *>(text.data()), text.size(), "r");
    if (!stream) std::abort();
    std::optional<std::string> value = lookup_key(stream, key);
    std::fclose(stream);
    if (!value) return 0;
    if (value->size() > 127 || value->find('\n') != std::string::npos) std::abort();
    // Trailing white space survives only inside the quotes that enclosed it.
    bool quoted = text.find('"' + *value + '"') != std::string_view::npos;
    if (!quoted && !value->empty() &&
        std::string_view(" \t\r\v\f").find(value->back()) != std::string_view::npos)
        std::abort();
    if (text.find(*value) == std::string_view::npos) std::abort();
    return 0;
}
