// TCAM handle pools: one id list for L2 flows and one for L3 IPv4 flows, ids 1 to 49999.
// checkout_new_id takes the head of the free list (0 when none is left); checkin_id moves an id
// in use to the tail of the free list, so freed ids are reused last. Checking in an id that is
// not in use moves nothing, but the counters change all the same.
//
// The free list is kept as what it always is: the ids never handed out, still in rising order
// (next_fresh .. end - 1), followed by the ids checked in, in the order they came back. The
// in-use list is a bit per id, since only membership in it is ever asked.
#pragma once

#include <cstdint>
#include <deque>
#include <vector>

struct of_id_list {
  uint32_t first = 0;
  uint32_t end = 0;
  uint32_t next_fresh = 0;        // head of the never-used ids
  std::deque<uint32_t> returned;  // ids checked in, behind the never-used ones
  std::vector<uint64_t> in_use;   // bit (id - first)
  int32_t free_count = 0;
  int32_t used_count = 0;
};

// The ids first .. end - 1, all free; null when first >= end or no memory.
of_id_list* create_list(uint32_t first, uint32_t end);
void free_id_list(of_id_list* list);
uint32_t checkout_new_id(of_id_list* list);
void checkin_id(of_id_list* list, uint32_t id);
// Ids on the free list, and the one at its tail (0 when it is empty).
uint32_t id_list_free_len(const of_id_list* list);
uint32_t id_list_free_tail(const of_id_list* list);

inline constexpr uint32_t OF_TCAM_ID_FIRST = 1;
inline constexpr uint32_t OF_TCAM_ID_END = 50000;

extern of_id_list* l2flow_tcam_idpool_node;
extern of_id_list* l3ipv4flow_tcam_idpool_node;

// Makes both pools: 1, or 0 on failure.
int openflow_lp_init_tcam_id_pool();
