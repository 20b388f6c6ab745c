#include "commands/firmware_state.h"

std::atomic<int> firmware_state{FIRMWARE_IDLE};
