// The processor's time base as the agent reads it: a 64-bit count at g_timebase_freq ticks a
// second (the monotonic clock in nanoseconds on Linux), and milliseconds derived from it the way
// every time stamp of the agent is (the frequency divided by 1000 first).
#pragma once

#include <cstdint>

extern uint64_t g_timebase_freq;

uint64_t ofa_read_timebase();
// ofa_read_timebase() / (g_timebase_freq / 1000).
uint64_t ofa_timebase_ms();
