// The providers of device_info. The product id, model and Python version are written as libxml2's
// entity encoding for the request's document writes them; the host name and the firmware texts,
// which clients take as they stand, go through the reply's escaper, so that no value can break the
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

int reply_found(reply_buffer &reply, const std::optional<std::string> &value)
{
    if (!value) return STATE_NO_VALUE;
    reply.append_text(*value);
    return STATE_DONE;
}

// Without a request element there is no document: the encoding then writes references.
xmlDocPtr request_doc(xmlNodePtr element)
{
    return element ? element->doc : nullptr;
}

int reply_encoded(reply_buffer &reply, xmlNodePtr element, const std::optional<std::string> &value)
{
    if (!value) return STATE_NO_VALUE;
    reply.append_encoded(request_doc(element), *value);
    return STATE_DONE;
}

struct malloc_deleter {
    void operator()(char *text) const { free(text); }
};

} // namespace

int deviceid(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    unsigned char id[16];
    if (getdeviceid(id) < 0) return -1;
    char text[36 + 1];
    format_device_id(id, text);
    reply->append(text);
    return STATE_DONE;
}

int hostname(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    char name[64];
    if (gethostname(name, sizeof name) != 0) return -1;
    name[sizeof name - 1] = '\0';
    reply->append_text(name);
    return STATE_DONE;
}

int productid(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    return reply_encoded(*reply, element, command_value("boardenv -d", arg.text));
}

int pythonversion(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    return reply_encoded(*reply, element, command_value("python -V 2>&1", "Python"));
}

int firmware(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &arg)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    return reply_found(*reply, file_value("/etc/version", arg.text));
}

int model(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    std::unique_ptr<char, malloc_deleter> value(capability_value(arg.text));
    if (!value) {
        log_msg(LOG_ERR, "capability \"%s\" not found", arg.text);
        return STATE_NO_VALUE;
    }
    reply->append_encoded(request_doc(element), value.get());
    return STATE_DONE;
}
