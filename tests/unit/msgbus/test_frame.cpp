#include "frame.h"
#include "msgbus.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

using namespace msgbus;

namespace
{

std::string encode(frame_kind kind, int op, uint32_t tag, const std::string &part1,
                   const std::string &part2)
{
    wire_header head;
    EXPECT_EQ(make_header(kind, op, tag, -7, part1.size(), part2.size(), head), 0);
    return std::string(reinterpret_cast<const char *>(&head), sizeof head) + part1 + part2;
}

std::string header_bytes(const wire_header &head)
{
    return std::string(reinterpret_cast<const char *>(&head), sizeof head);
}

// Feeds `bytes` in pieces of `chunk`, taking frames as they complete.
int feed(frame_reader &reader, const std::string &bytes, size_t chunk, std::vector<frame> &out)
{
    size_t at = 0;
    while (at < bytes.size()) {
        std::span<char> room = reader.room();
        if (room.empty()) return -1;
        size_t count = std::min({chunk, room.size(), bytes.size() - at});
        std::memcpy(room.data(), bytes.data() + at, count);
        reader.filled(count);
        at += count;
        frame next;
        int taken;
        while ((taken = reader.take(next)) > 0)
            out.push_back(std::move(next));
        if (taken < 0) return -1;
    }
    return 0;
}

wire_header valid_header(size_t length1, size_t length2)
{
    wire_header head;
    make_header(frame_kind::request, 0, 1, 0, length1, length2, head);
    return head;
}

} // namespace

TEST(frame_reader, splits_a_stream_into_its_frames_however_it_arrives)
{
    std::string big(100000, 'b');
    big[500] = '\0';
    std::string stream = encode(frame_kind::request, 0, 1, "<rci_request/>", "") +
                         encode(frame_kind::reply, -2, 0xffffffffu, "", "") +
                         encode(frame_kind::request, 1, 3, std::string("name\0", 5), big) +
                         encode(frame_kind::reply, 6, 4, "\x02", "/config/x");
    for (size_t chunk : {size_t{1}, size_t{7}, size_t{4096}, stream.size()}) {
        SCOPED_TRACE(chunk);
        frame_reader reader;
        std::vector<frame> frames;
        ASSERT_EQ(feed(reader, stream, chunk, frames), 0);
        ASSERT_EQ(frames.size(), 4u);
        EXPECT_EQ(reader.buffered(), 0u);
        EXPECT_EQ(std::string(frames[0].payload()), "<rci_request/>");
        EXPECT_EQ(frames[0].head.result, -7);
        EXPECT_FALSE(frames[0].is_reply());
        EXPECT_TRUE(frames[1].is_reply());
        EXPECT_EQ(frames[1].head.op, -2);
        EXPECT_EQ(frames[1].head.tag, 0xffffffffu);
        EXPECT_EQ(frames[1].length(), 0u);
        EXPECT_EQ(frames[1].payload()[0], '\0');
        EXPECT_EQ(std::string(frames[2].payload(), 5), std::string("name\0", 5));
        EXPECT_EQ(std::string(frames[2].part2(), frames[2].head.length2), big);
        EXPECT_EQ(frames[2].part2()[big.size()], '\0');
        EXPECT_EQ(std::string(frames[3].payload(), frames[3].length()), "\x02/config/x");
        EXPECT_EQ(frames[3].payload()[frames[3].length()], '\0');
    }
}

TEST(frame_reader, refuses_a_lying_or_oversized_header_before_allocating_its_parts)
{
    wire_header too_large = valid_header(0, 0);
    too_large.length1 = MSGBUS_MAX_MESSAGE;
    too_large.total = MSGBUS_MAX_MESSAGE + sizeof(wire_header);
    wire_header mismatched = valid_header(10, 10);
    mismatched.length2 = 11;
    // Part lengths whose 32-bit sum wraps around to a small, plausible total.
    wire_header wrapping = valid_header(0, 0);
    wrapping.length1 = 0xfffffff0u;
    wrapping.length2 = 0x30u;
    wrapping.total = 0x20u + sizeof(wire_header);
    wire_header bad_magic = valid_header(0, 0);
    bad_magic.magic = 'G';
    wire_header bad_version = valid_header(0, 0);
    bad_version.version = 2;
    wire_header bad_kind = valid_header(0, 0);
    bad_kind.kind = 2;

    struct refusal {
        wire_header head;
        frame_error error;
    };
    for (const refusal &row : {refusal{too_large, frame_error::too_large},
                               refusal{mismatched, frame_error::lengths_disagree},
                               refusal{wrapping, frame_error::lengths_disagree},
                               refusal{bad_magic, frame_error::bad_magic},
                               refusal{bad_version, frame_error::bad_version},
                               refusal{bad_kind, frame_error::bad_kind}}) {
        SCOPED_TRACE(frame_error_text(row.error));
        frame_reader reader;
        std::vector<frame> frames;
        EXPECT_EQ(feed(reader, header_bytes(row.head), 5, frames), -1);
        EXPECT_EQ(reader.error(), row.error);
        EXPECT_TRUE(reader.room().empty());
        frame out;
        EXPECT_EQ(reader.take(out), -1);
        EXPECT_TRUE(frames.empty());
    }
}

TEST(frame_reader, grows_with_what_arrives_keeps_what_follows_and_releases_large_buffers)
{
    frame_reader stalled;
    std::vector<frame> none;
    std::string announced = encode(frame_kind::request, 0, 1, std::string(8 << 20, 'a'), "");
    ASSERT_EQ(feed(stalled, announced.substr(0, 100), 100, none), 0);
    EXPECT_LT(stalled.room().size(), 64u * 1024u);

    std::string large(2 * 1024 * 1024, 'L');
    std::string stream = encode(frame_kind::request, 0, 1, large, "") +
                         encode(frame_kind::request, 4, 2, "ping", "");
    frame_reader reader;
    std::vector<frame> frames;
    // Everything but the last byte: the second frame must wait, intact, for it.
    ASSERT_EQ(feed(reader, stream.substr(0, stream.size() - 1), 65536, frames), 0);
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(reader.buffered(), sizeof(wire_header) + 3);
    ASSERT_EQ(feed(reader, stream.substr(stream.size() - 1), 1, frames), 0);
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(std::string(frames[1].payload()), "ping");
    frames[0].trim();
    EXPECT_LT(frames[0].bytes.capacity(), 1024u * 1024u);
    EXPECT_LT(reader.room().size(), 1024u * 1024u);
}

TEST(frame_header, refuses_messages_over_the_limit)
{
    wire_header head;
    size_t room = MSGBUS_MAX_MESSAGE - sizeof(wire_header);
    EXPECT_EQ(make_header(frame_kind::request, 0, 0, 0, room, 0, head), 0);
    EXPECT_EQ(check_header(head), frame_error::none);
    EXPECT_LT(make_header(frame_kind::request, 0, 0, 0, room, 1, head), 0);
    EXPECT_LT(make_header(frame_kind::request, 0, 0, 0, SIZE_MAX, 2, head), 0);
}
