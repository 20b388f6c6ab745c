#include "stats.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace
{

double percentile(const std::vector<double> &sorted, double percent)
{
    if (sorted.empty()) return 0;
    auto rank = static_cast<size_t>(std::ceil(percent / 100 * static_cast<double>(sorted.size())));
    return sorted[std::clamp<size_t>(rank, 1, sorted.size()) - 1];
}

} // namespace

round_trip_stats summarize(std::vector<double> &round_trips_us, double seconds)
{
    std::sort(round_trips_us.begin(), round_trips_us.end());
    return {.p50_us = percentile(round_trips_us, 50),
            .p99_us = percentile(round_trips_us, 99),
            .per_second = seconds > 0 ? static_cast<double>(round_trips_us.size()) / seconds : 0};
}

std::string format_stats(const round_trip_stats &stats)
{
    char text[128];
    std::snprintf(text, sizeof text, "p50 %.1f us, p99 %.1f us, %.0f req/s", stats.p50_us,
                  stats.p99_us, stats.per_second);
    return text;
}
