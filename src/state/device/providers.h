// The field tables of the device_info and device_stats groups, and their providers. Every
// provider follows the contract of state_table.h; only xmldatetime accepts a value.
#pragma once

#include "state/state_table.h"

extern const state_table device_info_fields;
extern const state_table device_stats_fields;

// device_info: who the device is.
int deviceid(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
int hostname(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
// arg.text: the key in the output of "boardenv -d".
int productid(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
// arg.text: the capability whose value names the model.
int model(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
// arg.text: the key in "/etc/version".
int firmware(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
int pythonversion(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);

// device_stats: how the device is doing.
int cpu(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
int uptime(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
int datetime(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
// Query: the local time as "%FT%T%z". Set: the element's text, a time in UTC (offset +0000 or
// -0000) or without zone (local time), goes to the parent, which sets the clock.
int xmldatetime(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
// arg.selector: which figure, see memory_figure.
int memory(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
enum memory_figure : int { MEMORY_TOTAL = 0, MEMORY_USED = 1, MEMORY_FREE = 2 };
int firmwarestate(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
int cputemp(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
// Self-tagged: nothing at all on a product without the "svch" capability.
int servicehours(reply_buffer *reply, xmlNodePtr element, state_mode mode, const state_arg &arg);
