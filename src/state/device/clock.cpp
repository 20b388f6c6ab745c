// The device's clock: read as two texts, set through the privileged parent.
#include "base/log.h"
#include "base/xml.h"
#include "channel/channel.h"
#include "reply/reply.h"
#include "state/device/providers.h"

#include <cstdio>
#include <cstring>
#include <ctime>

namespace
{

// The local time now; tzset first, since localtime_r need not notice a changed zone.
bool local_now(tm &local)
{
    tzset();
    time_t now = time(nullptr);
    return localtime_r(&now, &local) != nullptr;
}

// The parent's date text: 'u' for UTC or 'l' for local time, then at most 31 characters of the
// request with its "T" made a blank and a zero offset cut off. 0 when the text has that form,
// else STATE_INVALID (logged).
int date_payload(const char *value, char (&payload)[1 + 31 + 1])
{
    char *text = payload + 1;
    std::snprintf(text, sizeof payload - 1, "%s", value);
    char *t = std::strchr(text, 'T');
    if (!t) {
        log_msg(LOG_ERR, "Invalid set_timeT: %s\n", text);
        return STATE_INVALID;
    }
    *t = ' ';
    char *sign = std::strchr(t, '+');
    if (!sign) sign = std::strchr(t, '-');
    if (!sign) {
        payload[0] = 'l';
        return STATE_DONE;
    }
    if (std::strncmp(sign + 1, "0000", 4) != 0) {
        log_msg(LOG_ERR, "Invalid set_time: %s\n", text);
        return STATE_INVALID;
    }
    payload[0] = 'u';
    *sign = '\0';
    return STATE_DONE;
}

// Only UTC and zone-less local times are taken: a text with a "Z" goes on as local time with the
// Z left in, for the parent and its date tool to judge. No answer is awaited, and a payload that
// the parent would refuse (too long, a quote in it) is not sent at all: the channel logs why, and
// the client is answered as if it had been.
int set_clock(xmlNodePtr element)
{
    xmlNodePtr first = element ? element->children : nullptr;
    xml::text_ptr value(first ? xmlNodeGetContent(first) : nullptr);
    if (!value || !*value) return STATE_NO_VALUE;
    char payload[1 + 31 + 1];
    int result = date_payload(xml::chars(value.get()), payload);
    if (result == STATE_DONE) parent_send_data(LETTER_DATE, std::strlen(payload), payload);
    return result;
}

} // namespace

int datetime(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &)
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    tm local;
    char text[64];
    if (!local_now(local) || !asctime_r(&local, text)) return -1;
    text[std::strcspn(text, "\r\n")] = '\0';
    reply->append(text);
    return STATE_DONE;
}

int xmldatetime(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &)
{
    if (mode != STATE_QUERY) return set_clock(element);
    tm local;
    char text[32];
    if (!local_now(local) || std::strftime(text, sizeof text, "%FT%T%z", &local) == 0) return -1;
    reply->append(text);
    trace("Time: %s, '%s', '%s'\n", text, tzname[0], tzname[1]);
    return STATE_DONE;
}
