// Cost of setting queries: a one-setting query on a 200-group configuration, and a full query of a
// 1 MiB configuration against libxml2's own xmlNodeDump of the same root (the floor).
#include "base/log.h"
#include "base/xml.h"
#include "config/config.h"
#include "rci/rci.h"
#include "support/config_fixture.h"

#include <benchmark/benchmark.h>

#include <map>
#include <string>

namespace
{

void discard(int, const char *) {}

std::string serial_group(int index)
{
    return "<tcp_serial index=\"" + std::to_string(index) +
           "\">\n    <enable>on</enable>\n    <port>" + std::to_string(4000 + index) +
           "</port>\n    <keepalive>on</keepalive>\n    <description>line " +
           std::to_string(index) + " &amp; spare</description>\n  </tcp_serial>\n  ";
}

// A configuration of `groups` tcp_serial groups, or of as many as it takes to reach `bytes`.
std::string configuration(int groups, size_t bytes)
{
    std::string text = "<?xml version=\"1.0\"?>\n<config>\n  ";
    for (int i = 1; i <= groups || text.size() < bytes; ++i)
        text += serial_group(i);
    return text + "</config>\n";
}

void run_request(benchmark::State &state, const std::string &request)
{
    for (auto _ : state) {
        reply_buffer reply;
        int length = RCI_Processing(request.data(), request.size(), reply, request_source::cloud);
        if (length <= 0) state.SkipWithError("request failed");
        benchmark::DoNotOptimize(length);
    }
}

void BM_OneSettingQuery200Groups(benchmark::State &state)
{
    config_files files(configuration(200, 0), "<config><dns/></config>");
    files.load();
    run_request(
        state,
        "<rci_request version=\"1.1\"><query_setting><tcp_serial index=\"2\"><port/></tcp_serial>"
        "</query_setting></rci_request>");
}

void BM_FullQuery1MiB(benchmark::State &state)
{
    config_files files(configuration(0, 1 << 20), "<config><dns/></config>");
    files.load();
    run_request(state, "<rci_request version=\"1.1\"><query_setting/></rci_request>");
}

void BM_xmlNodeDump1MiB(benchmark::State &state)
{
    config_files files(configuration(0, 1 << 20), "<config><dns/></config>");
    files.load();
    xmlNodePtr root = xmlDocGetRootElement(config_current());
    for (auto _ : state) {
        xml::buffer_ptr buf(xmlBufferCreate());
        benchmark::DoNotOptimize(xmlNodeDump(buf.get(), config_current(), root, 0, 0));
    }
}

BENCHMARK(BM_OneSettingQuery200Groups);
BENCHMARK(BM_FullQuery1MiB)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_xmlNodeDump1MiB)->Unit(benchmark::kMillisecond);

// Prints, after the usual table, the full query's time as a multiple of the floor.
class ratio_reporter : public benchmark::ConsoleReporter
{
  public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs)
            if (run.run_type == Run::RT_Iteration)
                per_iteration_[run.benchmark_name()] = run.GetAdjustedRealTime();
        ConsoleReporter::ReportRuns(runs);
    }
    void Finalize() override
    {
        ConsoleReporter::Finalize();
        double full = per_iteration_["BM_FullQuery1MiB"],
               floor = per_iteration_["BM_xmlNodeDump1MiB"];
        if (full > 0 && floor > 0) std::printf("full query / xmlNodeDump = %.2f\n", full / floor);
    }

  private:
    std::map<std::string, double> per_iteration_;
};

} // namespace

int main(int argc, char **argv)
{
    log_set_sink(discard);
    benchmark::Initialize(&argc, argv);
    ratio_reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
}
