// Feeds arbitrary bytes to write_dom as a set_setting request, against a scratch copy of the
// image's configuration and an empty scratch worklog, with the image's grammar. The first byte
// picks the request source, so the read-only rules of both sources are explored. Each input
// starts again from the image's configuration.
#include "base/log.h"
#include "base/xml.h"
#include "config/config.h"
#include "config/write_dom.h"

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace
{

void discard(int, const char *) {}

struct scratch_store {
    std::string folder, local, cfd, worklog;
    xml::doc_ptr pristine;
    ~scratch_store() { std::filesystem::remove_all(folder); }
};

std::string copy_into(const std::string &folder, const char *image_path, const char *name)
{
    std::ifstream in(std::string(VEXA_IMAGE) + image_path);
    std::stringstream text;
    text << in.rdbuf();
    std::string path = folder + "/" + name;
    std::ofstream(path) << text.str();
    return path;
}

void fill_store(scratch_store *store)
{
    log_set_sink(discard);
    char folder[] = "/tmp/vexa-write-dom-fuzz-XXXXXX";
    if (!mkdtemp(folder)) std::abort();
    store->folder = folder;
    store->local = copy_into(folder, "/etc/vexa/db/local", "local");
    store->cfd = copy_into(folder, "/etc/vexa/db/cfd", "cfd");
    store->worklog = std::string(folder) + "/generate_list";
    std::ofstream(store->worklog).flush();
    if (config_load({store->local.c_str(), store->cfd.c_str(), store->worklog.c_str()}) !=
        CONFIG_LOADED)
        std::abort();
    static const std::string schema =
        std::string(VEXA_IMAGE) + "/usr/share/validation/set_setting.rng";
    set_change_paths(
        {.schema = schema.c_str(), .custom_defaults = "/nonexistent", .certs = "/nonexistent"});
    store->pristine.reset(xmlCopyDoc(config_current(), 1));
}

// Error hints are cut at 255 characters by design, so an element name that long may leave a reply
// that does not parse.
bool has_long_name(xmlNodePtr node)
{
    for (; node; node = node->next) {
        if (node->type == XML_ELEMENT_NODE &&
            (xmlStrlen(node->name) > 200 || has_long_name(node->children)))
            return true;
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static scratch_store scratch;
    static scratch_store *store = (fill_store(&scratch), &scratch);
    if (size < 2) return 0;
    const char *source = (data[0] & 1) ? "nimbo" : "python";
    xml::doc_ptr request =
        xml::parse_memory(reinterpret_cast<const char *>(data + 1), static_cast<int>(size - 1));
    if (!request) return 0;
    bool long_name = has_long_name(xmlDocGetRootElement(request.get()));
    config_replace_current(xml::doc_ptr(xmlCopyDoc(store->pristine.get(), 1)));
    if (truncate(store->worklog.c_str(), 0) != 0) std::abort();
    xml::buffer_ptr reply(xmlBufferCreate());
    int result = write_dom(reply.get(), xmlDocGetRootElement(request.get()), source, 0);
    if (result > 0 || result < -9) std::abort();
    // Clients parse every reply, and a saved configuration must load again.
    if (!long_name &&
        !xml::parse_memory(xml::chars(xmlBufferContent(reply.get())), xmlBufferLength(reply.get())))
        std::abort();
    if (result == 0 && !xml::parse_file(store->local.c_str())) std::abort();
    return 0;
}
