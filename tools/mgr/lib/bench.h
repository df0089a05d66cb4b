// Load runs: install N flows with a chosen priority order, keeping a window of operations in
// flight, and measure operations per second and the latency of each status; delete them again,
// timed up to the status of a barrier; and measure a bare AF_UNIX SEQPACKET round trip, the cost
// an add is compared against. Groups and meters draw no status: their adds, then their deletes,
// go out back to back, each phase timed up to the status of a barrier behind it. So do the phases
// of a VLAN run: ports enabled, VLANs added, every port made a member of every VLAN, then a global
// disable.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "endpoint.h"
#include "messages.h"

namespace ofa::mgr {

enum class PriorityOrder { ascending, descending, same, random };
// shared: every flow has the key its actions give (one chain); distinct: each its flow id.
enum class KeyMode { shared, distinct };

enum class BenchKind { flows, groups, meters, vlans };

struct BenchPlan {
  BenchKind kind = BenchKind::flows;
  uint32_t flows = 1000;  // how many flows, groups, meters or VLANs
  uint32_t first_id = 1;
  PriorityOrder order = PriorityOrder::ascending;
  uint32_t base_priority = 1000;
  uint32_t window = 1;  // operations in flight
  uint16_t in_port = 3;
  std::optional<uint16_t> remote_port;  // flows from number `on_chip` on match this port instead
  uint32_t on_chip = 49999;
  uint16_t out_port = 5;
  KeyMode keys = KeyMode::shared;
  bool remove = false;          // delete the flows again afterwards, as a second phase
  double timeout = 5.0;         // seconds without any status before the rest counts as missing
  uint32_t seed = 1;            // of the random order
  uint32_t round_trips = 5000;  // bare socket round trips of each kind (0: none)
  uint32_t group_type = kGroupAll;
  uint32_t buckets = 4;  // a group's, alternating between in_port and out_port
  uint32_t bands = 2;    // a meter's
  uint16_t ports = 48;   // of a VLAN run: ports 1 to `ports`, each in every VLAN
  uint32_t batch = 1;    // of a VLAN run: memberships a datagram, one message behind the other
  uint32_t slot = 1;     // of the agent, for the ports' ifindexes
};

// Priorities of the plan's flows, in the order they are sent.
std::vector<uint32_t> bench_priorities(const BenchPlan& plan);
// Flow number i of the plan: its in_port, IPv4 destination 10.x.y.z/32 unique per flow, output.
FlowMsg bench_flow(const BenchPlan& plan, uint32_t i, uint32_t priority);

// Group number i: id first_id + i, its own mgid (10000 + i) and next hop (0x10000000 + id); bucket
// b with its own MAC 02:00:ii:ii:bb:bb and no VLAN. Meter number i: id first_id + i, DROP 1000
// kbps, DSCP-REMARK 500 kbps burst 300 precedence 2.
GroupMsg bench_group(const BenchPlan& plan, uint32_t i);
MeterMsg bench_meter(const BenchPlan& plan, uint32_t i);
// VLAN number i (from 0): VLAN id i + 1, IIVID 7168 + i + 1.
VlanMsg bench_vlan(uint32_t i);

struct PhaseResult {
  std::string name;  // "add", "delete"
  std::string what = "flows";
  uint32_t total = 0;
  uint32_t done = 0;  // statuses received (deletes: all, once the barrier's status came)
  uint32_t failed = 0, pseudo = 0, missing = 0;
  double seconds = 0;
  std::vector<double> latency_ms;         // one per status, in arrival order (none for deletes)
  std::vector<double> done_ms;            // when each status came, from the start of the phase
  std::optional<uint64_t> chip_requests;  // the simulator's requests during the phase, if known
  double ops_per_second() const { return seconds > 0 ? done / seconds : 0; }
  // Milliseconds per 1000 operations (the same number as microseconds per operation): over the
  // whole phase, its first 1000 and its last 1000.
  double ms_per_1000() const;
  double ms_per_1000_first() const;
  double ms_per_1000_last() const;
};

// The p-th percentile (0 to 100) by nearest rank; 0 for no samples.
double percentile(std::vector<double> samples, double p);

// Called now and then while a phase runs (for a progress display).
using BenchProgress = std::function<void(const PhaseResult&)>;

// The chip simulator's request counter, read before and after each phase; none when unknown.
using ChipRequestCount = std::function<std::optional<uint64_t>()>;

// Runs the add phase (and the delete phase when asked). An error text when a datagram could
// not be sent.
std::vector<PhaseResult> run_bench(MpEndpoint& ep, const std::string& agent, const BenchPlan& plan,
                                   const BenchProgress& progress, std::string* error,
                                   const ChipRequestCount& chip_requests = {});

// Mean microseconds of a 128-byte ping-pong over an AF_UNIX SEQPACKET socket pair, `count` times,
// with both ends on one CPU (pinned) and wherever the scheduler puts them.
struct RoundTrip {
  uint32_t count = 0;
  double pinned_us = 0, unpinned_us = 0;
  std::string error;  // why it could not be measured
};
RoundTrip measure_round_trips(uint32_t count);

}  // namespace ofa::mgr
