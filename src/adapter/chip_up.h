// Preparing a chip: its flow trees, region sizes, regions and default entries. ofa_chip_up is
// module 2's chip-up callback and ofa_region_del its warm-up callback.
#pragma once

#include <cstdint>

struct of_chip_entry;

// 0, or the default entries' status; "not handling" (0) without the OpenFlow profile.
int ofa_chip_up(of_chip_entry* chip);
// Slot 1: status; OFA_E_NO_HANDLER with no handler.
int ofa_region_add(of_chip_entry* chip);
// Slot 2: status; OFA_E_NO_HANDLER with no handler.
int ofa_region_del(of_chip_entry* chip);
// Slot 3 with the default action: status; 0 with no handler.
int ofa_setup_default_tcam_entries(of_chip_entry* chip);
// The chip's L2 and L3 flow trees: 0, or OFA_E_NO_MEMORY.
int of_chip_init_flow_table(of_chip_entry* chip);

// A node of a chip's flow tree: priority, flow id, and the flow's hardware reference.
struct of_chip_flow_node {
  uint32_t priority = 0;
  uint32_t flow_id = 0;
  void* hw_ref = nullptr;
};
// Highest priority first; within one priority, highest flow id first.
int of_chip_cmp_flows(const void* a, const void* b);
