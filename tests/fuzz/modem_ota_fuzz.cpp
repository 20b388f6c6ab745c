// Splits arbitrary data as a cloud request could carry it. A request of at most 1023 bytes with six
// texts or more reaches the cellular manager with its first six: the call carries the request's
// own bytes in order, five zeros between them, never past the data. Any other is refused before.
#include "base/log.h"
#include "commands/modem_ota.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace
{

std::string calls_log;

void discard(int, const char *) {}

void require(bool condition)
{
    if (!condition) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    log_set_sink(discard);
    static char sim_dir[] = "/tmp/vexa-fuzz-XXXXXX";
    require(mkdtemp(sim_dir) != nullptr);
    setenv("VEXA_SIM_DIR", sim_dir, 1);
    calls_log = std::string(sim_dir) + "/calls.log";
    std::atexit([] { std::filesystem::remove_all(sim_dir); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    const std::string data(reinterpret_cast<const char *>(bytes), size);
    unlink(calls_log.c_str());
    int code = start_modem_ota(data.data(), size);
    std::ifstream in(calls_log, std::ios::binary);
    std::string call(std::istreambuf_iterator<char>(in), {});
    // A sixth text starts inside the data when five zero bytes come before its last byte.
    bool six_texts = size > 0 && std::count(data.begin(), data.end() - 1, '\0') >= 5;
    if (code != OTA_SUCCESS) {
        require(code == OTA_BAD_PARAMETERS && call.empty() && (size > 1023 || !six_texts));
        return 0;
    }
    // The record joins the texts with blanks: the data up to the sixth zero, zeros as blanks.
    const std::string head = "cellmgr_fw_update_ota -1 ";
    require(size <= 1023 && call.starts_with(head) && call.ends_with("\n"));
    std::string sent = call.substr(head.size(), call.size() - head.size() - 1);
    std::string read = data.substr(0, sent.size());
    std::replace(read.begin(), read.end(), '\0', ' ');
    require(sent == read && std::count(data.begin(), data.begin() + sent.size(), '\0') == 5 &&
            (sent.size() == size || data[sent.size()] == '\0'));
    return 0;
}
