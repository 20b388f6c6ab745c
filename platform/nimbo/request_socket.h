// The local socket through which the simulated cloud hands data requests to the connector
// stand-in, shared by the library and `cloud-send`.
//
// A request is the target name, a line break, then the data up to the end of the stream (the
// sender shuts down its writing side). The answer is one line, "CODE TEXT".
#pragma once

#include "sim.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstring>
#include <string>

namespace nimbo_sim
{

// Under the stand-ins' run-time folder (sim::run_path).
inline constexpr char socket_name[] = "nimbo.sock";
// Larger requests are refused; the cloud's data requests are small.
inline constexpr size_t max_request = 1 << 20;
// A sender that stalls longer than this loses its request, so it cannot stop the connector.
inline constexpr int stall_seconds = 5;

// The socket's address; false when its path does not fit.
inline bool socket_address(sockaddr_un &address, std::string &path)
{
    path = sim::run_path(socket_name);
    address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) return false;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return true;
}

} // namespace nimbo_sim
