// The cost of live state over the real bus, measured in one run in the simulated gateway:
//   requests  each query (by default the full <query_state/>, one device_info field and one
//             interface_info field), as p50 and p99 with the size of its reply
//   tools     each command line that a full query runs through the shell, run the same way
//             (popen, read to the end, pclose) on its own: the floor of the time a full query
//             spends in child processes, and that floor's share of the full query's p50
// With --engine PID also the CPU time of the engine's children per full query, as the kernel
// accounts it. The first request is the one the shares refer to. Groups that the daemon does not
// have simply answer empty: the requests run against whatever groups exist.
//
//   state_bench [--count N] [--engine PID] [--request LABEL=XML]... [--tool COMMAND]...
#include "round_trips.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace
{

struct timed_request {
    std::string label;
    std::string text;
    series times = {};
    size_t reply_bytes = 0;
};

struct timed_tool {
    std::string command;
    series times = {};
};

struct options {
    int count = 300;
    const char *engine = nullptr;
    std::vector<timed_request> requests;
    std::vector<timed_tool> tools;
};

std::string rci(const std::string &commands)
{
    return "<rci_request version=\"1.1\">" + commands + "</rci_request>";
}

void add_request(options &o, const std::string &spec)
{
    size_t equals = spec.find('=');
    o.requests.push_back({.label = spec.substr(0, equals), .text = rci(spec.substr(equals + 1))});
}

options parse(int argc, char **argv)
{
    options o;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--count") == 0) o.count = std::max(1, std::atoi(argv[i + 1]));
        if (std::strcmp(argv[i], "--engine") == 0) o.engine = argv[i + 1];
        if (std::strcmp(argv[i], "--request") == 0) add_request(o, argv[i + 1]);
        if (std::strcmp(argv[i], "--tool") == 0) o.tools.push_back({.command = argv[i + 1]});
    }
    if (o.requests.empty()) {
        add_request(o, "full=<query_state/>");
        add_request(o,
                    "hostname=<query_state><device_info><hostname/></device_info></query_state>");
        add_request(o, "eth0 ip=<query_state><interface_info name=\"eth0\"><ip/></interface_info>"
                       "</query_state>");
    }
    // Every command line a full query of the image's product runs, as often as it runs it: each
    // Wi-Fi field runs its tool once.
    if (o.tools.empty()) {
        o.tools = {{.command = "boardenv -d"},
                   {.command = "python -V 2>&1"},
                   {.command = "netstat -tn|grep ESTABLISHED"},
                   {.command = "grep eth0: /proc/net/dev"},
                   {.command = "grep can0: /proc/net/dev"},
                   {.command = "cat /etc/chrony/local.conf /var/run/chrony_ntp.conf"}};
        o.tools.insert(o.tools.end(), 6, {.command = "iwconfig wlan0"});
        o.tools.insert(o.tools.end(), 5, {.command = "wlan_status_tool status"});
    }
    return o;
}

bool run_tool(const std::string &command)
{
    FILE *pipe = popen(command.c_str(), "r");
    if (!pipe) return false;
    char sink[4096];
    while (std::fread(sink, 1, sizeof sink, pipe) > 0) {
    }
    return pclose(pipe) != -1;
}

// CPU time, in clock ticks, of the children that the process has waited for: fields 16 and 17
// (cutime, cstime) of its stat line, counted from the state, field 3, after the name.
long children_ticks(const char *pid)
{
    std::ifstream stat(std::string("/proc/") + pid + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), {});
    size_t name_end = text.rfind(')');
    if (name_end == std::string::npos) return -1;
    std::istringstream fields(text.substr(name_end + 1));
    std::string field;
    long ticks = 0;
    for (int n = 3; n <= 17 && fields >> field; ++n)
        if (n >= 16) ticks += std::atol(field.c_str());
    return ticks;
}

double ms(double us)
{
    return us / 1000.0;
}

void print(const options &o, std::vector<figures> &asked, std::vector<figures> &ran, long ticks)
{
    std::printf("%d rounds, one connection, in interleaved blocks\n", o.count);
    std::printf("%-18s %9s %9s %9s\n", "request", "p50 ms", "p99 ms", "bytes");
    for (size_t i = 0; i < asked.size(); ++i)
        std::printf("%-18s %9.2f %9.2f %9zu\n", o.requests[i].label.c_str(), ms(asked[i].p50_us),
                    ms(asked[i].p99_us), o.requests[i].reply_bytes);
    double floor_us = 0;
    std::printf("\n%-32s %9s\n", "tool on its own", "p50 ms");
    for (size_t i = 0; i < ran.size(); ++i) {
        std::printf("%-32s %9.2f\n", o.tools[i].command.c_str(), ms(ran[i].p50_us));
        floor_us += ran[i].p50_us;
    }
    if (asked[0].p50_us > 0)
        std::printf("child processes: %.2f ms of the %s p50 %.2f ms = %.0f %%\n", ms(floor_us),
                    o.requests[0].label.c_str(), ms(asked[0].p50_us),
                    100.0 * floor_us / asked[0].p50_us);
    if (ticks >= 0)
        std::printf("children's CPU per %s request (engine's accounting): %.2f ms\n",
                    o.requests[0].label.c_str(),
                    1000.0 * static_cast<double>(ticks) / sysconf(_SC_CLK_TCK) / o.count);
}

} // namespace

int main(int argc, char **argv)
{
    options o = parse(argc, argv);
    client_ptr client(msgbus_connect(bus_endpoint_name));
    if (!client) {
        std::perror("state_bench: connect to vexacs");
        return 1;
    }
    // The engine's children are counted over the first request's series alone.
    long ticks = 0;
    constexpr int blocks = 10;
    for (int block = 0; block < blocks; ++block) {
        int share = o.count / blocks + (block < o.count % blocks ? 1 : 0);
        for (timed_request &r : o.requests) {
            long before = &r == &o.requests[0] && o.engine ? children_ticks(o.engine) : 0;
            std::string reply;
            measure(share, r.times,
                    [&] { return bus_round_trip(client.get(), BUS_OP_RCI, r.text, &reply); });
            r.reply_bytes = reply.size();
            if (&r == &o.requests[0] && o.engine) ticks += children_ticks(o.engine) - before;
        }
        for (timed_tool &t : o.tools)
            measure(share, t.times, [&] { return run_tool(t.command); });
    }
    std::vector<figures> asked, ran;
    for (timed_request &r : o.requests)
        asked.push_back(summarise(r.times));
    for (timed_tool &t : o.tools)
        ran.push_back(summarise(t.times));
    print(o, asked, ran, o.engine ? ticks : -1);
    for (const figures &f : asked)
        if (f.p50_us == 0) {
            std::fprintf(stderr, "state_bench: a request failed\n");
            return 1;
        }
    return 0;
}
