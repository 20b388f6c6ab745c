// Where an endpoint's socket lives: msgbus_dir() + "/" + endpoint.
#pragma once

#include <sys/un.h>

namespace msgbus
{

// Fills the socket address of an endpoint; -EINVAL for a name that is not one plain file name,
// -ENAMETOOLONG when the path does not fit.
int endpoint_address(const char *endpoint, sockaddr_un &out);

// Creates the bus folder (mode 0755) and its parents; an existing folder is fine.
int make_bus_dir();

} // namespace msgbus
