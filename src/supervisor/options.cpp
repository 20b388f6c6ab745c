#include "base/bus_endpoint.h"
#include "base/log.h"
#include "supervisor/process.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

[[noreturn]] void usage(const char *name)
{
    std::fprintf(stderr, "Usage: %s [-v|-n|-d]\n", name);
    std::fprintf(stderr, "\t-v\t: Show version and exit.\n");
    std::fprintf(stderr, "\t-n\t: Do not daemonize\n");
    std::fprintf(stderr, "\t-d\t: Increase debugging verbosity\n");
    std::exit(2);
}

} // namespace

const char *program_name(const char *argv0)
{
    const char *slash = std::strrchr(argv0, '/');
    return slash ? slash + 1 : argv0;
}

bool parse_options(int argc, char **argv)
{
    bool no_daemon = false;
    int option;
    while ((option = getopt(argc, argv, "vndh?i:c:")) != -1) {
        switch (option) {
        case 'v':
            std::fprintf(stderr, "vexacsd version %s\n", vexacsd_version);
            std::exit(1);
        case 'n':
            no_daemon = true;
            break;
        case 'd':
            ++debug_level;
            break;
        case 'i':
        case 'c':
            break;
        default:
            usage(program_name(argv[0]));
        }
    }
    return no_daemon;
}
