// `rci --serve`: a local client that serves a do_command target name.
#pragma once

#include "options.h"

#include "msgbus.h"

// Registers the name and answers forwarded commands until SIGTERM or SIGINT; the exit status.
int run_serve(msgbus_client *client, const rci_options &options);
