#include "options.h"

#include <array>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

const char rci_usage[] =
    "usage: rci [--cloud] [--pretty] [--repeat N] [--timeout SECONDS] [FILE|-]\n"
    "       rci --read SELECTOR XPATH\n"
    "       rci --write [FILE|-]\n"
    "       rci --op N [--tag T] [FILE|-]\n"
    "       rci --serve NAME (--answer TEXT | --answer-cmd CMD) [--delay SECONDS]\n"
    "       rci --help | --version\n"
    "Without FILE a request is read from standard input; --op sends an empty payload.\n";

namespace
{

// Reads in long long, which holds every 32-bit unsigned value also where long has 32 bits.
template <typename T> int parse_long(const char *text, long long low, long long high, T &out)
{
    char *end = nullptr;
    errno = 0;
    long long value = std::strtoll(text, &end, 10);
    if (errno || end == text || *end || value < low || value > high) return -1;
    out = static_cast<T>(value);
    return 0;
}

int parse_seconds(const char *text, double &out)
{
    char *end = nullptr;
    double value = std::strtod(text, &end);
    if (end == text || *end || !std::isfinite(value) || value < 0 || value > 86400) return -1;
    out = value;
    return 0;
}

int set_mode(rci_options &out, rci_mode mode)
{
    if (out.mode != rci_mode::rci && out.mode != mode) return -1;
    out.mode = mode;
    return 0;
}

int opt_help(rci_options &out, char *const *)
{
    return set_mode(out, rci_mode::help);
}

int opt_version(rci_options &out, char *const *)
{
    return set_mode(out, rci_mode::version);
}

int opt_cloud(rci_options &out, char *const *)
{
    out.cloud = true;
    return 0;
}

int opt_pretty(rci_options &out, char *const *)
{
    out.pretty = true;
    return 0;
}

int opt_read(rci_options &out, char *const *args)
{
    if (set_mode(out, rci_mode::read) < 0 || parse_long(args[0], 0, 255, out.selector) < 0)
        return -1;
    out.xpath = args[1];
    return 0;
}

int opt_write(rci_options &out, char *const *)
{
    return set_mode(out, rci_mode::write);
}

int opt_op(rci_options &out, char *const *args)
{
    if (set_mode(out, rci_mode::op) < 0) return -1;
    return parse_long(args[0], INT32_MIN, INT32_MAX, out.op);
}

int opt_tag(rci_options &out, char *const *args)
{
    return parse_long(args[0], 0, UINT32_MAX, out.tag);
}

int opt_serve(rci_options &out, char *const *args)
{
    if (set_mode(out, rci_mode::serve) < 0 || !*args[0]) return -1;
    out.serve_name = args[0];
    return 0;
}

int opt_answer(rci_options &out, char *const *args)
{
    out.answer_text = args[0];
    out.has_answer_text = true;
    return 0;
}

int opt_answer_cmd(rci_options &out, char *const *args)
{
    out.answer_cmd = args[0];
    return out.answer_cmd.empty() ? -1 : 0;
}

int opt_delay(rci_options &out, char *const *args)
{
    return parse_seconds(args[0], out.delay_seconds);
}

int opt_repeat(rci_options &out, char *const *args)
{
    return parse_long(args[0], 1, 100000000, out.repeat);
}

int opt_timeout(rci_options &out, char *const *args)
{
    double seconds;
    if (parse_seconds(args[0], seconds) < 0) return -1;
    out.timeout_ms = static_cast<int>(std::lround(seconds * 1000));
    return 0;
}

// Row of the option table: the option, how many arguments follow it, and the function that
// stores them (negative when they are not acceptable).
struct option_row {
    const char *name;
    int arguments;
    int (*apply)(rci_options &out, char *const *args);
};

constexpr std::array<option_row, 14> option_rows{{
    {.name = "--help", .arguments = 0, .apply = opt_help},
    {.name = "--version", .arguments = 0, .apply = opt_version},
    {.name = "--cloud", .arguments = 0, .apply = opt_cloud},
    {.name = "--pretty", .arguments = 0, .apply = opt_pretty},
    {.name = "--read", .arguments = 2, .apply = opt_read},
    {.name = "--write", .arguments = 0, .apply = opt_write},
    {.name = "--op", .arguments = 1, .apply = opt_op},
    {.name = "--tag", .arguments = 1, .apply = opt_tag},
    {.name = "--serve", .arguments = 1, .apply = opt_serve},
    {.name = "--answer", .arguments = 1, .apply = opt_answer},
    {.name = "--answer-cmd", .arguments = 1, .apply = opt_answer_cmd},
    {.name = "--delay", .arguments = 1, .apply = opt_delay},
    {.name = "--repeat", .arguments = 1, .apply = opt_repeat},
    {.name = "--timeout", .arguments = 1, .apply = opt_timeout},
}};

const option_row *find_option(const char *name)
{
    for (const option_row &row : option_rows)
        if (std::strcmp(row.name, name) == 0) return &row;
    return nullptr;
}

// Combinations the table cannot see one option at a time.
const char *check_combination(const rci_options &out)
{
    bool serving = out.mode == rci_mode::serve;
    bool answers = out.has_answer_text || !out.answer_cmd.empty();
    if (serving && out.has_answer_text == !out.answer_cmd.empty())
        return "--serve needs one of --answer and --answer-cmd";
    if (!serving && (answers || out.delay_seconds > 0))
        return "--answer, --answer-cmd and --delay go with --serve";
    if ((serving || out.mode == rci_mode::read) && !out.input.empty())
        return "--serve and --read take no FILE";
    if (serving && out.repeat > 1) return "--repeat does not go with --serve";
    return nullptr;
}

} // namespace

int parse_options(int argc, char *const argv[], rci_options &out, std::string &error)
{
    for (int i = 1; i < argc; ++i) {
        const char *word = argv[i];
        const option_row *row = find_option(word);
        if (row) {
            if (i + row->arguments >= argc) {
                error = std::string(word) + " needs an argument";
                return -1;
            }
            if (row->apply(out, argv + i + 1) < 0) {
                error = std::string("invalid use of ") + word;
                return -1;
            }
            i += row->arguments;
        } else if ((word[0] == '-' && word[1]) || !out.input.empty()) {
            error = std::string("unexpected argument ") + word;
            return -1;
        } else {
            out.input = word;
        }
    }
    const char *wrong = check_combination(out);
    if (wrong) error = wrong;
    return wrong ? -1 : 0;
}
