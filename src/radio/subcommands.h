// The radio subcommands of do_command, one handler per row of the dispatcher's table, and what
// they share. A handler appends its element to the reply and closes it on every path; it returns
// 0, or -1 after writing an error element.
#pragma once

#include "radio/catalogue.h"
#include "reply/reply_buffer.h"

#include <libpelk.h>

#include <cstdint>

using pelk_handler = int (*)(reply_buffer &reply, xmlNodePtr element);

// Appends "<TAG", runs `body` (which closes the start tag, or writes an error element, which
// closes it), then "</TAG>"; the body's result.
int within_element(reply_buffer &reply, const char *tag, pelk_handler body, xmlNodePtr element);

int pelk_discover(reply_buffer &reply, xmlNodePtr element);
int pelk_fw_update(reply_buffer &reply, xmlNodePtr element);
int pelk_get_lqi(reply_buffer &reply, xmlNodePtr element);
int pelk_radio_command(reply_buffer &reply, xmlNodePtr element);
// query_setting and query_state: the element's name tells which catalogue is listed.
int pelk_query(reply_buffer &reply, xmlNodePtr element);
int pelk_set_setting(reply_buffer &reply, xmlNodePtr element);
int pelk_factory_default(reply_buffer &reply, xmlNodePtr element);

// One line per field of the chosen catalogue that the radio at `address` (nullptr: the gateway's
// own) has; fields the radio does not know are left out. String values are entity-encoded for
// `doc`, the request's document. 0, or -1 after an error element (the fields listed before it
// stay).
int pelk_list_fields(xmlDocPtr doc, reply_buffer &reply, const uint8_t *address, uint8_t network,
                     catalogue_choice which);

// One device element of discover: `index` + 1 as its index, the firmware update block when
// `fw_status` is set. The node identifier and the update file name are entity-encoded for `doc`,
// the request's document.
void write_device_record(xmlDocPtr doc, reply_buffer &reply, const radio_node_record &record,
                         int index, bool fw_status);
// One device element of get_lqi: the node's neighbour table, read by Mgmt_Lqi requests. The
// result of the last request.
int write_neighbour_table(reply_buffer &reply, const uint8_t address[8], uint8_t network,
                          int index);

// Recover modes of fw_update.
enum recover_code : int { RECOVER_NONE = 0, RECOVER_YES = 1, RECOVER_NEVER = 2 };
// The recover code of a recover attribute (nullptr: absent); *said_true becomes true for "true"
// and is left alone otherwise.
int parse_recover(const char *text, bool *said_true);
