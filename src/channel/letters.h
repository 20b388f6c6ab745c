// The letters of the engine-to-parent channel. The engine's senders and the parent's letter table
// both take them from here, so a letter is spelt in one place only.
#pragma once

#include <sys/types.h>

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
