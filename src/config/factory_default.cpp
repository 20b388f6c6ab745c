#include "base/log.h"
#include "channel/channel.h"
#include "config/custom_defaults.h"
#include "config/handlers.h"
#include "config/query.h"
#include "config/revert.h"
#include "reply/reply.h"

namespace
{

// The exception text of a custom revert, or nullptr for a full revert.
const char *revert_exceptions(xmlNodePtr request)
{
    log_msg(LOG_WARNING, "set_factory_default, custom revert");
    const xmlChar *exceptions = attr_text(request, "except");
    if (exceptions)
        log_msg(LOG_WARNING, "set_factory_default, custom revert with exceptions '%s'",
                xml::chars(exceptions));
    return xml::chars(exceptions);
}

} // namespace

int set_factory_default(reply_buffer &reply, xmlNodePtr command, request_source source)
{
    const xmlChar *action = attr_text(command, "action");
    if (action && xmlStrEqual(action, xml::uchars("revert"))) {
        log_msg(LOG_WARNING, "set_factory_default, revert to defaults is not implemented");
        reply_error(reply, 5,
                    "set_factory_default: partial revert to defaults is not a valid command.",
                    "Invalid parameter");
        return -5;
    }
    bool custom = action && xmlStrEqual(action, xml::uchars("custom"));
    const char *exceptions = custom ? revert_exceptions(command) : nullptr;
    reply.append("<set_factory_default>");
    if (exceptions)
        log_msg(LOG_INFO, "set_factory_default: reverting to factory with exceptions '%s'.",
                exceptions);
    else
        log_msg(LOG_INFO, "set_factory_default: reverting to factory.");
    revert_certificates(exceptions);
    revert_to_factory(exceptions);
    int result = apply_custom_defaults(reply, command, source);
    // The parent reverts the factory items only root may touch, then regenerates the system files
    // from the reverted configuration: both, whatever happened above.
    parent_send(LETTER_REVERT);
    parent_send(LETTER_GENERATE);
    reply.append("</set_factory_default>");
    return result;
}
