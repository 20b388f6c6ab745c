// Feeds arbitrary byte streams, in pieces of varying size, to the bus's frame reader: every
// frame it hands out must be consistent, and a refused stream must stay refused.
#include "frame.h"
#include "msgbus.h"

#include <algorithm>
#include <cstring>

using namespace msgbus;

namespace
{

void check_frame(const frame &taken)
{
    if (check_header(taken.head) != frame_error::none || taken.bytes.size() <= taken.head.total ||
        taken.payload()[taken.length()] != '\0')
        __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0) return 0;
    // The first byte chooses how the stream is cut into reads.
    size_t piece = data[0] % 64 + 1;
    frame_reader reader;
    frame taken;
    for (size_t at = 1; at < size;) {
        std::span<char> room = reader.room();
        if (room.empty()) {
            if (reader.error() == frame_error::none || reader.take(taken) >= 0) __builtin_trap();
            return 0;
        }
        size_t count = std::min({piece, room.size(), size - at});
        std::memcpy(room.data(), data + at, count);
        reader.filled(count);
        at += count;
        int result;
        while ((result = reader.take(taken)) > 0)
            check_frame(taken);
        if (result < 0 && reader.error() == frame_error::none) __builtin_trap();
    }
    return 0;
}
