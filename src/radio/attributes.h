// The attributes that the radio subcommands share: reading them, and echoing them in the reply.
#pragma once

#include "base/xml.h"
#include "reply/reply_buffer.h"

#include <cstdint>

// The attribute's text, or nullptr when the element has none.
xml::text_ptr attribute(xmlNodePtr element, const char *name);

// Appends ` NAME="VALUE"`. Values come from the request as libxml2 decoded them, so they are
// escaped again to keep the reply well formed.
void echo_attribute(reply_buffer &reply, const char *name, const xmlChar *value);

// The network_index attribute: the index it names, and its text for the echo.
struct network_choice {
    xml::text_ptr text;
    uint8_t index = 0;

    // Index 0, or 1 on a radio that runs a second network.
    bool usable() const;
    // ` network_index="TEXT"` unless the index is 0.
    void echo(reply_buffer &reply) const;
};
network_choice read_network_index(xmlNodePtr element);

// Closes the start tag with the network_index echo and checks the network: the index, or -1
// after the error element.
int close_with_network(reply_buffer &reply, xmlNodePtr element);

// The radio that a subcommand addresses: the gateway's own, or the node of its `addr`.
struct pelk_node {
    uint8_t address[8] = {};
    bool remote = false;
    uint8_t network = 0;

    // The address argument of the radio library calls.
    const uint8_t *node() const { return remote ? address : nullptr; }
};

// Reads the address attribute `name` into `address`: 1 when present and valid, 0 when absent,
// -1 when it names no single node.
int read_node_address(xmlNodePtr element, const char *name, uint8_t address[8]);

// With "<NAME" appended: echoes and checks `addr`, closes the start tag with the network_index
// echo and checks the network. On failure the error element is written (closing the start tag)
// and -1 returned; the caller closes its element either way.
int open_radio_element(reply_buffer &reply, xmlNodePtr element, pelk_node &target);
