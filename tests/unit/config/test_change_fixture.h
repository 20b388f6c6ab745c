// A scratch copy of the image's configuration, worklog, schema and certificate folders, with the
// parent channel turned into a pipe whose letters the test reads back.
#pragma once

#include "config/config.h"
#include "config/write_dom.h"
#include "supervisor/channel.h"
#include "support/config_fixture.h"
#include "support/log_capture.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

inline const std::string image_local = read_file(VEXA_IMAGE "/etc/vexa/db/local");
inline const std::string image_cfd = read_file(VEXA_IMAGE "/etc/vexa/db/cfd");
inline const std::string image_schema = VEXA_IMAGE "/usr/share/validation/set_setting.rng";

// What a command handler returned and wrote.
struct change_result {
    int result;
    std::string reply;
};

class config_change : public ::testing::Test
{
  protected:
    explicit config_change(const std::string &local = image_local) : files(local, image_cfd)
    {
        EXPECT_EQ(files.load(), 0);
        custom = dir().file("config_custom.rci");
        certs = dir().file("certs");
        use_schema(image_schema);
        EXPECT_EQ(pipe2(channel, O_NONBLOCK), 0);
        to_parent_fd = channel[1];
    }
    ~config_change() override
    {
        set_change_paths(device_change_paths);
        to_parent_fd = -1;
        close(channel[0]);
        close(channel[1]);
    }

    void use_schema(const std::string &path)
    {
        schema = path;
        set_change_paths(
            {.schema = schema.c_str(), .custom_defaults = custom.c_str(), .certs = certs.c_str()});
    }
    // What `handler(reply, root of the parsed request)` returned and wrote.
    template <class Handler> static change_result call(const std::string &request, Handler handler)
    {
        xml::doc_ptr doc = xml::parse_memory(request.data(), static_cast<int>(request.size()));
        EXPECT_TRUE(doc) << request;
        xml::buffer_ptr reply(xmlBufferCreate());
        int result = handler(reply.get(), xmlDocGetRootElement(doc.get()));
        return {result, xml::chars(xmlBufferContent(reply.get()))};
    }
    const scratch_dir &dir() const { return files.dir(); }
    std::string local() const { return dir().file("local"); }
    std::string worklog() const { return read_file(dir().file("generate_list")); }

    // The letters sent to the parent since the last call.
    std::string letters()
    {
        std::string sent;
        for (char c; read(channel[0], &c, 1) == 1;)
            sent += c;
        return sent;
    }

    // The text of the one element that `xpath` selects in the current document.
    static std::string current(const char *xpath)
    {
        xml::text_ptr value = config_lookup(SAVE_CURRENT, xpath);
        return value ? xml::chars(value.get()) : "(none)";
    }

    log_capture log;
    config_files files;
    std::string schema, custom, certs;
    int channel[2] = {-1, -1};
};
