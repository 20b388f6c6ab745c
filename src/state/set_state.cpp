#include "base/log.h"
#include "reply/reply.h"
#include "reply/validation.h"
#include "state/handlers.h"
#include "state/state_table.h"

namespace
{

constexpr const char *schema = "/usr/share/validation/set_state.rng";

// Schema problems are error id 5 (the outcome the report turns into "Unknown error"); a grammar
// that cannot be read is outcome 6.
constexpr validation_rule set_state_rule{
    .command = "set_state",
    .invalid_id = STATE_INVALID,
    .missing_id = 6,
    .missing_text = "RelaxNG schema file, set_state.rng, not present\n",
};

// How an outcome other than success is reported: the line logged at LOG_ERR and the error
// element's id and description (the hint is "set_state").
struct outcome_report {
    int id;
    const char *text;
    const char *log;
};

// A negative outcome means a provider failed, or no row matched.
const outcome_report &report_for(int outcome)
{
    static constexpr outcome_report not_updated{
        .id = 2, .text = "Unable to update state", .log = "Unable to update state\n"};
    static constexpr outcome_report no_value{
        .id = 1, .text = "Value missing", .log = "set_state no value\n"};
    static constexpr outcome_report not_settable{
        .id = 4, .text = "Not settable", .log = "set_state not settable\n"};
    static constexpr outcome_report unknown{
        .id = 3, .text = "Unknown error", .log = "set_state unknown error\n"};
    if (outcome < 0) return not_updated;
    if (outcome == STATE_NO_VALUE) return no_value;
    if (outcome == STATE_NOT_SETTABLE) return not_settable;
    return unknown;
}

// Success echoes the request's groups as empty elements; with several fields set, the last
// provider's result decides.
void report(reply_buffer &reply, xmlNodePtr command, int outcome)
{
    if (outcome == STATE_DONE) {
        reply_empty_children(reply, command);
        return;
    }
    const outcome_report &row = report_for(outcome);
    log_msg(LOG_ERR, "%s", row.log);
    reply_error(reply, row.id, row.text, "set_state");
}

} // namespace

int set_state(reply_buffer &reply, xmlNodePtr command, request_source)
{
    reply.append("<set_state>");
    int outcome = validate_request(command, schema, set_state_rule, reply);
    if (outcome == set_state_rule.missing_id)
        reply_error(reply, 6, "Set state validation file not found", "set_state");
    // The set walk has no reply buffer: tags and any text of the providers go nowhere.
    if (outcome == 0)
        outcome = render_state_table(nullptr, command, STATE_SET, {.table = &state_groups});
    report(reply, command, outcome);
    reply.append("</set_state>");
    return outcome;
}
