// Feeds arbitrary bytes to RCI_Processing against the device image's configuration. The first
// byte picks the request source, so both access paths are explored.
#include "base/log.h"
#include "base/xml.h"
#include "config/config.h"
#include "rci/rci.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace
{

void discard(int, const char *) {}

// Error hints are cut at 255 characters by design, which can cut a hint's closing tag: only
// requests naming something that long may produce a reply that does not parse.
bool has_long_name(const uint8_t *data, size_t size)
{
    size_t run = 0;
    for (size_t i = 0; i < size; ++i) {
        run = std::strchr("<>/ \t\r\n=\"'", data[i]) && data[i] ? 0 : run + 1;
        if (run >= 200) return true;
    }
    return false;
}

bool load_image()
{
    log_set_sink(discard);
    return config_load({VEXA_IMAGE "/etc/vexa/db/local", VEXA_IMAGE "/etc/vexa/db/cfd",
                        "/dev/null"}) == CONFIG_LOADED;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool loaded = load_image();
    if (!loaded) std::abort();
    if (size == 0) return 0;
    const char *source = (data[0] & 1) ? "nimbo" : "python";
    xmlBufferPtr reply = nullptr;
    int result = RCI_Processing(reinterpret_cast<const char *>(data + 1), size - 1, &reply, source);
    if (result >= 0) {
        // Every reply must be a well-formed document: clients parse it.
        if (!reply) std::abort();
        if (!has_long_name(data, size) &&
            !xml::parse_memory(xml::chars(xmlBufferContent(reply)), xmlBufferLength(reply)))
            std::abort();
    } else if (reply || result < -5) {
        std::abort();
    }
    xmlBufferFree(reply);
    return 0;
}
