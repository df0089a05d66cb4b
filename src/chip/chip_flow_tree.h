// The two flow trees of each chip, L2 and L3: the entries the chip really holds in its flow
// region, in the chip's order (highest priority first; within one priority, highest flow id
// first). A backend reads a new entry's neighbours here to place it, adds the node once the chip
// accepted the entry and removes it once the chip deleted it.
//
// A node keeps the handle the entry has on its chip, copied at insert: an entry the agent no
// longer holds a record for (the chip refused to delete it) still places its neighbours right.
#pragma once

#include <cstdint>

struct of_chip_entry;
struct of_flow_hw_ref;
struct avl_tree;

struct of_chip_flow_node {
  uint32_t priority = 0;
  uint32_t flow_id = 0;
  int32_t handle = 0;  // the entry's handle on this chip
};

enum class of_flow_tree_kind : uint8_t { l2, l3 };

// Highest priority first; within one priority, highest flow id first (both unsigned).
int of_chip_cmp_flows(const void* a, const void* b);
// Makes both trees ("init Flow Table"): 0, or OFA_E_NO_MEMORY.
int of_chip_init_flow_table(of_chip_entry* chip);
// Frees both trees and their nodes.
void of_chip_free_flow_table(of_chip_entry* chip);

// The node goes in with hw's handle for this chip: 0; 0 and "flow already exists priority:%d
// flow_id:%d" for a pair present; OFA_E_INVALID_ARG when no node can be had.
int of_chip_avl_flow_add(of_flow_tree_kind kind, of_chip_entry* chip, uint32_t priority,
                         uint32_t flow_id, const of_flow_hw_ref* hw);
// 0; an unknown pair logs "Ignore unknown flow delete. priority:%d flow_id:%d".
int of_chip_avl_flow_del(of_flow_tree_kind kind, of_chip_entry* chip, uint32_t priority,
                         uint32_t flow_id);
const of_chip_flow_node* of_chip_avl_lookup_flow(of_flow_tree_kind kind, of_chip_entry* chip,
                                                 uint32_t priority, uint32_t flow_id);
// The next lower entry (placed behind the pair) and the next higher one (placed in front).
const of_chip_flow_node* of_chip_avl_lookup_next_flow(of_flow_tree_kind kind, of_chip_entry* chip,
                                                      uint32_t priority, uint32_t flow_id);
const of_chip_flow_node* of_chip_avl_lookup_prev_flow(of_flow_tree_kind kind, of_chip_entry* chip,
                                                      uint32_t priority, uint32_t flow_id);
// Both neighbours of a pair in one descent: *lower the next lower entry, *higher the next higher
// one (null at an end), as the two lookups above would give.
void of_chip_avl_lookup_neighbours(of_flow_tree_kind kind, of_chip_entry* chip, uint32_t priority,
                                   uint32_t flow_id, const of_chip_flow_node** lower,
                                   const of_chip_flow_node** higher);
avl_tree* of_chip_flow_tree(of_flow_tree_kind kind, of_chip_entry* chip);
