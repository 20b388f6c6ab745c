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

std::string bytes_of(const wire_header &head)
{
    return std::string(reinterpret_cast<const char *>(&head), sizeof head);
}

std::string encode(int op, const std::string &part1)
{
    wire_header head;
    EXPECT_EQ(make_header(frame_kind::request, op, 1, 0, part1.size(), 0, head), 0);
    return bytes_of(head) + part1;
}

// A request header with the given first bytes and lengths.
std::string header(uint8_t magic, uint8_t version, uint8_t kind, uint32_t total, uint32_t length1,
                   uint32_t length2)
{
    return bytes_of(wire_header{magic, version, kind, 0, 0, 1, 0, total, length1, length2});
}

// Feeds `bytes` in pieces of `chunk`, taking frames as they complete; -1 once refused.
int feed(frame_reader &reader, const std::string &bytes, size_t chunk, std::vector<frame> &out)
{
    frame next;
    int taken = 0;
    for (size_t at = 0; at < bytes.size() && taken >= 0;) {
        std::span<char> room = reader.room();
        size_t count = std::min({chunk, room.size(), bytes.size() - at});
        if (count == 0) return -1;
        std::memcpy(room.data(), bytes.data() + at, count);
        reader.filled(count);
        at += count;
        while ((taken = reader.take(next)) > 0)
            out.push_back(std::move(next));
    }
    return taken < 0 ? -1 : 0;
}

} // namespace

TEST(frame_reader, refuses_lying_headers_and_holds_no_more_than_has_arrived)
{
    constexpr uint32_t empty = sizeof(wire_header), most = MSGBUS_MAX_MESSAGE - empty;
    for (const auto &[head, error] : std::initializer_list<std::pair<std::string, frame_error>>{
             {header(frame_magic, 1, 0, MSGBUS_MAX_MESSAGE + 1, most + 1, 0),
              frame_error::too_large},
             {header(frame_magic, 1, 0, empty + 10, 10, 1), frame_error::lengths_disagree},
             // Part lengths whose 32-bit sum wraps around to a small, plausible total.
             {header(frame_magic, 1, 0, empty + 0x20, 0xfffffff0u, 0x30),
              frame_error::lengths_disagree},
             {header('G', 1, 0, empty, 0, 0), frame_error::bad_magic},
             {header(frame_magic, 2, 0, empty, 0, 0), frame_error::bad_version},
             {header(frame_magic, 1, 2, empty, 0, 0), frame_error::bad_kind}}) {
        frame_reader reader;
        std::vector<frame> frames;
        frame out;
        EXPECT_EQ(feed(reader, head, 5, frames), -1);
        EXPECT_EQ(reader.error(), error) << frame_error_text(error);
        EXPECT_TRUE(reader.room().empty() && reader.take(out) == -1 && frames.empty());
    }

    wire_header largest;
    EXPECT_EQ(make_header(frame_kind::request, 0, 0, 0, most, 0, largest), 0);
    EXPECT_EQ(check_header(largest), frame_error::none) << "a frame at the limit passes";

    // A peer that announces a large frame holds only what it sent; a large one handled is let go.
    frame_reader stalled;
    std::vector<frame> frames;
    ASSERT_EQ(feed(stalled, encode(0, std::string(8 << 20, 'a')).substr(0, 100), 100, frames), 0);
    EXPECT_LT(stalled.room().size(), 64u * 1024u);

    frame_reader reader;
    ASSERT_EQ(feed(reader, encode(0, std::string(2 << 20, 'L')) + encode(4, "ping"), 65536, frames),
              0);
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(std::string(frames[1].payload(), frames[1].length()), "ping");
    frames[0].trim();
    EXPECT_LT(frames[0].bytes.capacity(), 1024u * 1024u);
    EXPECT_LT(reader.room().size(), 1024u * 1024u);
}
