// set_factory_default of a radio: the radio tool restores the module's factory settings and
// prints one line per problem.
#include "base/readers.h"
#include "base/xml.h"
#include "radio/attributes.h"
#include "radio/codec.h"
#include "radio/errors.h"
#include "radio/subcommands.h"
#include "reply/reply.h"

#include <cstdio>
#include <cstring>

namespace
{

// Runs the tool for the node `addr` ("" for the gateway's own radio) and reports what it prints.
// The address reaches the shell only after the radio library's parser, which admits nothing but
// hexadecimal digits and its separators, accepted it; it goes out as one single-quoted word
// all the same, so the tool always receives exactly one argument.
int run_tool(xmlBufferPtr reply, const char *addr)
{
    char command[80];
    std::snprintf(command, sizeof command, "/usr/bin/pelk factory_default '%s'", addr);
    command_pipe tool = open_command(command);
    if (!tool) {
        pelk_error(reply, PELK_COMMAND_ERROR, "pelk command missing");
        return -1;
    }
    int result = 0;
    char line[128];
    while (std::fgets(line, sizeof line, tool.get())) {
        pelk_error(reply, PELK_COMMAND_ERROR, line);
        result = -1;
    }
    close_command(std::move(tool));
    return result;
}

int factory_default(xmlBufferPtr reply, xmlNodePtr element)
{
    xml::text_ptr addr = attribute(element, "addr");
    if (addr) echo_attribute(reply, "addr", addr.get());
    reply_append(reply, ">");
    uint8_t address[8];
    if (addr && (!parse_node_address(xml::chars(addr.get()), address) ||
                 std::strchr(xml::chars(addr.get()), '\''))) {
        pelk_error(reply, PELK_INVALID_PARAMETER, "addr");
        return -1;
    }
    return run_tool(reply, addr ? xml::chars(addr.get()) : "");
}

} // namespace

int pelk_factory_default(xmlBufferPtr reply, xmlNodePtr element)
{
    return within_element(reply, "set_factory_default", factory_default, element);
}
