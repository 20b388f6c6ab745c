#include "radio/errors.h"

#include "reply/reply.h"

const std::array<const char *, 15> pelk_errors = {
    "",
    "Unknown subcommand",
    "Settings group unknown",
    "Settings field unknown",
    "Missing parameter",
    "Invalid parameter",
    "Node not found",
    "Command error",
    "File read error",
    "Firmware update error",
    "Error loading from device",
    "Error saving to device",
    "Field specified does not exist",
    "Field value specified is invalid",
    "Not supported on device",
};

void pelk_error(xmlBufferPtr reply, int id, const char *hint)
{
    reply_error_quoted(reply, id, pelk_errors[static_cast<size_t>(id)], hint);
}
