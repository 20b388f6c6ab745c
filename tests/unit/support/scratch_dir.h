// A scratch folder for one test, removed with everything in it when the test ends.
#pragma once

#include <cstdlib>
#include <fstream>
#include <iterator>
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

inline std::string read_file(const std::string &path)
{
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), {});
}
