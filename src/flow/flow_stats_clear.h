// Clearing a flow's counters in the chips (the flow's stored counters stay: the next poll sees
// lower values and pushes them).
#pragma once

#include <cstdint>

struct fd_entry;

// Slot 26 with the handle: 1, or 0 ("no handler for flow stats clear" without one).
int of_dpx_clr_flow_stats(uint32_t handle, uint32_t l3);
// 1, or 0 for a flow on a missing or remote port.
int lp_openflow_clear_stat_for_flow(fd_entry* flow);
// One flow by id, or all flows for id 0.
void lp_clear_openflow_stats_count_flow(uint32_t flow_id);
