// Feeds arbitrary byte streams, in reads of varying size, to the bus's frame reader: every frame
// it hands out must be exactly the next bytes of the stream, followed by a zero byte; what it has
// not handed out must still be buffered; and a refused stream must stay refused.
#include "frame.h"
#include "msgbus.h"

#include <algorithm>
#include <cstring>

using namespace msgbus;

namespace
{

void check_frame(const frame &taken, const char *expected, size_t available)
{
    size_t total = taken.head.total;
    if (check_header(taken.head) != frame_error::none || total > available ||
        taken.bytes.size() <= total || std::memcmp(taken.bytes.data(), expected, total) != 0 ||
        taken.bytes[total] != '\0')
        __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0) return 0;
    // The first byte chooses the size of the reads: 1 to 64 bytes, or 4 to 256 KiB as a socket
    // delivers a long frame.
    size_t piece = (data[0] % 64 + 1) * (data[0] & 64 ? 4096 : 1);
    const char *stream = reinterpret_cast<const char *>(data) + 1;
    size_t length = size - 1, handed = 0;
    frame_reader reader;
    frame taken;
    for (size_t at = 0; at < length;) {
        std::span<char> room = reader.room();
        if (room.empty()) {
            if (reader.error() == frame_error::none || reader.take(taken) >= 0) __builtin_trap();
            return 0;
        }
        size_t count = std::min({piece, room.size(), length - at});
        std::memcpy(room.data(), stream + at, count);
        reader.filled(count);
        at += count;
        int result;
        while ((result = reader.take(taken)) > 0) {
            check_frame(taken, stream + handed, at - handed);
            handed += taken.head.total;
            taken.trim();
        }
        if (result < 0 && reader.error() == frame_error::none) __builtin_trap();
    }
    if (reader.error() == frame_error::none && reader.buffered() != length - handed)
        __builtin_trap();
    return 0;
}
