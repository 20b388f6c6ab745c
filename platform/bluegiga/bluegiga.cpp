#include "bluegiga.h"

#include "sim.h"

#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

static_assert(sizeof(bluegiga_device_info) == 536, "the module's record size");

extern "C" int bluegiga_get_device_info(struct bluegiga_device_info *info)
{
    int told = sim::call_result("bluegiga_get_device_info", 0);
    if (told != 0) return told;
    std::optional<std::string> text = sim::read_data("bluetooth_address");
    unsigned byte[6];
    if (!info || !text ||
        std::sscanf(text->c_str(), "%2x:%2x:%2x:%2x:%2x:%2x", &byte[0], &byte[1], &byte[2],
                    &byte[3], &byte[4], &byte[5]) != 6)
        return -1;
    std::memset(info, 0, sizeof *info);
    for (int i = 0; i < 6; ++i)
        info->address[i] = static_cast<uint8_t>(byte[i]);
    return 0;
}
