#include "explain.h"

#include "base/bus_endpoint.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace
{

// Operations of the endpoint that answer; any other number is refused with -1.
constexpr std::array answered_ops{BUS_OP_RCI,  BUS_OP_REGISTER,     BUS_OP_UNREGISTER,
                                  BUS_OP_ECHO, BUS_OP_WRITE_CONFIG, BUS_OP_READ_CONFIG};

bool answered(int op)
{
    for (int known : answered_ops)
        if (known == op) return true;
    return false;
}

} // namespace

std::string explain_result(int op, int result)
{
    for (const bus_result_text &row : bus_result_texts)
        if ((row.op == BUS_ANY_OP || row.op == op) && row.result == result) return row.text;
    if (!answered(op) && result == BUS_RESULT_FAILED)
        return "the daemon does not serve operation " + std::to_string(op);
    // A refused change reports the id of its set_setting error, negated, with the reply.
    if (op == BUS_OP_WRITE_CONFIG && result < BUS_RESULT_FAILED)
        return "the change was refused with set_setting error " + std::to_string(-result) +
               ", shown in the reply";
    return "the daemon could not carry out the request";
}

std::string explain_no_reply(int error, int timeout_ms)
{
    char seconds[32];
    switch (error) {
    case ETIMEDOUT:
        std::snprintf(seconds, sizeof seconds, "%g", timeout_ms / 1000.0);
        return std::string("timed out after ") + seconds + " s";
    case EMSGSIZE:
        return "the request is larger than the bus allows";
    case ENOTCONN:
    case ECONNRESET:
    case EPIPE:
        return "the daemon closed the connection";
    default:
        return std::strerror(error);
    }
}
