#include "state/device/providers.h"

#include <array>

namespace
{

// The fields of device_info in the order a query lists them; a new field is one row here.
constexpr std::array device_info_rows{
    state_row{.name = "deviceid", .provider = deviceid},
    state_row{.name = "hostname", .provider = hostname},
    state_row{.name = "productid", .provider = productid, .arg = {.text = "product_id"}},
    state_row{.name = "model", .provider = model, .arg = {.text = "name"}},
    state_row{.name = "firmware", .provider = firmware, .arg = {.text = "PRODUCT_BUILDSTRING"}},
    state_row{.name = "firmwareversion", .provider = firmware, .arg = {.text = "PRODUCT_VERSION"}},
    state_row{.name = "pythonversion", .provider = pythonversion},
};

// The fields of device_stats in the order a query lists them.
constexpr std::array device_stats_rows{
    state_row{.name = "cpu", .provider = cpu},
    state_row{.name = "uptime", .provider = uptime},
    state_row{.name = "datetime", .provider = datetime},
    state_row{.name = "xmldatetime", .provider = xmldatetime},
    state_row{.name = "totalmem", .provider = memory, .arg = {.selector = MEMORY_TOTAL}},
    state_row{.name = "usedmem", .provider = memory, .arg = {.selector = MEMORY_USED}},
    state_row{.name = "freemem", .provider = memory, .arg = {.selector = MEMORY_FREE}},
    state_row{.name = "firmwarestate", .provider = firmwarestate},
    state_row{.name = "cputemp", .provider = cputemp},
    state_row{.name = "servicehours", .provider = servicehours, .self_tagged = true},
};

} // namespace

const state_table device_info_fields{device_info_rows};
const state_table device_stats_fields{device_stats_rows};
