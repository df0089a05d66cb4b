// Load runs: install N flows with a chosen priority order, keeping a window of operations in
// flight, and measure operations per second and the latency of each status.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "endpoint.h"
#include "messages.h"

namespace ofa::mgr {

enum class PriorityOrder { ascending, descending, same, random };

struct BenchPlan {
  uint32_t flows = 1000;
  uint32_t first_id = 1;
  PriorityOrder order = PriorityOrder::ascending;
  uint32_t base_priority = 1000;
  uint32_t window = 1;  // operations in flight
  uint16_t in_port = 3;
  uint16_t out_port = 5;
  bool remove = false;   // delete the flows again afterwards, as a second phase
  double timeout = 5.0;  // seconds without any status before the rest counts as missing
  uint32_t seed = 1;     // of the random order
};

// Priorities of the plan's flows, in the order they are sent.
std::vector<uint32_t> bench_priorities(const BenchPlan& plan);
// Flow number i of the plan: in_port, IPv4 destination 10.x.y.z/32 unique per flow, output.
FlowMsg bench_flow(const BenchPlan& plan, uint32_t i, uint32_t priority);

struct PhaseResult {
  std::string name;  // "add", "delete"
  uint32_t total = 0;
  uint32_t done = 0;  // statuses received
  uint32_t failed = 0, pseudo = 0, missing = 0;
  double seconds = 0;
  std::vector<double> latency_ms;  // one per status, in arrival order
  double ops_per_second() const { return seconds > 0 ? done / seconds : 0; }
};

// The p-th percentile (0 to 100) by nearest rank; 0 for no samples.
double percentile(std::vector<double> samples, double p);

// Called now and then while a phase runs (for a progress display).
using BenchProgress = std::function<void(const PhaseResult&)>;

// Runs the add phase (and the delete phase when asked). An error text when a datagram could
// not be sent.
std::vector<PhaseResult> run_bench(MpEndpoint& ep, const std::string& agent, const BenchPlan& plan,
                                   const BenchProgress& progress, std::string* error);

}  // namespace ofa::mgr
