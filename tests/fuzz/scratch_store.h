// What the fuzz targets that change the configuration share: a scratch folder holding copies of
// the image's configuration, defaults and worklog, a custom defaults file and a certificate folder,
// with the store and the change paths pointed at them and the image's grammar read in place. A
// target that ran against the device's own paths would write into the host: any failure to set
// this up ends the target.
#pragma once

#include "base/log.h"
#include "base/xml.h"
#include "config/config.h"
#include "config/write_dom.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

class scratch_store
{
  public:
    explicit scratch_store(const std::string &name)
    {
        log_set_sink([](int, const char *) {});
        // Every save is flushed to storage: on a memory file system that costs nothing.
        std::string base = std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
        std::string pattern = base + "/vexa-" + name + "-XXXXXX";
        if (!mkdtemp(pattern.data())) std::abort();
        folder_ = pattern;
        local_text_ = image_text("/etc/vexa/db/local");
        local_ = write("local", local_text_);
        cfd_ = write("cfd", image_text("/etc/vexa/db/cfd"));
        worklog_ = write("generate_list", "");
        custom_ = write("config_custom.rci", "<rci_request><set_setting><dns><primary>9.9.9.9"
                                             "</primary></dns></set_setting></rci_request>");
        certs_ = path("certs");
        for (const char *file : {"identity/device.pem", "socket_1/ca.pem", "wifi_ca/ca.pem"}) {
            std::filesystem::create_directories(
                std::filesystem::path(certs_ + "/" + file).parent_path());
            write(std::string("certs/") + file, "pem");
        }
        if (config_load({local_.c_str(), cfd_.c_str(), worklog_.c_str()}) != CONFIG_LOADED)
            std::abort();
        set_change_paths({.schema = schema_.c_str(),
                          .custom_defaults = custom_.c_str(),
                          .certs = certs_.c_str()});
        pristine_.reset(xmlCopyDoc(config_current(), 1));
    }
    ~scratch_store() { std::filesystem::remove_all(folder_); }
    scratch_store(const scratch_store &) = delete;
    scratch_store &operator=(const scratch_store &) = delete;

    const std::string &folder() const { return folder_; }
    std::string path(const std::string &name) const { return folder_ + "/" + name; }
    std::string write(const std::string &name, const std::string &text) const
    {
        std::ofstream(path(name)) << text;
        return path(name);
    }
    // Each input starts from the image's configuration, on disk (a rollback reads it) and in
    // memory, with an empty worklog.
    void reset() const
    {
        write("local", local_text_);
        write("generate_list", "");
        config_replace_current(xml::doc_ptr(xmlCopyDoc(pristine_.get(), 1)));
    }

  private:
    static std::string image_text(const char *image_path)
    {
        std::ifstream in(std::string(VEXA_IMAGE) + image_path);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }

    // The store and the change paths keep pointers into these strings.
    std::string folder_, local_text_, local_, cfd_, worklog_, custom_, certs_;
    const std::string schema_ = VEXA_IMAGE "/usr/share/validation/set_setting.rng";
    xml::doc_ptr pristine_;
};

// Error hints are written through the 255-byte formatter, which cuts a longer hint by design: an
// element name longer than what "<hint></hint>" leaves of it may leave a reply that does not
// parse. Names are measured as the reply carries them: decoded, in UTF-8 bytes.
inline bool has_long_name(xmlNodePtr node)
{
    constexpr int hint_room = 255 - static_cast<int>(sizeof "<hint></hint>" - 1);
    for (; node; node = node->next)
        if (node->type == XML_ELEMENT_NODE &&
            (xmlStrlen(node->name) > hint_room || has_long_name(node->children)))
            return true;
    return false;
}
