// TCAM handle pools: one id list for L2 flows and one for L3 IPv4 flows, ids 1 to 49999.
// checkout_new_id takes the head of the free list (0 when none is left); checkin_id moves an id
// in use to the tail of the free list, so freed ids are reused last. Checking in an id that is
// not in use moves nothing, but the counters change all the same.
#pragma once

#include <cstdint>
#include <list>
#include <unordered_map>

struct of_id_list {
  std::list<uint32_t> free_ids;
  std::list<uint32_t> used_ids;
  std::unordered_map<uint32_t, std::list<uint32_t>::iterator> used_at;
  int32_t free_count = 0;
  int32_t used_count = 0;
};

// The ids first .. end - 1, all free; null when first >= end or no memory.
of_id_list* create_list(uint32_t first, uint32_t end);
void free_id_list(of_id_list* list);
uint32_t checkout_new_id(of_id_list* list);
void checkin_id(of_id_list* list, uint32_t id);

inline constexpr uint32_t OF_TCAM_ID_FIRST = 1;
inline constexpr uint32_t OF_TCAM_ID_END = 50000;

extern of_id_list* l2flow_tcam_idpool_node;
extern of_id_list* l3ipv4flow_tcam_idpool_node;

// Makes both pools: 1, or 0 on failure.
int openflow_lp_init_tcam_id_pool();
