#include "cellmgr.h"

#include "sim.h"

#include <cstring>
#include <optional>
#include <string>

extern "C" char *cellmgr_get_rci(void)
{
    std::optional<std::string> fragment = sim::read_data("cellmgr.xml");
    return fragment ? strdup(fragment->c_str()) : nullptr;
}

extern "C" int cellmgr_fw_update_ota(int arg, const char *p1, const char *p2, const char *p3,
                                     const char *p4, const char *p5, const char *p6)
{
    auto text = [](const char *p) { return p ? p : ""; };
    sim::record_call("cellmgr_fw_update_ota", {std::to_string(arg), text(p1), text(p2), text(p3),
                                               text(p4), text(p5), text(p6)});
    return sim::call_result("cellmgr_fw_update_ota", 0);
}
