// The daemon as its clients see it: its version, its bus endpoint's name and operations, the
// result codes the endpoint answers with and the words for them, how long the daemon waits for a
// local client and how long clients wait for the daemon, and the cloud connector's identity,
// whose requests run with the source "nimbo".
//
// This is the one definition of these values. The daemon, rci and the tests include it; the
// Python client, the man pages, the packages and the simulated gateway's scripts get them from
// the build, which reads them from this file (cmake/bus_endpoint.cmake): keep each value on its
// own line as `NAME = VALUE`, and each row of bus_result_texts on one line.
#pragma once

#include <sys/types.h>

#include <array>
#include <cerrno>
#include <cstddef>

// The version `vexacsd -v` and `rci --version` print, and the packages carry.
inline constexpr char vexacsd_version[] = "0.1";

inline constexpr char bus_endpoint_name[] = "vexacs";

// Operations of the endpoint besides the peer removal and forwarded-command operations of the bus.
enum bus_op : int {
    BUS_OP_RCI = 0,
    BUS_OP_REGISTER = 2,
    BUS_OP_UNREGISTER = 3,
    BUS_OP_ECHO = 4,
    BUS_OP_WRITE_CONFIG = 5,
    BUS_OP_READ_CONFIG = 6,
};

// Results of an RCI request besides the reply length; no text comes with them.
enum rci_result : int {
    RCI_NO_CONTENT = -2,      // no root, unnamed root, or a root without child nodes
    RCI_WRONG_ROOT = -3,      // the root is not rci_request
    RCI_NO_BUFFER = -4,       // the reply could not be built (memory ran out)
    RCI_NOT_WELL_FORMED = -5, // the text is not well-formed XML
};

// Results of registering a target name.
enum registry_result : int {
    REGISTRY_ADDED = 0,
    REGISTRY_TAKEN = -1,
    REGISTRY_NO_MEMORY = -2,
};

// The result of every other request the daemon could not carry out: a configuration write or
// read that failed, an operation it does not serve.
inline constexpr int BUS_RESULT_FAILED = -1;

// Result of a reply that the bus refused to carry because it is larger than the bus's largest
// message: the client gets this code at once, without the text, instead of waiting in vain.
inline constexpr int BUS_RESULT_TOO_LARGE = -90;
static_assert(BUS_RESULT_TOO_LARGE == -EMSGSIZE);

// Size of the echo reply, and of the reply area every message starts with.
inline constexpr size_t bus_reply_area_size = 256;

// How long the daemon waits for a local client to answer a do_command forwarded to it, and how
// long a client waits for a reply unless told otherwise: longer, so that a forwarded command
// that times out still gets its reply to the client.
inline constexpr int bus_forward_timeout_ms = 45000;
inline constexpr int client_timeout_ms = 60000;
static_assert(client_timeout_ms > bus_forward_timeout_ms);

// The cloud connector's user and group; a peer with both runs as "nimbo", every other as "python".
inline constexpr uid_t cloud_connector_uid = 1000;
inline constexpr gid_t cloud_connector_gid = 72;

// Words for a result the daemon answers with: the operation it answers (BUS_ANY_OP: every
// operation), the code and the words clients print beside it.
inline constexpr int BUS_ANY_OP = -1000;
struct bus_result_text {
    int op;
    int result;
    const char *text;
};

// clang-format off
inline constexpr std::array bus_result_texts{
    bus_result_text{.op = BUS_ANY_OP, .result = BUS_RESULT_TOO_LARGE, .text = "the reply was larger than the bus allows"},
    bus_result_text{.op = BUS_OP_RCI, .result = RCI_NO_CONTENT, .text = "no RCI content (an empty rci_request)"},
    bus_result_text{.op = BUS_OP_RCI, .result = RCI_WRONG_ROOT, .text = "the root element is not rci_request"},
    bus_result_text{.op = BUS_OP_RCI, .result = RCI_NO_BUFFER, .text = "the daemon ran out of memory building the reply"},
    bus_result_text{.op = BUS_OP_RCI, .result = RCI_NOT_WELL_FORMED, .text = "not well-formed XML"},
    bus_result_text{.op = BUS_OP_REGISTER, .result = REGISTRY_TAKEN, .text = "the name is already registered"},
    bus_result_text{.op = BUS_OP_REGISTER, .result = REGISTRY_NO_MEMORY, .text = "the daemon is out of memory"},
    bus_result_text{.op = BUS_OP_WRITE_CONFIG, .result = BUS_RESULT_FAILED, .text = "not a set_setting document with settings"},
    bus_result_text{.op = BUS_OP_READ_CONFIG, .result = BUS_RESULT_FAILED, .text = "the selector is not 2 or 4, or the expression selects no element"},
};
// clang-format on
