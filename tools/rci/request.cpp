#include "request.h"

#include "explain.h"
#include "output.h"
#include "stats.h"

#include "base/bus_endpoint.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace
{

using steady = std::chrono::steady_clock;

struct free_deleter {
    void operator()(char *text) const { std::free(text); }
};

struct reply {
    int result = 0;
    std::unique_ptr<char, free_deleter> text;
    size_t length = 0;
};

int operation(const rci_options &options)
{
    switch (options.mode) {
    case rci_mode::read:
        return BUS_OP_READ_CONFIG;
    case rci_mode::write:
        return BUS_OP_WRITE_CONFIG;
    case rci_mode::op:
        return options.op;
    default:
        return BUS_OP_RCI;
    }
}

int exchange(msgbus_client *client, int op, uint32_t tag, const std::string &payload,
             int timeout_ms, reply &out)
{
    char *text = nullptr;
    int sent = msgbus_request(client, op, tag, payload.data(), payload.size(), nullptr, 0,
                              &out.result, &text, &out.length, timeout_ms);
    out.text.reset(text);
    return sent;
}

// Sends the request options.repeat times; the last reply stays in `last`.
int send_all(msgbus_client *client, const rci_options &options, const std::string &payload,
             reply &last)
{
    std::vector<double> round_trips;
    round_trips.reserve(static_cast<size_t>(options.repeat));
    auto start = steady::now();
    for (long i = 0; i < options.repeat; ++i) {
        auto sent_at = steady::now();
        uint32_t tag = options.tag + static_cast<uint32_t>(i);
        if (exchange(client, operation(options), tag, payload, options.timeout_ms, last) < 0)
            return -1;
        std::chrono::duration<double, std::micro> took = steady::now() - sent_at;
        round_trips.push_back(took.count());
    }
    if (options.repeat > 1) {
        std::chrono::duration<double> total = steady::now() - start;
        round_trip_stats stats = summarize(round_trips, total.count());
        std::fprintf(stderr, "%s\n", format_stats(stats).c_str());
    }
    return 0;
}

} // namespace

int build_payload(const rci_options &options, std::string &payload)
{
    if (options.mode == rci_mode::read) {
        payload.assign(1, static_cast<char>(options.selector));
        payload += options.xpath;
        return 0;
    }
    if (options.mode == rci_mode::op && options.input.empty()) return 0;
    std::string path = options.input.empty() ? "-" : options.input;
    int got = read_input(path, payload);
    if (got < 0) std::fprintf(stderr, "rci: cannot read %s: %s\n", path.c_str(), strerror(-got));
    return got < 0 ? 1 : 0;
}

int run_request(msgbus_client *client, const rci_options &options, const std::string &payload)
{
    reply last;
    if (send_all(client, options, payload, last) < 0) {
        std::fprintf(stderr, "rci: no reply: %s\n",
                     explain_no_reply(errno, options.timeout_ms).c_str());
        return 1;
    }
    if (options.mode == rci_mode::op) std::printf("result %d\n", last.result);
    print_reply(last.text.get(), last.length, options.pretty);
    std::fflush(stdout);
    if (options.mode == rci_mode::op || last.result >= 0) return 0;
    std::fprintf(stderr, "rci: %s (result %d)\n",
                 explain_result(operation(options), last.result).c_str(), last.result);
    return 1;
}
