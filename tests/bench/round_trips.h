// What the benchmarks over the real bus share: timing series of round trips and their figures,
// and one RCI or echo request over a client connection.
#pragma once

#include "base/bus_endpoint.h"
#include "msgbus.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

using bench_clock = std::chrono::steady_clock;

// Round-trip times of one kind, gathered over several blocks.
struct series {
    std::vector<double> micros;
    double seconds = 0;
    bool failed = false;
};

struct figures {
    double p50_us = 0;
    double p99_us = 0;
    double per_second = 0;
};

// Adds `count` timed calls of `round_trip` to `out`; stops at the first failure.
template <typename RoundTrip> void measure(int count, series &out, RoundTrip round_trip)
{
    auto start = bench_clock::now();
    for (int i = 0; i < count && !out.failed; ++i) {
        auto before = bench_clock::now();
        out.failed = !round_trip();
        out.micros.push_back(
            std::chrono::duration<double, std::micro>(bench_clock::now() - before).count());
    }
    out.seconds += std::chrono::duration<double>(bench_clock::now() - start).count();
}

// All zero when a round trip failed.
inline figures summarise(series &s)
{
    if (s.failed || s.micros.empty()) return {};
    std::sort(s.micros.begin(), s.micros.end());
    return {.p50_us = s.micros[s.micros.size() / 2],
            .p99_us = s.micros[s.micros.size() * 99 / 100],
            .per_second = static_cast<double>(s.micros.size()) / s.seconds};
}

struct client_closer {
    void operator()(msgbus_client *client) const { msgbus_disconnect(client); }
};
using client_ptr = std::unique_ptr<msgbus_client, client_closer>;

// One request with operation `op`; true when it was answered with a non-negative result and a
// reply, which lands in `*reply` when that is given.
inline bool bus_round_trip(msgbus_client *client, int op, const std::string &payload,
                           std::string *reply = nullptr)
{
    static uint32_t tag = 0;
    int result = 0;
    char *text = nullptr;
    size_t length = 0;
    int status = msgbus_request(client, op, ++tag, payload.data(), payload.size(), nullptr, 0,
                                &result, &text, &length, 10000);
    if (reply && text) reply->assign(text, length);
    std::free(text);
    return status == 0 && result >= 0 && length > 0;
}
