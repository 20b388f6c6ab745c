// The letters of the engine-to-parent channel and the rules both sides hold them to. The
// engine's senders refuse what the parent would refuse, and the parent checks again what
// arrives, both with the rows and functions here, so a letter and its rules are written once.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstddef>

enum parent_letter : char {
    LETTER_REBOOT = 'r',   // reboot
    LETTER_DATE = 'd',     // set the clock; payload: 'u' or 'l', then YYYY-MM-DD HH:MM:SS
    LETTER_GENERATE = 'g', // regenerate the system files (deferred, merged)
    LETTER_TUNNEL = 's',   // start the cloud tunnel (deferred, merged, answered)
    LETTER_REVERT = 'F',   // revert the account passwords to the factory's
    LETTER_FIRMWARE = 'u', // apply the firmware image (answered)
    LETTER_PASSWORD = 'p', // change a password; payload: login, current, new, 0x1E between
};

// The second byte of an answer: the action succeeded, or it did not.
inline constexpr char ANSWER_DONE = '1';
inline constexpr char ANSWER_FAILED = '0';

// An answer of `count` bytes counts as success only when it is the asker's own letter followed by
// ANSWER_DONE; anything else (a short read, another letter, a failure) does not.
inline bool parent_answer_accepted(parent_letter letter, const char *answer, ssize_t count)
{
    return count >= 2 && answer[0] == letter && answer[1] == ANSWER_DONE;
}

// The date text reaches a root shell inside single quotes: true when it holds neither a quote,
// which would end them, nor a control character, which could end the command line. The date tool
// judges everything else.
bool date_text_valid(const char *payload, size_t length);
// Login, current and new password separated by 0x1E: true when the payload holds no zero byte and
// splits into exactly three pieces, empty pieces skipped as strtok_r skips them.
bool password_request_valid(const char *payload, size_t length);

// One letter of the channel. A letter with a payload is followed by a length byte and the
// payload; the parent takes lengths `min_payload` to `max_payload` (both 0: the letter has no
// payload and no length byte). An `answered` letter is answered with the letter and ANSWER_DONE or
// ANSWER_FAILED, and is sent only with parent_request; the others never are. `check`, when set, is
// the rule the payload's content must meet. The refusals are worded once, as the parent logs them:
// `invalid_length` with the length, `invalid_content` as it stands; the engine logs the same words
// when it refuses to send.
struct letter_rule {
    parent_letter letter;
    size_t min_payload = 0;
    size_t max_payload = 0;
    bool answered = false;
    bool (*check)(const char *payload, size_t length) = nullptr;
    const char *invalid_length = nullptr;
    const char *invalid_content = nullptr;
};

inline constexpr std::array letter_rules{
    letter_rule{.letter = LETTER_REBOOT},
    letter_rule{.letter = LETTER_DATE,
                .min_payload = 20,
                .max_payload = 25,
                .check = date_text_valid,
                .invalid_length = "Invalid date set length %d, ignored.\n",
                .invalid_content = "Invalid date set text, ignored.\n"},
    letter_rule{.letter = LETTER_GENERATE},
    letter_rule{.letter = LETTER_TUNNEL, .answered = true},
    letter_rule{.letter = LETTER_REVERT},
    letter_rule{.letter = LETTER_FIRMWARE, .answered = true},
    letter_rule{.letter = LETTER_PASSWORD,
                .min_payload = 3,
                .max_payload = 99,
                .answered = true,
                .check = password_request_valid,
                .invalid_length = "Invalid user set length %d, ignored.\n",
                .invalid_content = "Did not receive expected tokens"},
};

// The longest payload of any letter: one message is the letter, a length byte and this many bytes.
inline constexpr size_t max_letter_payload = [] {
    size_t most = 0;
    for (const letter_rule &rule : letter_rules)
        most = rule.max_payload > most ? rule.max_payload : most;
    return most;
}();

// The row of `letter`, or nullptr for a byte that is no letter.
constexpr const letter_rule *find_letter_rule(int letter)
{
    for (const letter_rule &rule : letter_rules)
        if (static_cast<unsigned char>(rule.letter) == letter) return &rule;
    return nullptr;
}

constexpr bool has_payload(const letter_rule &rule)
{
    return rule.max_payload > 0;
}
constexpr bool payload_length_valid(const letter_rule &rule, size_t length)
{
    return length >= rule.min_payload && length <= rule.max_payload;
}
