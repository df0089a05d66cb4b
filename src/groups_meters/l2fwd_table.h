// The L2 forwarding table: the exact-match entries (IIVID, MAC) -> out port that next-hop groups
// need in the chips, each with the ids of the groups that use it, in the order they came. The
// chip hears of an entry's first user only (the entry keeps that user's port) and of its last
// user's going. Entries sort by IIVID (unsigned), then by the MAC's bytes.
//
// Made by openflow_init, freed by openflow_destroy without a chip call: nothing stays allocated,
// even entries whose groups never deleted them. Each entry carries its own node of the ordered
// tree, which serves the walk; a hash index beside it finds an entry without walking the tree.
#pragma once

#include <cstdint>
#include <vector>

#include "chip/chip_req.h"
#include "foundation/dce_avl_tree.h"

struct of_ivid_mac_entry {
  dce_avl_node link{};  // the table's tree; first, with the key behind it
  uint32_t iivid = 0;
  of_mac mac{};
  uint32_t port_id = 0;              // the out port of the first user
  std::vector<uint32_t> group_list;  // users, first come first
};

// 0, or OFA_E_NO_MEMORY after "failed to initialize flow table, error = %d".
int of_init_ivid_mac_table();
// 0, or OFA_E_NO_MEMORY after "failed to free ivid mac table, error = %d" (no table).
int of_free_ivid_mac_table();
of_ivid_mac_entry* of_lookup_of_ivid_mac(uint32_t iivid, const of_mac& mac);
// By IIVID, then MAC; null at the end.
of_ivid_mac_entry* of_get_first_ivid_mac();
of_ivid_mac_entry* of_get_next_ivid_mac(of_ivid_mac_entry* e);
uint32_t of_get_ivid_mac_count();

// A user more for (iivid, mac): 0, the family's result when the chip was asked (first user), or
// OFA_E_INVALID_ARG when out of memory or without a handler.
int of_process_of_add_l2fwd_entry(uint32_t group_id, uint32_t iivid, const of_mac& mac,
                                  uint32_t port_id);
// The first element of `group_id` goes: OFA_E_ABSENT without the entry, 0 when the entry does not
// hold the group, OFA_E_IN_USE while other users remain; for the last user the entry is freed
// before the chip is asked, and the result is the family's (OFA_E_INVALID_ARG without a handler).
int of_process_of_del_l2fwd_entry(uint32_t group_id, uint32_t iivid, const of_mac& mac,
                                  uint32_t port_id);
