// The providers of device_info. Every text that comes from the system (host name, tool output,
// file contents, capability values) goes through reply_text, so that no value can break the
// reply.
#include "base/log.h"
#include "reply/reply.h"
#include "state/device/providers.h"
#include "state/device/system_info.h"
#include "state/key_value.h"

#include "capability.h"

#include <unistd.h>

#include <memory>
#include <optional>
#include <string>

namespace
{

int reply_found(xmlBufferPtr reply, const std::optional<std::string> &value)
{
    if (!value) return STATE_NO_VALUE;
    reply_text(reply, value->data(), value->size());
    return STATE_DONE;
}

struct malloc_deleter {
    void operator()(char *text) const { free(text); }
};

} // namespace

int deviceid(xmlBufferPtr reply, xmlNodePtr, int mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    unsigned char id[16];
    if (getdeviceid(id) < 0) return -1;
    char text[36 + 1];
    format_device_id(id, text);
    reply_append(reply, text);
    return STATE_DONE;
}

int hostname(xmlBufferPtr reply, xmlNodePtr, int mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    char name[64];
    if (gethostname(name, sizeof name) != 0) return -1;
    name[sizeof name - 1] = '\0';
    reply_text(reply, name);
    return STATE_DONE;
}

int productid(xmlBufferPtr reply, xmlNodePtr, int mode, const state_arg &arg)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    return reply_found(reply, command_value("boardenv -d", arg.text));
}

int pythonversion(xmlBufferPtr reply, xmlNodePtr, int mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    return reply_found(reply, command_value("python -V 2>&1", "Python"));
}

int firmware(xmlBufferPtr reply, xmlNodePtr, int mode, const state_arg &arg)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    return reply_found(reply, file_value("/etc/version", arg.text));
}

int model(xmlBufferPtr reply, xmlNodePtr, int mode, const state_arg &arg)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    std::unique_ptr<char, malloc_deleter> value(capability_value(arg.text));
    if (!value) {
        log_msg(LOG_ERR, "capability \"%s\" not found", arg.text);
        return STATE_NO_VALUE;
    }
    reply_text(reply, value.get());
    return STATE_DONE;
}
