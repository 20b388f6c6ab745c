// rci: the command-line client of the configuration daemon's bus endpoint.
#include "options.h"
#include "request.h"
#include "serve.h"

#include "base/bus_endpoint.h"
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

struct client_closer {
    void operator()(msgbus_client *client) const { msgbus_disconnect(client); }
};

int become_cloud_connector()
{
    constexpr uid_t uid = cloud_connector_uid;
    constexpr gid_t gid = cloud_connector_gid;
    gid_t groups[] = {gid};
    if (setgroups(1, groups) < 0 || setresgid(gid, gid, gid) < 0 || setresuid(uid, uid, uid) < 0) {
        std::fprintf(stderr, "rci: --cloud needs root to take uid %u, gid %u: %s\n", uid, gid,
                     strerror(errno));
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
    if (options.mode == rci_mode::version) return std::printf("rci %s\n", vexacsd_version) < 0;
    // A reader that goes away (a closed pipe, an answer command that stops reading) is an error
    // to report, not a reason to die.
    signal(SIGPIPE, SIG_IGN);
    // The input is read with the caller's own rights, before any change of identity.
    std::string payload;
    if (options.mode != rci_mode::serve && build_payload(options, payload)) return 1;
    if (options.cloud && become_cloud_connector()) return 1;
    std::unique_ptr<msgbus_client, client_closer> client(msgbus_connect(bus_endpoint_name));
    if (!client) {
        std::fprintf(stderr, "rci: cannot reach %s/%s: %s\n", msgbus_dir(), bus_endpoint_name,
                     strerror(errno));
        return 1;
    }
    if (options.mode == rci_mode::serve) return run_serve(client.get(), options);
    return run_request(client.get(), options, payload);
}
