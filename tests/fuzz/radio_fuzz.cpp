// Feeds arbitrary bytes to the radio subcommand dispatcher as the content of a do_command
// element, against the image's simulated radio network. Every reply must be well formed, hints cut
// from long escaped text included, and the only command line that may reach the shell is the
// factory tool's with an address text or none.
#include "base/log.h"
#include "base/readers.h"
#include "base/xml.h"
#include "radio/pelk.h"

#include <cstdint>
#include <cstdlib>
#include <regex>
#include <string>

namespace
{

void discard(int, const char *) {}

} // namespace

// Every command line the dispatcher starts comes here (linked with --wrap for open_command). In
// the tool's place a shell prints a complaint whose escaped form is cut inside an entity in a hint.
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
extern "C" command_pipe __real__Z12open_commandPKc(const char *command);
extern "C" command_pipe __wrap__Z12open_commandPKc(const char *command)
{
    static const std::regex factory_tool(
        "/usr/bin/pelk factory_default '([0-9a-fA-F]{2}(:[0-9a-fA-F]{2}){7})?'");
    if (!std::regex_match(command, factory_tool)) std::abort();
    static const std::string complaint = "printf 'x" + std::string(60, '&') + "'";
    return __real__Z12open_commandPKc(complaint.c_str());
}

// The stand-in keeps its call record and reads its results under VEXA_SIM_DIR: a folder that
// cannot exist below a device file keeps the target from writing anything.
extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    log_set_sink(discard);
    setenv("VEXA_SIM_DATA", VEXA_IMAGE "/etc/vexa/sim", 1);
    setenv("VEXA_SIM_DIR", "/dev/null/sim", 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string request = "<do_command target=\"pelk\">" +
                          std::string(reinterpret_cast<const char *>(data), size) + "</do_command>";
    xml::doc_ptr doc = xml::parse_memory(request.data(), static_cast<int>(request.size()));
    if (!doc) return 0;
    xml::buffer_ptr reply(xmlBufferCreate());
    xmlBufferCCat(reply.get(), "<r>");
    pelk_do_command(reply.get(), xmlDocGetRootElement(doc.get()), "pelk");
    xmlBufferCCat(reply.get(), "</r>");
    if (!xml::parse_memory(xml::chars(xmlBufferContent(reply.get())), xmlBufferLength(reply.get())))
        std::abort();
    return 0;
}
