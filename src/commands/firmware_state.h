// The state of the system firmware update, engine-wide: written by the update (the bus thread
// before its thread starts, then that thread), read by the device statistics.
#pragma once

#include <atomic>

enum firmware_state_value : int {
    FIRMWARE_IDLE = 0,     // no update, or the last one succeeded
    FIRMWARE_UPDATING = 1, // an update thread runs
    FIRMWARE_FAILED = 2,   // the last update failed
};

extern std::atomic<int> firmware_state;
