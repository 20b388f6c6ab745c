// Splits arbitrary data as a cloud request could carry it. A request of at most 1023 bytes with
// at least six zero-terminated texts must reach the cellular manager with exactly its first six
// texts, in order; any other request must be refused before it.
#include "base/log.h"
#include "commands/modem_ota.h"

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace
{

std::string calls_log;

void discard(int, const char *) {}

// The texts of the request, read independently of the daemon's splitting.
std::vector<std::string> texts_of(const char *data, size_t size)
{
    std::vector<std::string> texts;
    size_t at = 0;
    while (at < size && texts.size() < 6) {
        const void *zero = std::memchr(data + at, 0, size - at);
        size_t end = zero ? static_cast<size_t>(static_cast<const char *>(zero) - data) : size;
        texts.emplace_back(data + at, end - at);
        at = end + 1;
    }
    return texts;
}

std::string recorded_calls()
{
    std::ifstream in(calls_log, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    log_set_sink(discard);
    static char sim_dir[] = "/tmp/vexa-fuzz-XXXXXX";
    if (!mkdtemp(sim_dir)) std::abort();
    setenv("VEXA_SIM_DIR", sim_dir, 1);
    calls_log = std::string(sim_dir) + "/calls.log";
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    const char *data = reinterpret_cast<const char *>(bytes);
    unlink(calls_log.c_str());
    int code = start_modem_ota(data, size);
    std::vector<std::string> texts = texts_of(data, size);
    if (size > 1023 || texts.size() < 6) {
        if (code != OTA_BAD_PARAMETERS || !recorded_calls().empty()) std::abort();
        return 0;
    }
    std::string expected = "cellmgr_fw_update_ota -1";
    for (const std::string &text : texts)
        expected += " " + text;
    if (code != OTA_SUCCESS || recorded_calls() != expected + "\n") std::abort();
    return 0;
}
