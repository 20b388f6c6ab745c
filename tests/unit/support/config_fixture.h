// Loads configuration documents from scratch files for one test.
#pragma once

#include "config/config.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

class scratch_dir
{
  public:
    scratch_dir()
    {
        char tmpl[] = "/tmp/vexa-test-XXXXXX";
        path_ = mkdtemp(tmpl);
    }
    ~scratch_dir() { std::system(("rm -rf '" + path_ + "'").c_str()); }
    scratch_dir(const scratch_dir &) = delete;
    scratch_dir &operator=(const scratch_dir &) = delete;

    const std::string &path() const { return path_; }
    std::string file(const std::string &name) const { return path_ + "/" + name; }
    std::string write(const std::string &name, const std::string &text) const
    {
        std::ofstream(file(name)) << text;
        return file(name);
    }

  private:
    std::string path_;
};

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

inline std::string read_file(const std::string &path)
{
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), {});
}
