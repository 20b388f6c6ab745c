// What every stand-in shares: where the simulated gateway keeps its data, and the record of the
// calls that tests observe. Linked into each stand-in; nothing of it leaves those libraries.
//
//   data    "/etc/vexa/sim/NAME" ($VEXA_SIM_DATA instead of /etc/vexa/sim when set): read anew
//           on every call, so that a test can change it while the daemon runs
//   calls   "/var/run/sim/calls.log" ($VEXA_SIM_DIR instead of /var/run/sim): one line per call,
//           the function's name and then its arguments, separated by single blanks
//   results "/var/run/sim/exit/FUNCTION": a number that the function returns instead of its
//           usual result
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace sim
{

// "/var/run/sim/NAME" (under $VEXA_SIM_DIR when set): where run-time files of the stand-ins live.
std::string run_path(std::string_view name);
// The content of data file `name`, or nothing when it cannot be read.
std::optional<std::string> read_data(std::string_view name);
// Appends "FUNCTION ARG1 ARG2 ..." to the call record in one write, so lines of concurrent
// callers never mix.
void record_call(std::string_view function, std::initializer_list<std::string_view> args);
// The number in the result file of `function`, or `usual` when there is none (or it is no number).
int call_result(std::string_view function, int usual);

} // namespace sim
