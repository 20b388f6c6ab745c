#include "base/xml.h"
#include "channel/channel.h"
#include "commands/targets.h"
#include "reply/reply.h"

#include <cstdio>
#include <cstring>
#include <memory>

namespace
{

constexpr char separator = '\x1e';
// The payload and its terminating zero.
constexpr size_t payload_size = 80;
constexpr int min_password_chars = 8;

struct wiping_free {
    void operator()(xmlChar *text) const
    {
        explicit_bzero(text, static_cast<size_t>(xmlStrlen(text)));
        xmlFree(text);
    }
};
// A text that may hold a password: overwritten with zero bytes before it is freed.
using secret_text = std::unique_ptr<xmlChar, wiping_free>;

// Text that libxml2 keeps in the document's dictionary may be shared with other nodes, so it is
// replaced by zero bytes of its own instead of being overwritten.
void wipe_text_node(xmlNodePtr node)
{
    size_t length = std::strlen(xml::chars(node->content));
    xmlDictPtr dict = node->doc ? node->doc->dict : nullptr;
    if (!dict || !xmlDictOwns(dict, node->content)) {
        explicit_bzero(node->content, length);
        return;
    }
    auto *zeros = static_cast<xmlChar *>(xmlMalloc(length + 1));
    if (!zeros) return;
    std::memset(zeros, 0, length + 1);
    node->content = zeros;
}

// Overwrites every text below `element` in the request document with zero bytes.
void wipe_texts(xmlNodePtr element)
{
    for (xmlNodePtr child = element->children; child; child = child->next) {
        bool text = child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE;
        if (text && child->content)
            wipe_text_node(child);
        else if (child->type == XML_ELEMENT_NODE)
            wipe_texts(child);
    }
}

struct password_request {
    secret_text login;
    secret_text password;
    secret_text current;
};

// The last element of each name counts; every password text in the document is wiped.
void read_request(xmlNodePtr command, password_request &request)
{
    for (xmlNodePtr child = command->children; child; child = child->next) {
        if (child->type != XML_ELEMENT_NODE) continue;
        secret_text *field = xml::name_is(child, "login")              ? &request.login
                             : xml::name_is(child, "password")         ? &request.password
                             : xml::name_is(child, "current_password") ? &request.current
                                                                       : nullptr;
        if (!field) continue;
        field->reset(xmlNodeGetContent(child));
        if (field != &request.login) wipe_texts(child);
    }
}

// The first failed check writes its error element; 0 when all pass.
int check_request(reply_buffer &reply, const password_request &request)
{
    const char *missing = !request.login      ? "login"
                          : !request.password ? "password"
                          : !request.current  ? "current_password"
                                              : nullptr;
    if (missing) {
        reply_error(reply, 5, "Missing parameter", missing);
        return -1;
    }
    if (xmlUTF8Strlen(request.password.get()) < min_password_chars) {
        reply_error(reply, 6, "Password too short (eight character minimum)", "password");
        return -1;
    }
    return 0;
}

// The payload's length, or -1 when it does not fit with its terminating zero.
int format_payload(char (&payload)[payload_size], const password_request &request)
{
    int length = std::snprintf(
        payload, sizeof payload, "%s%c%s%c%s", xml::chars(request.login.get()), separator,
        xml::chars(request.current.get()), separator, xml::chars(request.password.get()));
    return length < 0 || static_cast<size_t>(length) >= sizeof payload ? -1 : length;
}

} // namespace

int set_password_command(reply_buffer &reply, xmlNodePtr command, const char *, request_source)
{
    password_request request;
    read_request(command, request);
    if (check_request(reply, request) < 0) return -1;
    char payload[payload_size];
    int length = format_payload(payload, request);
    request = {};
    if (length < 0) {
        explicit_bzero(payload, sizeof payload);
        reply_error(reply, 6, "Invalid parameter", "login/password");
        return -1;
    }
    char answer[2] = {};
    ssize_t count = parent_request(LETTER_PASSWORD, static_cast<size_t>(length), payload, answer,
                                   sizeof answer);
    explicit_bzero(payload, sizeof payload);
    if (!parent_answer_accepted(LETTER_PASSWORD, answer, count)) {
        reply_error(reply, 4, "Update failed", "password");
        return -1;
    }
    return 0;
}
