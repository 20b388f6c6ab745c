#include "sim.h"

#include "base/fd.h"

#include <fcntl.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace sim
{
namespace
{

std::string folder(const char *variable, const char *usual)
{
    const char *dir = std::getenv(variable);
    return dir && *dir ? dir : usual;
}

std::optional<std::string> read_file(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) return std::nullopt;
    return text.str();
}

} // namespace

std::string run_path(std::string_view name)
{
    return folder("VEXA_SIM_DIR", "/var/run/sim") + "/" + std::string(name);
}

std::optional<std::string> read_data(std::string_view name)
{
    return read_file(folder("VEXA_SIM_DATA", "/etc/vexa/sim") + "/" + std::string(name));
}

void record_call(std::string_view function, std::initializer_list<std::string_view> args)
{
    std::string line(function);
    for (std::string_view arg : args)
        line.append(" ").append(arg);
    line += '\n';
    std::string path = run_path("calls.log");
    unique_fd fd(open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666));
    if (fd.get() >= 0) write_all(fd.get(), line.data(), line.size());
}

int call_result(std::string_view function, int usual)
{
    auto text = read_file(run_path("exit/" + std::string(function)));
    if (!text) return usual;
    char *end = nullptr;
    long value = std::strtol(text->c_str(), &end, 10);
    return end == text->c_str() ? usual : static_cast<int>(value);
}

} // namespace sim
