// The command line of `rci`, read through one table of options.
#pragma once

#include "base/bus_endpoint.h"

#include <cstdint>
#include <string>

enum class rci_mode { rci, read, write, op, serve, help, version };

struct rci_options {
    rci_mode mode = rci_mode::rci;
    bool cloud = false;
    bool pretty = false;
    int op = 0;
    uint32_t tag = 1;
    int selector = 0;
    std::string xpath;
    // FILE, "-" for standard input, or empty when none was given.
    std::string input;
    std::string serve_name;
    std::string answer_text;
    std::string answer_cmd;
    bool has_answer_text = false;
    double delay_seconds = 0;
    long repeat = 1;
    int timeout_ms = client_timeout_ms;
};

// 0 when the arguments make one valid command; otherwise -1 with the reason in `error`.
int parse_options(int argc, char *const argv[], rci_options &out, std::string &error);

extern const char rci_usage[];
