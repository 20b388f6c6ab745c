// Words for what went wrong with a request: the daemon's negative result codes, and the reasons a
// request got no reply at all.
#pragma once

#include <string>

// What a negative result of operation `op` means, e.g. "not well-formed XML".
std::string explain_result(int op, int result);
// Why no reply came: the errno of the failed request and the timeout it had.
std::string explain_no_reply(int error, int timeout_ms);
