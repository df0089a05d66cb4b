// The scheduler's accounting as aligned text: one row per callback, heaviest total first, then the
// loop's passes. Columns "callback", "calls", "total us", "longest us" (microseconds with three
// decimals, so nanoseconds stay exact), separated by at least two blanks.
#pragma once

#include <string>

#include "agent/thread.h"

std::string ofa_show_sched(const thread_stats* stats);
