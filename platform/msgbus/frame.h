// The bus's framing: one fixed header, then the message's two parts.
//
// Both ends of a connection live on one machine, so the header travels in host byte order. The
// header carries the total length next to the part lengths: a frame whose lengths disagree is a
// lie about its size, and the reader refuses it before it allocates anything for the parts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace msgbus
{

constexpr uint8_t frame_magic = 0xb5;
constexpr uint8_t frame_version = 1;

// A request expects a reply with the same operation and tag; a reply answers one.
enum class frame_kind : uint8_t { request = 0, reply = 1 };

struct wire_header {
    uint8_t magic;
    uint8_t version;
    uint8_t kind; // a frame_kind
    uint8_t reserved;
    int32_t op;
    uint32_t tag;
    int32_t result;
    uint32_t total; // header plus both parts
    uint32_t length1;
    uint32_t length2;
};
static_assert(sizeof(wire_header) == 28);

// Why a stream was refused; the text goes into the log line that closes the connection.
enum class frame_error { none, bad_magic, bad_version, bad_kind, too_large, lengths_disagree };
const char *frame_error_text(frame_error error);

frame_error check_header(const wire_header &head);

// Fills a header for parts of the given lengths; negative when they exceed the message limit.
int make_header(frame_kind kind, int op, uint32_t tag, int result, size_t length1, size_t length2,
                wire_header &out);

// One whole message. `bytes` is storage the reader reuses: the header, both parts and one zero
// byte, so that a text payload can be read as a C string; it may be longer than that.
struct frame {
    wire_header head{};
    std::vector<char> bytes;

    const char *payload() const { return bytes.data() + sizeof(wire_header); }
    size_t length() const { return size_t{head.length1} + head.length2; }
    const char *part2() const { return payload() + head.length1; }
    bool is_reply() const { return head.kind == static_cast<uint8_t>(frame_kind::reply); }
    // Gives back memory after an unusually large message, so a long-lived peer stays small.
    void trim();
};

// Splits a byte stream into frames. Bytes are read straight into its buffer (room, then
// filled), so a frame arriving a byte at a time costs no more than its reads.
class frame_reader
{
  public:
    // Where the next read goes; empty once the stream has been refused.
    std::span<char> room();
    void filled(size_t count);
    // 1: the next whole frame was moved into `out`; 0: more bytes are needed; -1: the stream
    // was refused (see error()) and stays refused.
    int take(frame &out);
    frame_error error() const { return error_; }
    size_t buffered() const { return end_ - begin_; }

  private:
    // Bytes the frame at begin_ needs in all; negative when its header is refused.
    long needed();

    std::vector<char> buf_;
    size_t begin_ = 0;
    size_t end_ = 0;
    frame_error error_ = frame_error::none;
};

} // namespace msgbus
