// The parent's password request from arbitrary payload bytes, as a confused or hostile engine
// could send them. The change may be asked for only with exactly three non-empty pieces between
// separators (empty pieces skipped), none holding a zero byte, and with those pieces unchanged.
#include "base/log.h"
#include "supervisor/root_daemon.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace
{

std::vector<std::string> asked;

int record_change(const char *user, const char *current, const char *replacement)
{
    asked = {user, current, replacement};
    return 0;
}

void discard(int, const char *) {}

// The pieces as strtok_r would find them, read independently of the daemon's splitting.
std::vector<std::string> pieces_of(const std::string &payload)
{
    std::vector<std::string> pieces;
    size_t at = 0;
    while (at <= payload.size()) {
        size_t end = payload.find('\x1e', at);
        if (end == std::string::npos) end = payload.size();
        if (end > at) pieces.push_back(payload.substr(at, end - at));
        at = end + 1;
    }
    return pieces;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    log_set_sink(discard);
    root_hooks.password_changer = record_change;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string payload(reinterpret_cast<const char *>(data), size);
    asked.clear();
    int result = read_password_request(payload.data(), payload.size());
    std::vector<std::string> pieces = pieces_of(payload);
    bool acceptable = size < 100 && payload.find('\0') == std::string::npos && pieces.size() == 3;
    if (acceptable ? result != 0 || asked != pieces : result != -1 || !asked.empty()) std::abort();
    return 0;
}
