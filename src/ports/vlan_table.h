// The VLAN and port-VLAN tables: each VLAN the manager named with its internal id, flood group
// and member ports; each port's memberships; the all-ports pseudo-VLAN (id 0xFFFFFFFF) that holds
// every OpenFlow port. Both tables are avl trees with reversed compares, so the first VLAN is the
// highest id (the pseudo-VLAN while it exists). Results follow the tables' conventions: 0 or a
// 16-bit code for the table primitives, 1 or 0 for the lp_ and of_dpx_ operations.
#pragma once

#include <cstdint>
#include <span>

#include "chip/vlan_entry.h"

struct of_if_entry;
struct avl_node;

struct of_port_vid_entry {
  uint32_t port_id = 0;
  uint32_t vlan_id = 0;
  uint32_t mode_refs = 0;
  uint32_t mode = 0;
};

inline constexpr uint32_t OF_PVID_ABSENT = 65431;     // -105 as 16 bits
inline constexpr uint32_t OF_PVID_NO_MEMORY = 65409;  // -127 as 16 bits

// The all-ports pseudo-VLAN; null before start-up and after the teardown.
extern of_vlan_entry* of_ofpp_all_of_vlan_p;

int of_init_vlan_table();
int of_init_port_vid_table();
int of_free_vlan_table();
int of_free_port_vid_table();
of_vlan_entry* of_lookup_vlan(uint32_t vlan_id);
uint32_t of_get_vlan_count();
of_vlan_entry* of_get_first_vlan(avl_node** it);
of_vlan_entry* of_get_next_vlan(avl_node** it);
of_vlan_entry* of_process_vlan_add(uint32_t vlan_id, uint32_t iivid, uint32_t mgid);
int of_process_vlan_del(uint32_t vlan_id);
int of_process_add_port_to_vlan(of_if_entry* port, of_vlan_entry* vlan);
// One occurrence of this very entry leaves the tree (a port that joined twice stays once).
int of_process_del_port_from_vlan(of_if_entry* port, of_vlan_entry* vlan);
int of_process_del_all_port_from_vlan(of_vlan_entry* vlan);
// A port leaving the interface table leaves every VLAN's port tree first.
void of_vlan_forget_port(of_if_entry* port);

of_port_vid_entry* of_lookup_of_port_vid(uint32_t port_id, uint32_t vlan_id);
int of_process_of_add_port_vlan_membership(uint32_t port_id, uint32_t vlan_id);
int of_process_of_del_port_vlan_membership(uint32_t port_id, uint32_t vlan_id);
uint32_t of_get_port_vid_count();
// Frees every membership; the table stays.
void of_free_all_port_vid();

// The mgid of a VLAN by its IIVID: iivid + mgid_start - iivid_min.
uint32_t of_vlan_mgid_of_iivid(uint32_t iivid);

// Operations of the VLAN and port-VLAN messages (the message body: iivid or port_id at 8,
// vlan_id at 12, big-endian; the handlers refuse shorter ones); 1 done, 0 nothing done.
int lp_process_add_vlan(std::span<const uint8_t> msg);
int lp_process_del_vlan(std::span<const uint8_t> msg);
int lp_process_add_port_vlan(std::span<const uint8_t> msg);
int lp_process_del_port_vlan(std::span<const uint8_t> msg);

// Through the chip slots 11, 12 and 13: 1 on success, 0 on failure (no handler, or the chip's
// refusal, traced). A flood refresh sends the VLAN's members as its port tree holds them.
int of_dpx_vlan_add(of_vlan_entry* vlan);
int of_dpx_vlan_del(of_vlan_entry* vlan, uint32_t spare);
int of_dpx_update_vlan_flood_mgid(of_vlan_entry* vlan);

// Teardown of a global disable: every VLAN's members and flood group emptied and the memberships
// freed, then every VLAN (the pseudo-VLAN too) removed from the chips and the table.
void openflow_lp_port_vlan_del_all();
void openflow_lp_vlan_del_all();
void openflow_lp_dpx_del_all();
// Start-up: both tables and the pseudo-VLAN (all_ports_iivid, all_ports_mgid); the VLAN lookups
// the backends use are registered, a port leaving the interface table leaves every VLAN, and
// ports made from then on keep EVT records (of_evt_init).
int openflow_vlan_init();
// Frees both tables (after the teardown).
void openflow_vlan_destroy();
