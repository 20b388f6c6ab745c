#include "frame.h"

#include "msgbus.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace msgbus
{

namespace
{

constexpr size_t header_size = sizeof(wire_header);
// Most messages fit in one read of this size; larger frames grow the buffer to their length.
constexpr size_t read_chunk = 16 * 1024;
// Buffers above this size are released once their message has been handled.
constexpr size_t keep_limit = 1024 * 1024;

// Row of the refusal table: an error and the words of its log line.
struct error_row {
    frame_error error;
    const char *text;
};

constexpr std::array<error_row, 6> error_rows{{
    {.error = frame_error::none, .text = "no error"},
    {.error = frame_error::bad_magic, .text = "not a bus frame"},
    {.error = frame_error::bad_version, .text = "unknown frame version"},
    {.error = frame_error::bad_kind, .text = "unknown frame kind"},
    {.error = frame_error::too_large, .text = "message larger than the limit"},
    {.error = frame_error::lengths_disagree, .text = "frame lengths disagree"},
}};

} // namespace

const char *frame_error_text(frame_error error)
{
    for (const error_row &row : error_rows)
        if (row.error == error) return row.text;
    return "unknown error";
}

frame_error check_header(const wire_header &head)
{
    if (head.magic != frame_magic) return frame_error::bad_magic;
    if (head.version != frame_version) return frame_error::bad_version;
    if (head.kind > static_cast<uint8_t>(frame_kind::reply) || head.reserved != 0)
        return frame_error::bad_kind;
    if (head.total > MSGBUS_MAX_MESSAGE) return frame_error::too_large;
    // 64-bit sum: two large part lengths must not wrap around to a plausible total.
    uint64_t sum = uint64_t{header_size} + head.length1 + head.length2;
    if (sum != head.total) return frame_error::lengths_disagree;
    return frame_error::none;
}

int make_header(frame_kind kind, int op, uint32_t tag, int result, size_t length1, size_t length2,
                wire_header &out)
{
    if (length1 > MSGBUS_MAX_MESSAGE || length2 > MSGBUS_MAX_MESSAGE ||
        header_size + length1 + length2 > MSGBUS_MAX_MESSAGE)
        return -1;
    out = wire_header{
        .magic = frame_magic,
        .version = frame_version,
        .kind = static_cast<uint8_t>(kind),
        .reserved = 0,
        .op = op,
        .tag = tag,
        .result = result,
        .total = static_cast<uint32_t>(header_size + length1 + length2),
        .length1 = static_cast<uint32_t>(length1),
        .length2 = static_cast<uint32_t>(length2),
    };
    return 0;
}

void frame::trim()
{
    if (bytes.capacity() > keep_limit) std::vector<char>().swap(bytes);
}

long frame_reader::needed()
{
    if (error_ != frame_error::none) return -1;
    if (buffered() < header_size) return header_size;
    wire_header head;
    std::memcpy(&head, buf_.data() + begin_, header_size);
    error_ = check_header(head);
    if (error_ != frame_error::none) return -1;
    return head.total;
}

std::span<char> frame_reader::room()
{
    long need = needed();
    if (need < 0) return {};
    if (begin_ == end_) begin_ = end_ = 0;
    size_t want = static_cast<size_t>(need) + 1; // the zero byte after the parts
    // The buffer grows with the bytes that have arrived, not with what the header announces: a
    // peer that announces a large message and stalls holds no more memory than it sent.
    size_t target = std::max(std::min(want, std::max(read_chunk, 2 * buffered())), buffered() + 1);
    if (begin_ + target > buf_.size() && begin_ > 0) {
        std::memmove(buf_.data(), buf_.data() + begin_, buffered());
        end_ -= begin_;
        begin_ = 0;
    }
    if (target > buf_.size()) buf_.resize(target);
    return {buf_.data() + end_, buf_.size() - end_};
}

void frame_reader::filled(size_t count)
{
    end_ += count;
}

int frame_reader::take(frame &out)
{
    long need = needed();
    if (need < 0) return -1;
    size_t total = static_cast<size_t>(need);
    if (buffered() < total) return 0;
    std::memcpy(&out.head, buf_.data() + begin_, header_size);
    if (begin_ == 0 && end_ == total) {
        // The usual case, one message per read: hand over the buffer instead of copying it.
        std::swap(buf_, out.bytes);
        begin_ = end_ = 0;
        if (out.bytes.size() <= total) out.bytes.resize(total + 1);
    } else {
        out.bytes.assign(buf_.begin() + static_cast<long>(begin_),
                         buf_.begin() + static_cast<long>(begin_ + total));
        out.bytes.push_back('\0');
        begin_ += total;
    }
    out.bytes[total] = '\0';
    if (begin_ == end_ && buf_.capacity() > keep_limit) std::vector<char>().swap(buf_);
    return 1;
}

} // namespace msgbus
