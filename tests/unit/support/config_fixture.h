// Loads configuration documents from scratch files for one test.
#pragma once

#include "config/config.h"
#include "support/scratch_dir.h"

#include <string>

// Holds the paths for as long as the store may use them.
class config_files
{
  public:
    config_files(const std::string &local, const std::string &defaults)
    {
        // An empty text leaves the file missing.
        local_ = local.empty() ? dir_.file("local") : dir_.write("local", local);
        defaults_ = dir_.write("cfd", defaults);
        worklog_ = dir_.write("generate_list", "");
    }
    int load() { return config_load({local_.c_str(), defaults_.c_str(), worklog_.c_str()}); }
    ~config_files() { config_unload(); }
    const scratch_dir &dir() const { return dir_; }

  private:
    scratch_dir dir_;
    std::string local_, defaults_, worklog_;
};
