#include "base/log.h"
#include "channel/channel.h"
#include "commands/handlers.h"
#include "reply/reply.h"

// The reply goes out before the reboot: the parent waits a few seconds after the letter.
int reboot_command(reply_buffer &reply, xmlNodePtr, request_source source)
{
    reply.append("<reboot/>");
    log_msg(LOG_NOTICE, "vexacsd received reboot request from %s.", request_source_name(source));
    parent_send(LETTER_REBOOT);
    return 0;
}
