// One request (or the same one repeated) and its reply on standard output.
#pragma once

#include "options.h"

#include "msgbus.h"

#include <string>

// The request's payload: FILE or standard input, or the selector and expression of --read.
// Returns 1 (the exit status) with a message when the input cannot be read, else 0.
int build_payload(const rci_options &options, std::string &payload);
// Sends the payload as the options describe on `client` and prints the outcome; returns the
// exit status.
int run_request(msgbus_client *client, const rci_options &options, const std::string &payload);
