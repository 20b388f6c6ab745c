#include "base/log.h"
#include "channel/letters.h"
#include "channel/payload.h"
#include "supervisor/process.h"
#include "supervisor/root_daemon.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace
{

enum pending_bit : unsigned { RUN_AT_ONCE = 0, PENDING_GENERATE = 1, PENDING_TUNNEL = 2 };

// Messages for an answer that the child pipe did not take: the write failed (errno and its
// text), or it took fewer bytes (the count and 2).
struct answer_notes {
    const char *write_failed;
    const char *short_write;
};

constexpr answer_notes action_answer{
    .write_failed = "Unable to write to child %d (%s)",
    .short_write = "Pipe did not accept entire response! %d of %d",
};
constexpr answer_notes password_answer{
    .write_failed = "Unable to write to sp child %d (%s)",
    .short_write = "Pipe did not accept entire sp response! %d of %d",
};

constexpr payload_reading date_reading{
    .chunk = 26,
    .length_unreadable = "Unable to read date from pipe, errno %d\n",
    .payload_unreadable = "Unable to read date from pipe, errno %d\n",
};
constexpr payload_reading password_reading{
    .chunk = 100,
    .length_unreadable = "Unable to read length from pipe, errno %d\n",
    .payload_unreadable = "Unable to read user from pipe, errno %d\n",
};

// What the parent does with one letter; the letter's rule (letters.h) says whether it carries a
// payload and whether it is answered. `reading` says how a payload is read (a chunk of 0: the
// letter has none); `content_priority` is the priority of the log line for a payload whose
// content the rule refuses; `pending` is the bit that defers the action until the pipe has gone
// quiet, so that a burst of the letter runs it once (RUN_AT_ONCE: the action runs as the letter
// arrives); `answer` names the messages for an answer that the pipe did not take; `failure_note`
// is logged at LOG_CRIT when the action fails.
struct letter_row {
    parent_letter letter;
    payload_reading reading = {};
    int content_priority = LOG_ERR;
    unsigned pending = RUN_AT_ONCE;
    parent_action action;
    const answer_notes *answer = &action_answer;
    const char *failure_note = nullptr;
};

// Deferred rows run in table order: generate before the tunnel start.
constexpr std::array letter_table{
    letter_row{.letter = LETTER_REBOOT, .action = reboot_action},
    letter_row{.letter = LETTER_DATE, .reading = date_reading, .action = set_date},
    letter_row{.letter = LETTER_GENERATE, .pending = PENDING_GENERATE, .action = generate_action},
    letter_row{.letter = LETTER_TUNNEL, .pending = PENDING_TUNNEL, .action = start_tunnel},
    letter_row{.letter = LETTER_REVERT,
               .action = revert_passwords,
               .failure_note = "revert_to_factory: Unable to reset associated items!\n"},
    letter_row{.letter = LETTER_FIRMWARE, .action = apply_firmware},
    letter_row{.letter = LETTER_PASSWORD,
               .reading = password_reading,
               .content_priority = LOG_CRIT,
               .action = read_password_request,
               .answer = &password_answer},
};
static_assert(letter_table.size() == letter_rules.size(), "the parent serves every letter");
// True when the row reads a payload exactly when its letter's rule gives the letter one.
constexpr bool reads_as_ruled(const letter_row &row)
{
    for (const letter_rule &rule : letter_rules)
        if (rule.letter == row.letter) return has_payload(rule) == (row.reading.chunk > 0);
    return false;
}
static_assert(std::ranges::all_of(letter_table, reads_as_ruled),
              "every letter the parent serves is read as its rule says");

const letter_row *find_letter(int letter)
{
    for (const letter_row &row : letter_table)
        if (static_cast<unsigned char>(row.letter) == letter) return &row;
    return nullptr;
}

// Writing into a pipe that nobody reads would end the parent by SIGPIPE, whose default action it
// keeps because the commands it runs inherit it.
ssize_t send_answer(int fd, const char *answer, size_t size)
{
    pollfd target{.fd = fd, .events = POLLOUT, .revents = 0};
    if (poll(&target, 1, 0) > 0 && (target.revents & POLLERR)) {
        errno = EPIPE;
        return -1;
    }
    return write(fd, answer, size);
}

void write_answer(int fd, parent_letter letter, bool succeeded, const answer_notes &notes)
{
    const char answer[2] = {letter, succeeded ? ANSWER_DONE : ANSWER_FAILED};
    ssize_t count = send_answer(fd, answer, sizeof answer);
    if (count < 0)
        log_errno(LOG_CRIT, notes.write_failed);
    else if (count < 2)
        log_msg(LOG_CRIT, notes.short_write, static_cast<int>(count), 2);
}

// The payload is read and checked here, before the action, so that every payload leaves the pipe
// whole (or up to the end of file) whatever the action does with it, and no action sees one that
// the letter's rule refuses.
void run_letter(const parent_link &link, const letter_row &row)
{
    const letter_rule &rule = *find_letter_rule(row.letter);
    char payload[max_letter_payload + 1];
    int length = 0;
    int result = -1;
    if (has_payload(rule)) {
        length = read_payload(link.from_engine, rule, row.reading, payload, sizeof payload);
        if (length >= 0 && !payload_content_valid(rule, payload, static_cast<size_t>(length),
                                                  row.content_priority))
            length = -1;
    }
    if (length >= 0)
        result = row.action(has_payload(rule) ? payload : nullptr, static_cast<size_t>(length));
    // Password payloads must not outlive their use.
    explicit_bzero(payload, sizeof payload);
    if (result < 0 && row.failure_note) log_msg(LOG_CRIT, "%s", row.failure_note);
    if (rule.answered) write_answer(link.to_engine, row.letter, result == 0, *row.answer);
}

struct loop_state {
    unsigned pending = 0;
    // The pipe reached end of file: every writer, so the engine, is gone or going.
    bool closed = false;
};

constexpr int NO_COMMAND = -1;
constexpr int READ_FAILED = -2;

// A closed pipe is left out of the poll, which then only wakes the loop to look for the engine's
// exit status.
int poll_timeout(const loop_state &state)
{
    if (state.pending != 0) return 0;
    return state.closed ? 1000 : 30000;
}

struct poll_outcome {
    int count;
    short events;
};

poll_outcome wait_for_letter(const parent_link &link, const loop_state &state)
{
    pollfd watched{.fd = state.closed ? -1 : link.from_engine, .events = POLLIN, .revents = 0};
    int count = poll(&watched, 1, poll_timeout(state));
    if (count < 0 && errno != EINTR) {
        log_errno(LOG_ERR, "poll error: errno %d (%s)");
        stop_requested = 1;
    }
    if (count != 0)
        log_msg(LOG_INFO, "Parent poll returned %d, %x.", count,
                static_cast<unsigned>(watched.revents));
    return {count, watched.revents};
}

// 1 when a letter was read, 0 at end of file, -1 when the read failed.
int read_letter(const parent_link &link, loop_state &state, unsigned char *letter)
{
    ssize_t count = read(link.from_engine, letter, 1);
    int err = errno;
    log_msg(LOG_INFO, "Parent read returned %d '%c'", static_cast<int>(count),
            count == 1 ? *letter : ' ');
    if (count < 0) {
        errno = err;
        log_errno(LOG_WARNING, "Pipe read failure: errno %d (%s)");
        return -1;
    }
    if (count == 0) {
        state.closed = true;
        return 0;
    }
    log_msg(LOG_INFO, "Parent received '%c'.", *letter);
    return 1;
}

// The letter to dispatch in this pass, NO_COMMAND, or READ_FAILED.
int next_command(const parent_link &link, loop_state &state)
{
    unsigned char letter = 0;
    int got = read_letter(link, state, &letter);
    if (got <= 0) return got < 0 ? READ_FAILED : NO_COMMAND;
    const letter_row *row = find_letter(letter);
    if (row && row->pending != RUN_AT_ONCE) {
        state.pending |= row->pending;
        return NO_COMMAND;
    }
    return letter;
}

void run_actions(const parent_link &link, loop_state &state, int command)
{
    for (const letter_row &row : letter_table)
        if (state.pending & row.pending) run_letter(link, row);
    state.pending = 0;
    if (command == NO_COMMAND) return;
    if (const letter_row *row = find_letter(command))
        run_letter(link, *row);
    else
        log_msg(LOG_ERR, "Unknown command '%02x' sent from child!", static_cast<unsigned>(command));
}

// After end of file the engine is looked at on every pass until its exit status settles it.
void watch_engine(parent_link &link, const loop_state &state)
{
    if (!child_changed && !state.closed) return;
    if (link.engine == 0) {
        if (state.closed) stop_requested = 1;
    } else if (reap_lost_child(link.engine, "child") == 1) {
        stop_requested = 1;
        link.engine = 0;
    }
    child_changed = 0;
}

void run_pass(parent_link &link, loop_state &state)
{
    poll_outcome polled = wait_for_letter(link, state);
    watchdog_heartbeat();
    bool readable = polled.count > 0 && (polled.events & POLLIN);
    if (polled.count > 0 && !readable && (polled.events & (POLLHUP | POLLNVAL)))
        state.closed = true;
    int command = NO_COMMAND;
    if (readable) {
        command = next_command(link, state);
        if (command == READ_FAILED) return;
    }
    if (command != NO_COMMAND || (state.pending != 0 && !readable))
        run_actions(link, state, command);
    watch_engine(link, state);
}

} // namespace

void parent_loop(parent_link &link)
{
    loop_state state;
    while (!stop_requested)
        run_pass(link, state);
}
