// rci: the command-line client of the configuration daemon's bus endpoint.
#include "options.h"
#include "request.h"
#include "serve.h"

#include "msgbus.h"

#include <grp.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace
{

constexpr const char *endpoint = "vexacs";
// The cloud connector's identity: requests from it run with the source "nimbo".
constexpr uid_t cloud_uid = 1000;
constexpr gid_t cloud_gid = 72;

struct client_closer {
    void operator()(msgbus_client *client) const { msgbus_disconnect(client); }
};

int become_cloud_connector()
{
    gid_t groups[] = {cloud_gid};
    if (setgroups(1, groups) < 0 || setresgid(cloud_gid, cloud_gid, cloud_gid) < 0 ||
        setresuid(cloud_uid, cloud_uid, cloud_uid) < 0) {
        std::fprintf(stderr, "rci: --cloud needs root to take uid %u, gid %u: %s\n", cloud_uid,
                     cloud_gid, strerror(errno));
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    rci_options options;
    std::string error;
    if (parse_options(argc, argv, options, error) < 0) {
        std::fprintf(stderr, "rci: %s\n%s", error.c_str(), rci_usage);
        return 2;
    }
    if (options.mode == rci_mode::help) return std::fputs(rci_usage, stdout) < 0;
    if (options.mode == rci_mode::version) return std::printf("rci %s\n", VEXA_VERSION) < 0;
    // A reader that goes away (a closed pipe, an answer command that stops reading) is an error
    // to report, not a reason to die.
    signal(SIGPIPE, SIG_IGN);
    // The input is read with the caller's own rights, before any change of identity.
    std::string payload;
    if (options.mode != rci_mode::serve && build_payload(options, payload)) return 1;
    if (options.cloud && become_cloud_connector()) return 1;
    std::unique_ptr<msgbus_client, client_closer> client(msgbus_connect(endpoint));
    if (!client) {
        std::fprintf(stderr, "rci: cannot reach %s/%s: %s\n", msgbus_dir(), endpoint,
                     strerror(errno));
        return 1;
    }
    if (options.mode == rci_mode::serve) return run_serve(client.get(), options);
    return run_request(client.get(), options, payload);
}
