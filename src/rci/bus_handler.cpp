#include "base/log.h"
#include "base/xml.h"
#include "config/local_access.h"
#include "rci/bus.h"
#include "rci/rci.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>

namespace
{

struct bus_message {
    msgbus_peer peer;
    int op;
    const char *payload;
    size_t length;
};

// The answer being built. Every message starts with an empty reply area; an operation that
// answers with text writes it into `text` and sets `with_text`, and the text is then the payload.
struct bus_reply {
    int result = 0;
    std::array<char, bus_reply_area_size> area{};
    size_t length = 0;
    reply_buffer text;
    bool with_text = false;
};

// One row of the operation table: the operation number, its work, and whether a non-negative
// result is answered (a negative one always is). The last row serves every number not listed
// above it; its own number is never compared.
struct bus_operation {
    int op;
    void (*run)(const bus_message &message, bus_reply &reply);
    bool wants_reply;
};

// A name sent zero-terminated; a missing terminator ends it at the payload's end.
std::string payload_name(const bus_message &message)
{
    const char *end = static_cast<const char *>(std::memchr(message.payload, 0, message.length));
    return std::string(message.payload, end ? end : message.payload + message.length);
}

void peer_removed(const bus_message &message, bus_reply &)
{
    registry_remove_peer(message.peer);
}

void rci_request(const bus_message &message, bus_reply &reply)
{
    // An unknown handle leaves the record zero, which is the unprivileged source.
    struct msgbus_credentials credentials {
    };
    msgbus_credentials(message.peer, &credentials);
    reply.result =
        RCI_Processing(message.payload, message.length, reply.text, request_source_of(credentials));
    reply.with_text = reply.result >= 0;
}

void forwarded_command(const bus_message &, bus_reply &) {}

void register_target(const bus_message &message, bus_reply &reply)
{
    reply.result = registry_add(payload_name(message).c_str(), bus_forward_call, message.peer);
}

void unregister_target(const bus_message &message, bus_reply &reply)
{
    reply.result = registry_remove(payload_name(message).c_str(), bus_forward_call, message.peer);
}

void echo(const bus_message &message, bus_reply &reply)
{
    std::copy_n(message.payload, std::min(message.length, reply.area.size()), reply.area.begin());
    reply.length = reply.area.size();
}

void write_config(const bus_message &message, bus_reply &reply)
{
    // The bus caps a message far below INT_MAX, so the length fits the parser's int.
    const std::string text(message.payload, message.length);
    reply.result = config_parse_xmltree(reply.text, text.c_str(), static_cast<int>(text.size()),
                                        request_source::local);
    // A reply that could not be built whole is not sent.
    reply.with_text = !reply.text.failed();
    if (!reply.with_text) reply.result = BUS_RESULT_FAILED;
}

void read_config(const bus_message &message, bus_reply &reply)
{
    // Without a selector byte the selector is 0, which the read refuses like any other bad value.
    int save = message.length ? static_cast<unsigned char>(message.payload[0]) : 0;
    const std::string xpath =
        message.length ? std::string(message.payload + 1, message.length - 1) : "";
    reply.with_text =
        vexacsd_config_read_xmltree(reply.text, save, xpath.c_str(), request_source::local) == 0 &&
        !reply.text.failed();
    if (!reply.with_text) {
        log_msg(LOG_ERR, "vexacsd_config_read_xmltree failed, ret -1\n");
        reply.result = BUS_RESULT_FAILED;
    }
}

void ignored(const bus_message &message, bus_reply &reply)
{
    log_msg(LOG_ERR, "ignored op=%d\n", message.op);
    reply.result = BUS_RESULT_FAILED;
}

constexpr std::array bus_operations{
    bus_operation{.op = MSGBUS_OP_PEER_REMOVED, .run = peer_removed, .wants_reply = false},
    bus_operation{.op = BUS_OP_RCI, .run = rci_request, .wants_reply = true},
    bus_operation{.op = MSGBUS_OP_FORWARD, .run = forwarded_command, .wants_reply = false},
    bus_operation{.op = BUS_OP_REGISTER, .run = register_target, .wants_reply = true},
    bus_operation{.op = BUS_OP_UNREGISTER, .run = unregister_target, .wants_reply = true},
    bus_operation{.op = BUS_OP_ECHO, .run = echo, .wants_reply = true},
    bus_operation{.op = BUS_OP_WRITE_CONFIG, .run = write_config, .wants_reply = true},
    bus_operation{.op = BUS_OP_READ_CONFIG, .run = read_config, .wants_reply = true},
    bus_operation{.op = -1, .run = ignored, .wants_reply = true},
};

const bus_operation &find_operation(int op)
{
    const auto last = bus_operations.end() - 1;
    return *std::find_if(bus_operations.begin(), last,
                         [op](const bus_operation &row) { return row.op == op; });
}

void send_reply(const bus_message &message, uint32_t tag, const bus_reply &reply)
{
    const void *data = reply.area.data();
    size_t length = reply.result < 0 ? 0 : reply.length;
    if (reply.with_text) {
        data = reply.text.view().data();
        length = reply.text.size();
    }
    if (msgbus_send(message.peer, message.op, tag, reply.result, data, length, nullptr, 0) == 0)
        return;
    if (errno == EMSGSIZE) {
        log_msg(LOG_ERR, "Reply of %zu bytes to op %d is larger than the bus allows\n", length,
                message.op);
        if (msgbus_send(message.peer, message.op, tag, BUS_RESULT_TOO_LARGE, nullptr, 0, nullptr,
                        0) == 0)
            return;
    }
    trace("Unable to answer op %d of peer %u\n", message.op, message.peer);
}

} // namespace

request_source request_source_of(const struct msgbus_credentials &credentials)
{
    bool cloud = credentials.uid == cloud_connector_uid && credentials.gid == cloud_connector_gid;
    return cloud ? request_source::cloud : request_source::local;
}

void bus_message_handler(msgbus_peer peer, void *, int op, uint32_t tag, const void *payload,
                         size_t length)
{
    // A message without parts may come with no payload pointer at all.
    const char *bytes = payload ? static_cast<const char *>(payload) : "";
    const bus_message message{.peer = peer, .op = op, .payload = bytes, .length = length};
    const bus_operation &row = find_operation(op);
    bus_reply reply;
    row.run(message, reply);
    if (reply.result >= 0 && !row.wants_reply) return;
    send_reply(message, tag, reply);
}
