// The radio's do_command targets "pelk" and "zigbee" (both names mean the same radio), and its
// state group.
#pragma once

#include <libxml/tree.h>

#include <array>

// The do_command target names of the radio.
inline constexpr std::array<const char *, 2> pelk_target_names{"pelk", "zigbee"};

// Runs every child element of the do_command element as one radio subcommand, in request order;
// each writes its own element into the reply. The target name is not used. Returns 0.
int pelk_do_command(xmlBufferPtr reply, xmlNodePtr command, const char *target);

// The zigbee_state group (self-tagged): the gateway radio's address and capabilities, and, unless
// the element's `cached` attribute starts with "true", the state catalogue of its own radio.
// Runs its query in either mode (without a reply buffer nothing is written). 0, or -1 when the
// gateway radio cannot be read (then nothing is written).
int zigbee_state(xmlBufferPtr reply, xmlNodePtr element);
