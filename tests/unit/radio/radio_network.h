// A simulated radio network for one test: the stand-in's description file and call record live
// in a scratch folder for as long as the fixture does.
#pragma once

#include "base/xml.h"
#include "radio/pelk.h"
#include "support/scratch_dir.h"

#include <cstdio>
#include <cstdlib>
#include <string>

// The gateway radio's address in every test network.
constexpr const char *gateway_address = "00:13:a2:00:00:00:00:01";

class radio_network
{
  public:
    radio_network()
    {
        setenv("VEXA_SIM_DATA", dir_.path().c_str(), 1);
        setenv("VEXA_SIM_DIR", dir_.path().c_str(), 1);
        std::system(("mkdir -p '" + dir_.file("exit") + "'").c_str());
    }
    ~radio_network()
    {
        unsetenv("VEXA_SIM_DATA");
        unsetenv("VEXA_SIM_DIR");
    }

    // Replaces the network with a gateway (its attributes and children) and what follows it
    // (kinds, nodes). A new file, so the stand-in sees the change even within one clock tick.
    void describe(const std::string &gateway_attributes, const std::string &gateway_body = "",
                  const std::string &rest = "") const
    {
        dir_.write("pelk.new",
                   "<pelk_network ext_pan_id=\"0x0102030405060708\"><gateway address=\"" +
                       std::string(gateway_address) + "\" " + gateway_attributes + ">" +
                       gateway_body + "</gateway>" + rest + "</pelk_network>");
        std::rename(dir_.file("pelk.new").c_str(), dir_.file("pelk.xml").c_str());
    }
    // Makes the stand-in function answer `code`.
    void fail(const std::string &function, int code) const
    {
        dir_.write("exit/" + function, std::to_string(code));
    }
    std::string calls() const { return read_file(dir_.file("calls.log")); }
    void forget_calls() const { dir_.write("calls.log", ""); }

  private:
    scratch_dir dir_;
};

// pelk_do_command over a do_command element whose content is `subcommands`; the reply text.
inline std::string radio_reply(const std::string &subcommands)
{
    std::string request = "<do_command target=\"zigbee\">" + subcommands + "</do_command>";
    xml::doc_ptr doc = xml::parse_memory(request.data(), static_cast<int>(request.size()));
    if (!doc) return "(request not well formed)";
    xml::buffer_ptr reply(xmlBufferCreate());
    pelk_do_command(reply.get(), xmlDocGetRootElement(doc.get()), "zigbee");
    return xml::chars(xmlBufferContent(reply.get()));
}
