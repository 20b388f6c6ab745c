#include "reply/reply.h"
#include "state/handlers.h"
#include "state/state_table.h"

int query_state(xmlBufferPtr reply, xmlNodePtr command, const char *)
{
    reply_append(reply, "<query_state>");
    int result = render_state_table(reply, command, STATE_QUERY, {.table = &state_groups});
    reply_append(reply, "</query_state>");
    return result;
}
