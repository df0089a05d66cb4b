// The flow statistics batch: the flows whose counters one statistics tick reads, in two buckets,
// L2 and L3. The statistics engine fills the rows' keys; the family's read handler
// (of_dpx_get_flow_stats_fn) writes each row's two counters from the chips' replies.
#pragma once

#include <cstdint>
#include <span>

// One row, 32 bytes: the flow, its handle in the chip, then the two counters.
struct of_flow_stats_row {
  uint32_t port_id = 0;
  uint32_t flow_id = 0;
  uint32_t list_key = 0;
  uint32_t handle = 0;
  uint64_t packets = 0;
  uint64_t bytes = 0;
};

// Rows of each bucket: a tick reads at most 100 flows.
inline constexpr uint32_t OF_FLOW_STATS_ROWS = 101;

struct of_flow_stats_batch {
  uint32_t l2_count = 0;  // rows used in l2_rows
  uint32_t l3_count = 0;
  std::span<of_flow_stats_row> l2_rows;
  std::span<of_flow_stats_row> l3_rows;
};
