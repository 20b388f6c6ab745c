// Feeds arbitrary bytes to write_dom as a set_setting request, against a scratch copy of the
// image's configuration and the image's grammar. The first byte picks the request source, so the
// read-only rules of both sources are explored.
#include "base/log.h"
#include "config/scratch_store.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    log_set_sink([](int, const char *) {});
    static const scratch_store store("write-dom-fuzz");
    if (size < 2) return 0;
    request_source source = (data[0] & 1) ? request_source::cloud : request_source::local;
    xml::doc_ptr request =
        xml::parse_memory(reinterpret_cast<const char *>(data + 1), static_cast<int>(size - 1));
    if (!request) return 0;
    store.reset();
    reply_buffer reply;
    int result = write_dom(reply, xmlDocGetRootElement(request.get()), source, change_notice::none);
    if (result > 0 || result < -9) std::abort();
    // Clients parse every reply, and a saved configuration must load again.
    if (!xml::parse_memory(reply.c_str(), static_cast<int>(reply.size()))) std::abort();
    if (result == 0 && !xml::parse_file(store.path("local").c_str())) std::abort();
    return 0;
}
