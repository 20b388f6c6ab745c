// How the daemon's tables are searched by the name a request or a caller gives: exactly and
// case-sensitively, first row first, so one name always means one row.
#pragma once

#include <cstring>
#include <iterator>

// The first row of `table` whose `name` equals `name`, or nullptr.
template <typename Table>
auto find_named(const Table &table, const char *name) -> decltype(&*std::begin(table))
{
    for (const auto &row : table)
        if (std::strcmp(row.name, name) == 0) return &row;
    return nullptr;
}
