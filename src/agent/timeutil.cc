// Time helpers of the scheduler: timeval arithmetic on the monotonic clock.
#include <ctime>

#include "agent/thread.h"
#include "agent/timebase.h"

namespace {
constexpr long kUsecPerSec = 1000000;
constexpr long kMaxSeconds = 1000000;
}  // namespace

timeval timeval_adjust(timeval a) {
  while (a.tv_usec >= kUsecPerSec) {
    a.tv_usec -= kUsecPerSec;
    a.tv_sec++;
  }
  while (a.tv_usec < 0) {
    a.tv_usec += kUsecPerSec;
    a.tv_sec--;
  }
  if (a.tv_sec < 0) {
    a.tv_sec = 0;
    a.tv_usec = 10;
  }
  if (a.tv_sec > kMaxSeconds) a.tv_sec = kMaxSeconds;
  return a;
}

timeval timeval_subtract(timeval a, timeval b) {
  timeval r{a.tv_sec - b.tv_sec, a.tv_usec - b.tv_usec};
  if (r.tv_usec < 0) {
    r.tv_usec += kUsecPerSec;
    r.tv_sec--;
  }
  return r;
}

timeval timeval_add(timeval a, timeval b) {
  return timeval_adjust({a.tv_sec + b.tv_sec, a.tv_usec + b.tv_usec});
}

timeval timeval_sub(timeval a, timeval b) {
  return timeval_adjust({a.tv_sec - b.tv_sec, a.tv_usec - b.tv_usec});
}

int timeval_cmp(timeval a, timeval b) {
  if (a.tv_sec != b.tv_sec) return a.tv_sec < b.tv_sec ? -1 : 1;
  if (a.tv_usec != b.tv_usec) return a.tv_usec < b.tv_usec ? -1 : 1;
  return 0;
}

long timeval_ceil(timeval a) {
  a = timeval_adjust(a);
  return a.tv_sec + (a.tv_usec > 0 ? 1 : 0);
}

long timeval_floor(timeval a) {
  return timeval_adjust(a).tv_sec;
}

timeval timeutil_int2tv(long seconds) {
  return {seconds, 0};
}

timeval timeutil_msec2tv(long msec) {
  return {msec / 1000, (msec % 1000) * 1000};
}

long timeutil_msec2secround(long msec) {
  return (msec + 500) / 1000;
}

timeval timeutil_uptime() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return {ts.tv_sec, ts.tv_nsec / 1000};
}

// ---- time base
// -----------------------------------------------------------------------------------

uint64_t g_timebase_freq = 1000000000ull;

uint64_t ofa_read_timebase() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<uint64_t>(ts.tv_sec) * 1000000000ull + static_cast<uint64_t>(ts.tv_nsec);
}

uint64_t ofa_timebase_ms() {
  uint64_t per_ms = g_timebase_freq / 1000;
  return per_ms ? ofa_read_timebase() / per_ms : 0;
}
