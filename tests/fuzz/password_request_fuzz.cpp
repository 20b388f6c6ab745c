// The parent's password request from arbitrary payload bytes, as a confused or hostile engine
// could send them, through the letter's rules as the parent loop applies them and then the
// action. The change is asked for exactly when the payload is shorter than 100 bytes, holds no
// zero byte and has three pieces between its separators (runs of separators count as one), and
// then with those three pieces unchanged.
#include "base/log.h"
#include "channel/letters.h"
#include "supervisor/root_daemon.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace
{

constexpr char separator = '\x1e';
std::vector<std::string> asked;

int record_change(const char *user, const char *current, const char *replacement)
{
    asked = {user, current, replacement};
    return 0;
}

void discard(int, const char *) {}

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
    const letter_rule &rule = *find_letter_rule(LETTER_PASSWORD);
    bool passes =
        payload_length_valid(rule, size) && rule.check && rule.check(payload.data(), size);
    int result = passes ? read_password_request(payload.data(), payload.size()) : -1;
    // The payload with every run of separators as one and none at either end.
    std::string pieces;
    for (char c : payload)
        if (c != separator || (!pieces.empty() && pieces.back() != separator)) pieces += c;
    if (!pieces.empty() && pieces.back() == separator) pieces.pop_back();
    bool acceptable = size < 100 && payload.find('\0') == std::string::npos &&
                      std::count(pieces.begin(), pieces.end(), separator) == 2;
    if (result != (acceptable ? 0 : -1) || asked.empty() == acceptable) std::abort();
    if (acceptable && asked[0] + separator + asked[1] + separator + asked[2] != pieces)
        std::abort();
    return 0;
}
