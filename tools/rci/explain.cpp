#include "explain.h"

#include "base/bus_endpoint.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace
{

// Stands for every operation in a row: no operation of the bus has this number.
constexpr int any_op = -1000;

// One known result: the operation it answers (any_op: every operation), the code and its words.
struct result_row {
    int op;
    int result;
    const char *text;
};

constexpr std::array result_rows{
    result_row{.op = any_op,
               .result = BUS_RESULT_TOO_LARGE,
               .text = "the reply was larger than the bus allows"},
    result_row{.op = BUS_OP_RCI, .result = -2, .text = "no RCI content (an empty rci_request)"},
    result_row{.op = BUS_OP_RCI, .result = -3, .text = "the root element is not rci_request"},
    result_row{
        .op = BUS_OP_RCI, .result = -4, .text = "the daemon could not create a reply buffer"},
    result_row{.op = BUS_OP_RCI, .result = -5, .text = "not well-formed XML"},
    result_row{.op = BUS_OP_REGISTER, .result = -1, .text = "the name is already registered"},
    result_row{.op = BUS_OP_REGISTER, .result = -2, .text = "the daemon is out of memory"},
    result_row{.op = BUS_OP_WRITE_CONFIG,
               .result = -1,
               .text = "not a set_setting document with settings"},
    result_row{.op = BUS_OP_READ_CONFIG,
               .result = -1,
               .text = "the selector is not 2 or 4, or the expression selects no element"},
};

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
    for (const result_row &row : result_rows)
        if ((row.op == any_op || row.op == op) && row.result == result) return row.text;
    if (!answered(op) && result == -1)
        return "the daemon does not serve operation " + std::to_string(op);
    // A refused change reports the id of its set_setting error, negated, with the reply.
    if (op == BUS_OP_WRITE_CONFIG && result < -1)
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
