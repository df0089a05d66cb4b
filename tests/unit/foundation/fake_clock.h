// A settable clock for the rate limiters: one tick per microsecond.
#pragma once

#include <cstdint>

#include "foundation/kprintf.h"

namespace fake_clock {

inline uint64_t now_us = 1;
inline uint64_t read() {
  return now_us;
}
inline void install(uint64_t start_us) {
  now_us = start_us;
  rate_control_set_time_base(read, 1000000);
}
inline void advance_ms(uint64_t ms) {
  now_us += ms * 1000;
}
inline void uninstall() {
  rate_control_set_time_base(nullptr, 0);
}

}  // namespace fake_clock
