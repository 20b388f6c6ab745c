// The engine's requests in one process, for counting their instructions: the bus endpoint served
// on its listener thread as in the engine, a client on the main thread, the image's configuration
// and grammar in a scratch folder, log lines and letters to the parent going nowhere.
//
//   request_instructions KIND COUNT     KIND: echo, query, set_setting, render
//
// Sends COUNT requests of KIND, each answered before the next; tests/bench/run_instructions.sh
// counts what the engine's message handler executes for them under callgrind.
#include "round_trips.h"

#include "base/log.h"
#include "config/config.h"
#include "config/write_dom.h"
#include "rci/bus.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

namespace
{

const std::string image = VEXA_IMAGE;

std::string rci(const std::string &command)
{
    return "<rci_request version=\"1.1\">" + command + "</rci_request>";
}

// The payloads of one kind; set_setting alternates between two values, so every request changes
// the configuration and saves it.
struct request_kind {
    const char *name;
    int op;
    std::string payloads[2];
};

const request_kind kinds[] = {
    {"echo", BUS_OP_ECHO, {std::string(256, 'e'), std::string(256, 'e')}},
    {"query",
     BUS_OP_RCI,
     {rci("<query_setting><system><timezone/></system></query_setting>"),
      rci("<query_setting><system><timezone/></system></query_setting>")}},
    {"set_setting",
     BUS_OP_RCI,
     {rci("<set_setting><tcp_serial index=\"2\"><port>2102</port></tcp_serial></set_setting>"),
      rci("<set_setting><tcp_serial index=\"2\"><port>2101</port></tcp_serial></set_setting>")}},
    {"render", BUS_OP_RCI, {rci("<query_setting/>"), rci("<query_setting/>")}},
};

std::string scratch_copy(const std::string &folder, const char *name)
{
    std::string path = folder + "/" + name;
    std::filesystem::copy_file(image + "/etc/vexa/db/" + name, path);
    return path;
}

void idle() {}

} // namespace

int main(int argc, char **argv)
{
    const request_kind *kind = nullptr;
    for (const request_kind &k : kinds)
        if (argc == 3 && std::strcmp(argv[1], k.name) == 0) kind = &k;
    if (!kind) {
        std::fprintf(stderr, "usage: %s echo|query|set_setting|render COUNT\n", argv[0]);
        return 2;
    }
    log_set_sink([](int, const char *) {});
    char folder_template[] = "/tmp/vexa-instructions-XXXXXX";
    const std::string folder = mkdtemp(folder_template) ? folder_template : "";
    if (folder.empty()) return 1;
    setenv("MSGBUS_DIR", folder.c_str(), 1);
    const std::string local = scratch_copy(folder, "local"), cfd = scratch_copy(folder, "cfd"),
                      worklog = scratch_copy(folder, "generate_list");
    const std::string schema = image + "/usr/share/validation/set_setting.rng";
    set_change_paths({.schema = schema.c_str(), .custom_defaults = "", .certs = ""});
    int status = 1;
    if (config_load({local.c_str(), cfd.c_str(), worklog.c_str()}) == CONFIG_LOADED &&
        start_bus_thread(idle) == 0) {
        client_ptr client;
        // The listener creates the endpoint's socket as it starts.
        for (int tries = 0; !client && tries < 500; ++tries, usleep(10000))
            client.reset(msgbus_connect(bus_endpoint_name));
        status = client ? 0 : 1;
        // A reply that reports an error would count the wrong work.
        std::string reply;
        for (int i = 0, count = std::atoi(argv[2]); client && i < count && status == 0; ++i)
            status = bus_round_trip(client.get(), kind->op, kind->payloads[i & 1], &reply) &&
                             reply.find("<error") == std::string::npos
                         ? 0
                         : 1;
        if (status != 0) std::fprintf(stderr, "%s\n", reply.c_str());
    }
    std::filesystem::remove_all(folder);
    if (status != 0) std::fprintf(stderr, "%s: a %s request failed\n", argv[0], kind->name);
    std::fflush(nullptr);
    // The listener thread never returns; the process ends without waiting for it.
    _exit(status);
}
