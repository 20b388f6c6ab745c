#include "reply/reply.h"
#include "state/handlers.h"
#include "state/state_table.h"

int query_state(reply_buffer &reply, xmlNodePtr command, request_source)
{
    reply.append("<query_state>");
    int result = render_state_table(&reply, command, STATE_QUERY, {.table = &state_groups});
    reply.append("</query_state>");
    return result;
}
