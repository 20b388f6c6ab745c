// The frame reader's refusals and memory bounds; how it splits streams is fuzzed.
#include "frame.h"
#include "msgbus.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>

using namespace msgbus;

namespace
{

std::string encode(int op, const std::string &part1)
{
    wire_header head;
    EXPECT_EQ(make_header(frame_kind::request, op, 1, 0, part1.size(), 0, head), 0);
    return std::string(reinterpret_cast<const char *>(&head), sizeof head) + part1;
}

// Feeds `bytes` in pieces of `chunk`, taking frames as they complete.
void feed(frame_reader &reader, const std::string &bytes, size_t chunk, std::vector<frame> &out)
{
    frame next;
    for (size_t at = 0; at < bytes.size();) {
        std::span<char> room = reader.room();
        size_t count = std::min({chunk, room.size(), bytes.size() - at});
        ASSERT_GT(count, 0u) << frame_error_text(reader.error());
        std::memcpy(room.data(), bytes.data() + at, count);
        reader.filled(count);
        at += count;
        while (reader.take(next) > 0)
            out.push_back(std::move(next));
    }
}

} // namespace

TEST(frame_reader, refuses_lying_headers_and_holds_no_more_than_has_arrived)
{
    // Whether the reader applies these to every header is fuzzed; here the rules themselves.
    constexpr uint32_t empty = sizeof(wire_header), most = MSGBUS_MAX_MESSAGE - empty;
    auto head = [](uint8_t magic, uint8_t version, uint8_t kind, uint32_t total, uint32_t length1,
                   uint32_t length2) {
        return wire_header{magic, version, kind, 0, 0, 1, 0, total, length1, length2};
    };
    for (const auto &[header, error] : std::initializer_list<std::pair<wire_header, frame_error>>{
             {head(frame_magic, 1, 0, MSGBUS_MAX_MESSAGE + 1, most + 1, 0), frame_error::too_large},
             {head(frame_magic, 1, 0, empty + 10, 10, 1), frame_error::lengths_disagree},
             // Part lengths whose 32-bit sum wraps around to a small, plausible total.
             {head(frame_magic, 1, 0, empty + 0x20, 0xfffffff0u, 0x30),
              frame_error::lengths_disagree},
             {head('G', 1, 0, empty, 0, 0), frame_error::bad_magic},
             {head(frame_magic, 2, 0, empty, 0, 0), frame_error::bad_version},
             {head(frame_magic, 1, 2, empty, 0, 0), frame_error::bad_kind},
             {head(frame_magic, 1, 0, MSGBUS_MAX_MESSAGE, most, 0), frame_error::none}})
        EXPECT_EQ(check_header(header), error) << frame_error_text(error);

    // A peer that announces a large frame holds only what it sent; a large one handled is let go.
    frame_reader stalled;
    std::vector<frame> frames;
    feed(stalled, encode(0, std::string(8 << 20, 'a')).substr(0, 100), 100, frames);
    EXPECT_LT(stalled.room().size(), 64u * 1024u);

    frame_reader reader;
    feed(reader, encode(0, std::string(2 << 20, 'L')) + encode(4, "ping"), 65536, frames);
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(std::string(frames[1].payload(), frames[1].length()), "ping");
    frames[0].trim();
    EXPECT_LT(frames[0].bytes.capacity(), 1024u * 1024u);
    EXPECT_LT(reader.room().size(), 1024u * 1024u);
}
