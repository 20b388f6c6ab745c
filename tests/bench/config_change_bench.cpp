// Latency of a one-setting change (validation, merge, worklog, save, move) on the image's
// configuration and on a configuration of 200 groups, with the parts that dominate it measured
// alone in the same run: reading the grammar, the whole save, and the move command. The change
// benchmarks report their median and 99th percentile, and the shares of the median spent reading
// the grammar and moving the file, and its ratio to the floor of a bare write, fsync and rename.
#include "base/fd.h"
#include "base/log.h"
#include "base/shell.h"
#include "base/xml.h"
#include "config/config.h"
#include "config/save.h"
#include "config/write_dom.h"
#include "support/config_fixture.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <fcntl.h>

#include <algorithm>
#include <chrono>
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

// Records every iteration's time; reports its 50th and 99th percentile in milliseconds.
class percentiles
{
  public:
    void add(std::chrono::steady_clock::duration d)
    {
        ms_.push_back(std::chrono::duration<double, std::milli>(d).count());
    }
    // The median, once every time has been added.
    double report(benchmark::State &state)
    {
        std::sort(ms_.begin(), ms_.end());
        if (ms_.empty()) return 0;
        state.counters["p50_ms"] = ms_[ms_.size() / 2];
        state.counters["p99_ms"] = ms_[std::min(ms_.size() - 1, ms_.size() * 99 / 100)];
        return ms_[ms_.size() / 2];
    }

  private:
    std::vector<double> ms_;
};

void parse_schema()
{
    xml::relaxng_parser_ptr parser(xmlRelaxNGNewParserCtxt(image_schema.c_str()));
    xml::relaxng_ptr grammar(xmlRelaxNGParse(parser.get()));
    benchmark::DoNotOptimize(grammar.get());
}

// Moves a scratch file back and forth with the command line that the save runs.
class mover
{
  public:
    mover() : there_(dir_.write("a", "x")), back_(dir_.file("b")) {}
    bool move()
    {
        const std::string &from = turn_ ? back_ : there_, &to = turn_ ? there_ : back_;
        turn_ = !turn_;
        shell_status status{};
        return run_shell(("/bin/mv " + from + " " + to).c_str(), &status) == 0;
    }

  private:
    scratch_dir dir_;
    std::string there_, back_;
    bool turn_ = false;
};

// The floor of a durable save: the same bytes written to a new file, flushed, renamed over the
// old one, and the folder flushed, with nothing else around it.
class bare_save
{
  public:
    explicit bare_save(std::string text) : text_(std::move(text)) {}
    void run()
    {
        unique_fd file(open(fresh_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
        write_all(file.get(), text_.data(), text_.size());
        fsync(file.get());
        file.close();
        std::rename(fresh_.c_str(), target_.c_str());
        unique_fd folder(open(dir_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        fsync(folder.get());
    }

  private:
    scratch_dir dir_;
    std::string text_, fresh_ = dir_.file("local.new"), target_ = dir_.file("local");
};

template <typename Step> double mean_ms(int runs, Step step)
{
    auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < runs; ++i)
        step();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
               .count() /
           runs;
}

// The shares of the median change spent reading the grammar and running the move command,
// measured right after the changes.
void report_shares(benchmark::State &state, double median_ms, const std::string &text)
{
    if (median_ms <= 0) return;
    bare_save floor(text);
    state.counters["floor_ms"] = mean_ms(100, [&] { floor.run(); });
    state.counters["vs_floor"] = median_ms / state.counters["floor_ms"];
    mover files;
    state.counters["schema_share"] = mean_ms(100, parse_schema) / median_ms;
    state.counters["move_share"] = mean_ms(100, [&] { files.move(); }) / median_ms;
}

// Alternates the port of the second tcp_serial group so that every request changes one setting.
void one_setting_change(benchmark::State &state, int groups)
{
    log_set_sink(discard);
    std::string text = configuration(groups);
    config_files files(text, read_file(std::string(VEXA_IMAGE) + "/etc/vexa/db/cfd"));
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
        reply_buffer reply;
        auto start = std::chrono::steady_clock::now();
        int result = write_dom(reply, xmlDocGetRootElement(request.get()), request_source::cloud,
                               change_notice::none);
        times.add(std::chrono::steady_clock::now() - start);
        if (result != 0) state.SkipWithError("change refused");
    }
    report_shares(state, times.report(state), text);
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
    for (auto _ : state)
        parse_schema();
}

// Writing the new file, flushing it, moving it and flushing the folder.
void BM_ConfigSave(benchmark::State &state)
{
    log_set_sink(discard);
    config_files files(configuration(0), "<config><dns/></config>");
    files.load();
    for (auto _ : state)
        if (config_save(config_current()) != 0) state.SkipWithError("save failed");
}

void BM_MoveCommand(benchmark::State &state)
{
    mover files;
    for (auto _ : state)
        if (!files.move()) state.SkipWithError("move failed");
}

BENCHMARK(BM_OneSettingChangeImage)->Unit(benchmark::kMillisecond)->Iterations(400);
BENCHMARK(BM_OneSettingChange200Groups)->Unit(benchmark::kMillisecond)->Iterations(400);
BENCHMARK(BM_SchemaParse)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ConfigSave)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MoveCommand)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
