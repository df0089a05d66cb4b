// Rate limiters that keep repeated messages from flooding the log.
#include <ctime>

#include "foundation/kprintf.h"

namespace {

uint64_t monotonic_ns() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<uint64_t>(ts.tv_sec) * 1000000000ull + static_cast<uint64_t>(ts.tv_nsec);
}

time_base_fn g_time_fn = monotonic_ns;
uint64_t g_ticks_per_second = 1000000000ull;

constexpr uint32_t kBackoffFirstMs = 2000;
constexpr uint32_t kBackoffFactor = 6;
constexpr uint32_t kBackoffCeilingMs = 240000;

// Whether ms milliseconds have passed since the limiter's last passed message; a limiter that
// never passed one (last_time 0) always passes.
bool interval_passed(const rate_limiter* limiter, uint64_t now, uint32_t ms) {
  if (limiter->last_time == 0) return true;
  uint64_t ticks = static_cast<uint64_t>(ms) * (g_ticks_per_second / 1000);
  return now - limiter->last_time >= ticks;
}

int pass(rate_limiter* limiter, uint64_t now) {
  limiter->last_time = now;
  limiter->passed += 1;
  return 1;
}

}  // namespace

void rate_control_set_time_base(time_base_fn fn, uint64_t ticks_per_second) {
  g_time_fn = fn != nullptr ? fn : monotonic_ns;
  g_ticks_per_second = fn != nullptr ? ticks_per_second : 1000000000ull;
}

uint64_t read_long_time_base() {
  return g_time_fn();
}

int rate_control_mini_sec_per_message(uint32_t ms, rate_limiter* limiter) {
  uint64_t now = read_long_time_base();
  if (interval_passed(limiter, now, ms)) return pass(limiter, now);
  limiter->suppressed += 1;
  return 0;
}

int rate_control_mini_sec_messages(uint32_t ms, uint32_t count, rate_limiter* limiter) {
  uint64_t now = read_long_time_base();
  if (interval_passed(limiter, now, ms)) {
    limiter->in_window = 1;
    return pass(limiter, now);
  }
  if (limiter->in_window < count) {
    limiter->in_window += 1;
    limiter->passed += 1;
    return 1;
  }
  limiter->suppressed += 1;
  return 0;
}

int rate_control_mini_sec_per_message_backoff(rate_limiter* limiter) {
  uint64_t now = read_long_time_base();
  uint32_t interval = limiter->backoff == 0 ? kBackoffFirstMs : limiter->backoff * kBackoffFactor;
  if (interval >= kBackoffCeilingMs) {
    limiter->backoff = 0;
    return pass(limiter, now);
  }
  limiter->backoff = interval;
  if (!interval_passed(limiter, now, interval)) {
    limiter->suppressed += 1;
    return 0;
  }
  return pass(limiter, now);
}
