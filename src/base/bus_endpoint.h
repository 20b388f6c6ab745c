// The daemon's bus endpoint as its clients see it: its name, the operations it serves, the result
// that stands for a reply too large for the bus, and the cloud connector's identity, whose
// requests run with the source "nimbo".
//
// This is the one definition of these values. The daemon, rci and the tests include it; the
// Python client and the simulated gateway's scripts get them from the build, which reads them
// from this file (cmake/bus_endpoint.cmake): keep each on its own line as `NAME = VALUE`.
#pragma once

#include <sys/types.h>

#include <cerrno>
#include <cstddef>

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

// Result of a reply that the bus refused to carry because it is larger than the bus's largest
// message: the client gets this code at once, without the text, instead of waiting in vain.
inline constexpr int BUS_RESULT_TOO_LARGE = -EMSGSIZE;

// Size of the echo reply, and of the reply area every message starts with.
inline constexpr size_t bus_reply_area_size = 256;

// The cloud connector's user and group; a peer with both runs as "nimbo", every other as "python".
inline constexpr uid_t cloud_connector_uid = 1000;
inline constexpr gid_t cloud_connector_gid = 72;
