// A scratch folder holding copies of the image's configuration and defaults and an empty worklog,
// with the store loaded from them and the change paths pointed at the image's grammar and at a
// custom defaults file and certificate folder inside it. Unit tests and fuzz targets that change
// the configuration share it: run against the device's own paths they would write into the host,
// so any failure to set it up ends the program.
#pragma once

#include "base/xml.h"
#include "config/config.h"
#include "config/write_dom.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

class scratch_store
{
  public:
    explicit scratch_store(const std::string &name)
    {
        // Every save is flushed to storage: on a memory file system that costs nothing.
        std::string base = std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
        std::string pattern = base + "/vexa-" + name + "-XXXXXX";
        if (!mkdtemp(pattern.data())) std::abort();
        folder_ = pattern;
        local_ = write("local", image("local"));
        cfd_ = write("cfd", image("cfd"));
        worklog_ = write("generate_list", "");
        custom_ = path("config_custom.rci");
        certs_ = path("certs");
        use_schema(VEXA_IMAGE "/usr/share/validation/set_setting.rng");
        if (load() != CONFIG_LOADED) std::abort();
        pristine_.reset(xmlCopyDoc(config_current(), 1));
    }
    ~scratch_store()
    {
        config_unload();
        set_change_paths(device_change_paths);
        std::filesystem::remove_all(folder_);
    }
    scratch_store(const scratch_store &) = delete;
    scratch_store &operator=(const scratch_store &) = delete;

    // The text of the image's configuration file `name` ("local" or "cfd").
    static std::string image(const std::string &name)
    {
        std::ifstream in(VEXA_IMAGE "/etc/vexa/db/" + name);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    int load() const { return config_load({local_.c_str(), cfd_.c_str(), worklog_.c_str()}); }
    // `name` in the folder; "" names the folder itself, with a trailing slash.
    std::string path(const std::string &name) const { return folder_ + "/" + name; }
    std::string write(const std::string &name, const std::string &text) const
    {
        std::ofstream(path(name)) << text;
        return path(name);
    }
    void use_schema(const std::string &schema)
    {
        schema_ = schema;
        set_change_paths({.schema = schema_.c_str(),
                          .custom_defaults = custom_.c_str(),
                          .certs = certs_.c_str()});
    }
    // Back to the image's configuration, on disk (a rollback reads it) and in memory, with an
    // empty worklog.
    void reset() const
    {
        write("local", image("local"));
        write("generate_list", "");
        config_replace_current(xml::doc_ptr(xmlCopyDoc(pristine_.get(), 1)));
    }

  private:
    // The store and the change paths keep pointers into these strings.
    std::string folder_, local_, cfd_, worklog_, custom_, certs_, schema_;
    xml::doc_ptr pristine_;
};
