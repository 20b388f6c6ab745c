// The field tables of the device_info and device_stats groups, and their providers. Every
// provider follows the contract of state_table.h; only xmldatetime accepts a value.
#pragma once

#include "state/state_table.h"

extern const state_table device_info_fields;
extern const state_table device_stats_fields;

// device_info: who the device is.
state_provider_fn deviceid;
state_provider_fn hostname;
// arg.text: the key in the output of "boardenv -d".
state_provider_fn productid;
// arg.text: the capability whose value names the model.
state_provider_fn model;
// arg.text: the key in "/etc/version".
state_provider_fn firmware;
state_provider_fn pythonversion;

// device_stats: how the device is doing.
state_provider_fn cpu;
state_provider_fn uptime;
state_provider_fn datetime;
// Query: the local time as "%FT%T%z". Set: the element's text, a time in UTC (offset +0000 or
// -0000) or without zone (local time), goes to the parent, which sets the clock.
state_provider_fn xmldatetime;
// arg.selector: which figure, see memory_figure.
state_provider_fn memory;
enum memory_figure : int { MEMORY_TOTAL = 0, MEMORY_USED = 1, MEMORY_FREE = 2 };
state_provider_fn firmwarestate;
state_provider_fn cputemp;
// Self-tagged: nothing at all on a product without the "svch" capability.
state_provider_fn servicehours;
