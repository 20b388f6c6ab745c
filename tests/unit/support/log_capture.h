// Collects the daemon's log lines in memory for the duration of a test.
#pragma once

#include "base/log.h"

#include <set>
#include <string>
#include <utility>

class log_capture
{
  public:
    log_capture()
    {
        lines.clear();
        log_set_sink([](int priority, const char *text) { lines.emplace(priority, text); });
    }
    ~log_capture() { log_set_sink(nullptr); }
    log_capture(const log_capture &) = delete;
    log_capture &operator=(const log_capture &) = delete;

    bool has(int priority, const std::string &text) const
    {
        return lines.contains({priority, text});
    }

  private:
    static inline std::set<std::pair<int, std::string>> lines;
};
