// One request (or the same one repeated) and its reply on standard output.
#pragma once

#include "options.h"

#include "msgbus.h"

// Sends what the options describe on `client` and prints the outcome; returns the exit status.
int run_request(msgbus_client *client, const rci_options &options);
