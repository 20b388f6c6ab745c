// Runs the answer command of `rci --serve`.
#pragma once

#include <cstddef>
#include <string>

// Runs `command` with /bin/sh -c, the payload on its standard input, and collects its standard
// output. The command is the tool user's own text; a forwarded payload only ever reaches the
// command's standard input, never its command line. 0, or a negated errno when it could not run.
int run_answer_cmd(const std::string &command, const char *payload, size_t length,
                   std::string &output);
