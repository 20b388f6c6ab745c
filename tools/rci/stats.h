// Round-trip figures of a repeated request, as `--repeat` prints them.
#pragma once

#include <string>
#include <vector>

struct round_trip_stats {
    double p50_us;
    double p99_us;
    double per_second;
};

// Nearest-rank percentiles of the round trips (sorted in place) and the rate over `seconds`.
round_trip_stats summarize(std::vector<double> &round_trips_us, double seconds);
// "p50 X us, p99 Y us, Z req/s"
std::string format_stats(const round_trip_stats &stats);
