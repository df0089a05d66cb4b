// The agent of the in-process benchmarks: its globals reset, the platform of a text, its chip
// requests to an ioctl hook, and chips 0 to count-1 of slot 1 up.
#pragma once

#include <cstdint>

#include "chip/hsl_transport.h"

// The chips of slot 1 up (event records as the HSL sends them); false when one is refused.
bool bench_chips_up(uint32_t count);
// ofa_reset_all, the platform, the hook, model 131 with the platform's resources, the slot, chip
// and interface tables, the chip-up handler and two chips up; false on failure.
bool bench_start_agent(const char* platform_text, ofNLIoctlFn ioctl);
