// Builds catalogue rows from arguments in the order the catalogue tables are read: field name
// first, then command, type, kinds, limits, unit and description.
#pragma once

#include "radio/catalogue.h"

constexpr catalogue_row setting(const char *name, const char *command, uint32_t type,
                                uint32_t kinds, int32_t minimum, uint32_t maximum, const char *unit,
                                const char *description)
{
    catalogue_row row{.command = {},
                      .type = type,
                      .kinds = kinds,
                      .minimum = minimum,
                      .maximum = maximum,
                      .unit = unit,
                      .name = name,
                      .description = description};
    for (size_t i = 0; command[i] && i + 1 < sizeof row.command; ++i)
        row.command[i] = command[i];
    return row;
}

// State values are only read: their limits are never applied.
constexpr catalogue_row state_field(const char *name, const char *command, uint32_t type,
                                    uint32_t kinds, const char *unit, const char *description)
{
    return setting(name, command, type, kinds, 0, UINT32_MAX, unit, description);
}
