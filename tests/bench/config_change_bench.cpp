// Latency of a one-setting change (validation, merge, worklog, save, move) on the image's
// configuration and on a configuration of 200 groups, with the parts that dominate it measured
// alone in the same run: reading the grammar, the whole save, and the move command.
#include "base/log.h"
#include "base/xml.h"
#include "config/config.h"
#include "config/save.h"
#include "config/write_dom.h"
#include "support/config_fixture.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace
{

void discard(int, const char *) {}

const std::string image_schema = std::string(VEXA_IMAGE) + "/usr/share/validation/set_setting.rng";

// The image's configuration with tcp_serial groups added until the root holds `groups` groups.
std::string configuration(int groups)
{
    std::string text = read_file(std::string(VEXA_IMAGE) + "/etc/vexa/db/local");
    xml::doc_ptr doc = xml::parse_memory(text.data(), static_cast<int>(text.size()));
    int present = static_cast<int>(xmlChildElementCount(xmlDocGetRootElement(doc.get())));
    std::string extra;
    for (int index = 3; present < groups; ++index, ++present)
        extra += "  <tcp_serial index=\"" + std::to_string(index) +
                 "\">\n    <enable>off</enable>\n    <port>" + std::to_string(4000 + index) +
                 "</port>\n    <keepalive>on</keepalive>\n  </tcp_serial>\n";
    return text.insert(text.rfind("</config>"), extra);
}

// Records every iteration's time and reports its 50th and 99th percentile in milliseconds.
class percentiles
{
  public:
    void add(std::chrono::steady_clock::duration d)
    {
        ms_.push_back(std::chrono::duration<double, std::milli>(d).count());
    }
    void report(benchmark::State &state)
    {
        std::sort(ms_.begin(), ms_.end());
        if (ms_.empty()) return;
        state.counters["p50_ms"] = ms_[ms_.size() / 2];
        state.counters["p99_ms"] = ms_[std::min(ms_.size() - 1, ms_.size() * 99 / 100)];
    }

  private:
    std::vector<double> ms_;
};

// Alternates the port of the second tcp_serial group so that every request changes one setting.
void one_setting_change(benchmark::State &state, int groups)
{
    config_files files(configuration(groups),
                       read_file(std::string(VEXA_IMAGE) + "/etc/vexa/db/cfd"));
    files.load();
    set_change_paths({.schema = image_schema.c_str(), .custom_defaults = "", .certs = ""});
    const std::string requests[2] = {
        "<set_setting><tcp_serial index=\"2\"><port>2102</port></tcp_serial></set_setting>",
        "<set_setting><tcp_serial index=\"2\"><port>2101</port></tcp_serial></set_setting>"};
    percentiles times;
    int turn = 0;
    for (auto _ : state) {
        const std::string &text = requests[turn++ & 1];
        xml::doc_ptr request = xml::parse_memory(text.data(), static_cast<int>(text.size()));
        xml::buffer_ptr reply(xmlBufferCreate());
        auto start = std::chrono::steady_clock::now();
        int result = write_dom(reply.get(), xmlDocGetRootElement(request.get()), "nimbo", 0);
        times.add(std::chrono::steady_clock::now() - start);
        if (result != 0) state.SkipWithError("change refused");
    }
    times.report(state);
    set_change_paths(device_change_paths);
}

void BM_OneSettingChangeImage(benchmark::State &state)
{
    one_setting_change(state, 0);
}

void BM_OneSettingChange200Groups(benchmark::State &state)
{
    one_setting_change(state, 200);
}

void BM_SchemaParse(benchmark::State &state)
{
    for (auto _ : state) {
        xml::relaxng_parser_ptr parser(xmlRelaxNGNewParserCtxt(image_schema.c_str()));
        xml::relaxng_ptr grammar(xmlRelaxNGParse(parser.get()));
        benchmark::DoNotOptimize(grammar.get());
    }
}

// Writing the new file, flushing it, moving it and flushing the folder.
void BM_ConfigSave(benchmark::State &state)
{
    config_files files(configuration(0), "<config><dns/></config>");
    files.load();
    for (auto _ : state)
        if (config_save(config_current()) != 0) state.SkipWithError("save failed");
}

void BM_MoveCommand(benchmark::State &state)
{
    scratch_dir dir;
    const std::string there = dir.write("a", "x"), back = dir.file("b");
    const std::string commands[2] = {"/bin/mv " + there + " " + back,
                                     "/bin/mv " + back + " " + there};
    int turn = 0;
    for (auto _ : state) {
        shell_status status{};
        if (run_shell(commands[turn++ & 1].c_str(), &status) != 0)
            state.SkipWithError("move failed");
    }
}

BENCHMARK(BM_OneSettingChangeImage)->Unit(benchmark::kMillisecond)->Iterations(400);
BENCHMARK(BM_OneSettingChange200Groups)->Unit(benchmark::kMillisecond)->Iterations(400);
BENCHMARK(BM_SchemaParse)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ConfigSave)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MoveCommand)->Unit(benchmark::kMillisecond);

// Prints, after the usual table, the share of a change spent reading the grammar and moving the
// file into place.
class share_reporter : public benchmark::ConsoleReporter
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
        double change = per_iteration_["BM_OneSettingChangeImage/iterations:400"];
        if (change <= 0) return;
        std::printf("schema parse / change = %.2f\n", per_iteration_["BM_SchemaParse"] / change);
        std::printf("save (write, flush, move) / change = %.2f\n",
                    per_iteration_["BM_ConfigSave"] / change);
        std::printf("move command / change = %.2f\n", per_iteration_["BM_MoveCommand"] / change);
    }

  private:
    std::map<std::string, double> per_iteration_;
};

} // namespace

int main(int argc, char **argv)
{
    log_set_sink(discard);
    benchmark::Initialize(&argc, argv);
    share_reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
}
