// Live device state: the tables of state groups and fields behind query_state and set_state.
//
// A state group is either a provider that writes a whole block of state itself, or a table of
// fields, each with its own provider; one walker, render_state_table, serves both levels. It
// picks rows by the element names of the request, leaves out rows whose product capability is
// missing, writes the row's element around the provider's output (unless the row is self-tagged)
// and calls the provider. set_state is the same walk in set mode without a reply buffer.
#pragma once

#include "reply/reply_buffer.h"

#include <span>

struct state_row;
using state_table = std::span<const state_row>;

enum state_mode : int { STATE_QUERY = 0, STATE_SET = 1 };

// Results of a provider besides a negative number for any other failure.
enum state_result : int {
    STATE_DONE = 0,
    STATE_NO_VALUE = 1,     // set: the request element carries no value; query: none could be read
    STATE_NOT_SETTABLE = 4, // the field cannot be set
    STATE_INVALID = 5,      // the given value is invalid
};

// What a row hands its provider unchanged; each provider reads the one member it needs.
struct state_arg {
    const state_table *table = nullptr; // the field table of a group served by render_state_table
    const char *text = nullptr;         // an interface name, file key, tool label, capability
    int selector = 0;                   // a small number choosing among a provider's values
};

// A provider gets the reply buffer (nullptr during set_state), the request element that selected
// its row (the enclosing element itself when that has no children), the mode and its row's
// argument. In query mode it appends only the value text, or, when its row is self-tagged, its
// whole element or nothing. Every provider but the three that apply or ignore the mode returns
// STATE_NOT_SETTABLE at once in set mode.
// Providers are declared with the function type.
using state_provider_fn = int(reply_buffer *reply, xmlNodePtr element, state_mode mode,
                              const state_arg &arg);
using state_provider = state_provider_fn *;

// One group or field. `name` is the element name, matched exactly against request elements;
// `name_attr`, when set, is written as the element's name attribute and a request element whose
// name attribute differs does not select the row; `capability`, when set, must exist for the row
// to be served; `self_tagged` rows write their own element (or nothing), the others are wrapped
// in <name>...</name> by the walker.
struct state_row {
    const char *name;
    state_provider provider;
    state_arg arg = {};
    const char *name_attr = nullptr;
    const char *capability = nullptr;
    bool self_tagged = false;
};

// Walks arg.table under `element` (every row when the element has no child nodes, else the rows
// its child elements name, in request order). Returns the result of the last provider it called,
// or -1 when it called none. It is the provider of the groups that are field tables.
int render_state_table(reply_buffer *reply, xmlNodePtr element, state_mode mode,
                       const state_arg &arg);

// The state groups, in the order query_state lists them.
extern const state_table state_groups;
