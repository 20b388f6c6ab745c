// How `rci` hands replies to its user.
#pragma once

#include <cstddef>
#include <string>

// Reads FILE, or standard input for "-"; 0 or a negated errno.
int read_input(const std::string &path, std::string &out);
// The reply byte for byte, or indented for people when `pretty` is set and it is XML.
void print_reply(const char *text, size_t length, bool pretty);
