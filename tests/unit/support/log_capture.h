// Collects the daemon's log lines in memory for the duration of a test.
#pragma once

#include "base/log.h"

#include <string>
#include <vector>

struct log_line {
    int priority;
    std::string text;
};

class log_capture
{
  public:
    log_capture()
    {
        lines().clear();
        log_set_sink(&record);
    }
    ~log_capture() { log_set_sink(nullptr); }
    log_capture(const log_capture &) = delete;
    log_capture &operator=(const log_capture &) = delete;

    const std::vector<log_line> &all() const { return lines(); }
    bool has(int priority, const std::string &text) const
    {
        for (const log_line &line : lines())
            if (line.priority == priority && line.text == text) return true;
        return false;
    }

  private:
    static std::vector<log_line> &lines()
    {
        static std::vector<log_line> store;
        return store;
    }
    static void record(int priority, const char *text) { lines().push_back({priority, text}); }
};
