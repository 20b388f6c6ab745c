// The parent's side of the password change: the engine's request, the check of the account and
// the PAM transaction, answered from a conversation function of the program's own.
#include "base/log.h"
#include "supervisor/root_daemon.h"

#include <security/pam_appl.h>
#include <shadow.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace
{

constexpr std::array<std::string_view, 2> allowed_accounts{"admin", "python"};
constexpr char token_separator[] = "\x1e";
constexpr size_t request_size = 100;

// What my_conv answers to every password prompt: the current password while authenticating,
// the new one while changing. Set only for the length of one transaction.
const char *conv_password = nullptr;

// A conversation may carry several messages, but the PAM service is configured with modules that
// ask one question per call; anything else is refused rather than answered by guesswork.
int my_conv(int num_msg, const pam_message **msg, pam_response **resp, void *)
{
    *resp = nullptr;
    if (num_msg != 1) {
        log_msg(LOG_DEBUG, "num_msg not handled: %d", num_msg);
        return PAM_CONV_ERR;
    }
    if (msg[0]->msg_style != PAM_PROMPT_ECHO_OFF) {
        log_msg(LOG_DEBUG, "msg_style not handled: %d", msg[0]->msg_style);
        return PAM_SUCCESS;
    }
    // PAM frees the response and its text with free().
    auto *response = static_cast<pam_response *>(std::calloc(1, sizeof(pam_response)));
    char *text = response && conv_password ? strdup(conv_password) : nullptr;
    if (!text) {
        std::free(response);
        return PAM_BUF_ERR;
    }
    response->resp = text;
    *resp = response;
    return PAM_SUCCESS;
}

// Owns one PAM transaction: pam_end, with the last result, runs on every way out.
struct pam_transaction {
    explicit pam_transaction(pam_handle_t *started) : handle(started) {}
    ~pam_transaction() { pam_end(handle, status); }
    pam_transaction(const pam_transaction &) = delete;
    pam_transaction &operator=(const pam_transaction &) = delete;

    pam_handle_t *handle;
    int status = PAM_SUCCESS;
};

// Authenticates with the current password, then changes it; the last PAM result.
int run_transaction(pam_handle_t *handle, const char *user, const char *current,
                    const char *replacement)
{
    int status = pam_set_item(handle, PAM_USER, user);
    if (status != PAM_SUCCESS) return status;
    conv_password = current;
    status = pam_authenticate(handle, 0);
    if (status != PAM_SUCCESS) {
        log_msg(LOG_DEBUG, "pam_authenticate failed: %d %s", status, pam_strerror(handle, status));
        return status;
    }
    conv_password = replacement;
    status = pam_chauthtok(handle, 0);
    if (status != PAM_SUCCESS)
        log_msg(LOG_DEBUG, "pam_chauthtok failed: %d %s", status, pam_strerror(handle, status));
    return status;
}

// Splits the request in place at the separator, skipping empty pieces as strtok_r does.
void split_request(char *request, std::array<const char *, 3> &pieces)
{
    char *rest = nullptr;
    char *next = request;
    for (const char *&piece : pieces) {
        piece = strtok_r(next, token_separator, &rest);
        next = nullptr;
    }
}

} // namespace

int user_may_change_password(const char *user)
{
    if (std::find(allowed_accounts.begin(), allowed_accounts.end(), user) == allowed_accounts.end())
        return 0;
    spwd entry{};
    spwd *found = nullptr;
    char work[256];
    int error = getspnam_r(user, &entry, work, sizeof work, &found);
    bool may = error == 0 && found && found->sp_pwdp && found->sp_pwdp[0] != '*';
    explicit_bzero(work, sizeof work);
    return may ? 1 : 0;
}

int pam_change_password(const char *user, const char *current, const char *replacement)
{
    if (!user_may_change_password(user)) {
        log_msg(LOG_CRIT, "Invalid user for change request, ignored.");
        return -1;
    }
    const pam_conv conversation{.conv = my_conv, .appdata_ptr = nullptr};
    pam_handle_t *started = nullptr;
    int status = pam_start("vexacsd", nullptr, &conversation, &started);
    if (status != PAM_SUCCESS) {
        log_msg(LOG_DEBUG, "pam_start failed: %s", pam_strerror(started, status));
        return -1;
    }
    pam_transaction transaction(started);
    transaction.status = run_transaction(transaction.handle, user, current, replacement);
    conv_password = nullptr;
    return transaction.status == PAM_SUCCESS ? 0 : -1;
}

// The payload has passed the letter's rule: three pieces, no zero byte. It is copied so it can be
// split in place, and the copy wiped after use.
int read_password_request(const char *payload, size_t length)
{
    char request[request_size];
    if (length >= sizeof request) return -1;
    std::memcpy(request, payload, length);
    request[length] = '\0';
    std::array<const char *, 3> pieces{};
    split_request(request, pieces);
    int result = root_hooks.password_changer(pieces[0], pieces[1], pieces[2]) == 0 ? 0 : -1;
    explicit_bzero(request, sizeof request);
    return result;
}
