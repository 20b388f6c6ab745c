// Radio requests in the gateway: a full settings listing of the gateway's own radio, a discover
// of 25 nodes and the zigbee_state group, each over the real bus (p50, p99), and the
// time the simulated radio library takes for the same work when this process calls it directly
// (p50), with its share of the request. Prints figures; not a test.
//
//   radio_bench [--count N]      (inside the gateway: tests/bench/run_radio_bench.sh)
#include "base/bus_endpoint.h"
#include "base/log.h"
#include "msgbus.h"
#include "radio/catalogue.h"

#include <libpelk.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace
{

using bench_clock = std::chrono::steady_clock;

struct client_closer {
    void operator()(msgbus_client *client) const { msgbus_disconnect(client); }
};
using client_ptr = std::unique_ptr<msgbus_client, client_closer>;

// One kind of work: how to do it once (false: it failed) and its timings in microseconds.
struct work {
    const char *name;
    std::function<bool()> once;
    std::vector<double> micros;

    double percentile(int p)
    {
        if (micros.empty()) return 0;
        std::sort(micros.begin(), micros.end());
        return micros[micros.size() * static_cast<size_t>(p) / 100];
    }
};

bool run(work &w, int count)
{
    for (int i = 0; i < count; ++i) {
        auto before = bench_clock::now();
        if (!w.once()) {
            std::fprintf(stderr, "radio_bench: %s failed\n", w.name);
            return false;
        }
        w.micros.push_back(
            std::chrono::duration<double, std::micro>(bench_clock::now() - before).count());
    }
    return true;
}

// An RCI request over the bus whose reply must hold `expected`.
std::function<bool()> over_bus(msgbus_client *client, std::string request, std::string expected)
{
    return [=] {
        static uint32_t tag = 0;
        int result = 0;
        char *reply = nullptr;
        size_t length = 0;
        int status = msgbus_request(client, BUS_OP_RCI, ++tag, request.data(), request.size(),
                                    nullptr, 0, &result, &reply, &length, 10000);
        bool ok = status == 0 && result >= 0 && reply && std::strstr(reply, expected.c_str());
        std::free(reply);
        return ok;
    };
}

std::string rci(const std::string &command)
{
    return "<rci_request version=\"1.1\">" + command + "</rci_request>";
}

// The radio calls of a full listing of the gateway's own radio: every row read as the listing
// reads it (the row checks come along, so the share is an upper bound).
bool listing_calls(catalogue_choice which)
{
    catalogue_selector sel;
    if (catalogue_select(sel, nullptr, 0, which) < 0) return false;
    uint8_t raw[CATALOGUE_RAW_SIZE];
    for (size_t i = 0; i < sel.rows.size(); ++i)
        catalogue_read_field(sel, i, 0, raw);
    return true;
}

// The radio calls of a discover of 25 nodes: a new discovery, then one record at a time.
bool discover_calls()
{
    radio_get_capabilities();
    int total = radio_get_node_list(nullptr, 0, 0, 0, RADIO_LIST_DISCOVER);
    for (int i = 0; i < std::min(total, 25); ++i) {
        radio_node_record record;
        if (radio_get_node_list(&record, 0, i, 1, RADIO_LIST_CURRENT) < 0) return false;
    }
    return total > 0;
}

void discard(int, const char *) {}

} // namespace

int main(int argc, char **argv)
{
    int count = 2000;
    if (argc == 3 && std::strcmp(argv[1], "--count") == 0) count = std::max(1, std::atoi(argv[2]));
    log_set_sink(discard);
    client_ptr client(msgbus_connect(bus_endpoint_name));
    if (!client) {
        std::perror("radio_bench: connect to vexacs");
        return 1;
    }
    std::vector<work> bus{
        {"settings listing",
         over_bus(client.get(),
                  rci("<do_command target=\"zigbee\">"
                      "<query_setting/></do_command>"),
                  "</query_setting>"),
         {}},
        {"discover",
         over_bus(client.get(),
                  rci("<do_command target=\"zigbee\"><discover size=\"25\"/>"
                      "</do_command>"),
                  "<device index=\"25\">"),
         {}},
        {"zigbee_state",
         over_bus(client.get(), rci("<query_state><zigbee_state/></query_state>"),
                  "</zigbee_state>"),
         {}},
    };
    std::vector<work> library{
        {"settings listing", [] { return listing_calls(catalogue_choice::settings); }, {}},
        {"discover", discover_calls, {}},
        {"zigbee_state", [] { return listing_calls(catalogue_choice::state); }, {}},
    };
    // Kinds take turns in blocks, so that other work on the machine slows all of them alike.
    constexpr int blocks = 10;
    for (int block = 0; block < blocks; ++block) {
        for (size_t k = 0; k < bus.size(); ++k) {
            if (!run(bus[k], count / blocks) || !run(library[k], count / blocks)) return 1;
        }
    }
    std::printf("%d requests each, in %d blocks\n", count, blocks);
    std::printf("%-18s %11s %11s %15s %14s\n", "", "bus p50 us", "bus p99 us", "library p50 us",
                "library share");
    for (size_t k = 0; k < bus.size(); ++k) {
        double p50 = bus[k].percentile(50), inside = library[k].percentile(50);
        std::printf("%-18s %11.1f %11.1f %15.1f %13.0f%%\n", bus[k].name, p50,
                    bus[k].percentile(99), inside, 100 * inside / p50);
    }
}
