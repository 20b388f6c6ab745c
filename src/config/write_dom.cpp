#include "config/write_dom.h"

#include "base/log.h"
#include "rci/reply.h"

int write_dom(xmlBufferPtr reply, xmlNodePtr request, const char *source, int notify)
{
    (void)source;
    (void)notify;
    if (reply && request) reply_open_tag_attrs(reply, request);
    if (reply) reply_error(reply, 6, "Internal error", nullptr);
    if (reply && request) reply_close_tag(reply, xml::chars(request->name));
    return -6;
}
