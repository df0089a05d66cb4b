// The tick: flows, then meters, then queues.
#include <cstdlib>

#include "agent/agent_globals.h"
#include "manager/mxl.h"
#include "stats/stats.h"

namespace {
constexpr uint32_t kPeriodMs = 5000;
int send_to_manager(const uint8_t* msg, uint32_t size) {
  return of_send_mxl_msg(of_corvu_state.mi_sock, 0, msg, size);
}
}  // namespace

int (*ofa_stats_send)(const uint8_t* msg, uint32_t size) = send_to_manager;

uint32_t ofa_stats_period_ms() {
  const char* text = std::getenv("OFA_STATS_PERIOD_MS");
  if (!text || !*text) return kPeriodMs;
  char* end = nullptr;
  long ms = std::strtol(text, &end, 10);
  return *end == '\0' && ms > 0 && ms <= 3600000 ? static_cast<uint32_t>(ms) : kPeriodMs;
}

void ofa_stats_tick() {
  uint32_t out = 0;
  lp_openflow_poll_stats_counters(OFA_STATS_FLOWS_PER_TICK, &out);
  lp_openflow_sync_meter_statistics();
  openflow_ofa_sync_queue_stats();
}
