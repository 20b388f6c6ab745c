// The Bluetooth module's address, from the module's library, loaded for each query.
#include "base/log.h"
#include "base/xml.h"
#include "state/stats/stats.h"

#include "bluegiga.h"

#include <dlfcn.h>

#include <cstdio>
#include <memory>

namespace
{

struct library_closer {
    void operator()(void *handle) const { dlclose(handle); }
};
using library_ptr = std::unique_ptr<void, library_closer>;
using node_ptr = std::unique_ptr<xmlNode, xml::deleter<xmlFreeNode>>;

// Products without the module have no library: it is looked for on every query and never kept
// loaded.
int bluetooth_info(bluegiga_device_info *record)
{
    library_ptr library(dlopen("libbluegiga.so", RTLD_LAZY));
    if (!library) {
        log_msg(LOG_ERR, "Could not load libbluegiga.so library");
        return -1;
    }
    auto get_device_info = reinterpret_cast<int (*)(bluegiga_device_info *)>(
        dlsym(library.get(), "bluegiga_get_device_info"));
    if (!get_device_info) {
        log_msg(LOG_ERR, "Could not resolve bluegiga_get_device_info symbol");
        return -1;
    }
    if (get_device_info(record) != 0) {
        log_msg(LOG_ERR, "Unable to retrieve bluetooth information");
        return -1;
    }
    return 0;
}

} // namespace

int bluetooth_state(reply_buffer *reply, xmlNodePtr, state_mode, const state_arg &)
{
    bluegiga_device_info record{};
    if (bluetooth_info(&record) < 0) return -1;
    node_ptr element(xmlNewNode(nullptr, xml::uchars("bluetooth_state")));
    if (!element) {
        log_msg(LOG_ERR, "Failed to create bluetooth_state element");
        return -1;
    }
    const uint8_t *a = record.address;
    char address[20];
    std::snprintf(address, sizeof address, "%02x:%02x:%02x:%02x:%02x:%02x", a[0], a[1], a[2], a[3],
                  a[4], a[5]);
    int result = 0;
    if (!xmlNewTextChild(element.get(), nullptr, xml::uchars("address"), xml::uchars(address))) {
        log_msg(LOG_ERR, "Failed to create bluetooth_state->address element");
        result = -1;
    }
    if (!reply || reply->append_node(nullptr, element.get()) < 0) {
        log_msg(LOG_ERR, "Failure writing bluetooth_state");
        const xmlError *error = xmlGetLastError();
        if (error && error->message) log_msg(LOG_ERR, "Message: %s", error->message);
        result = -1;
    }
    return result;
}
