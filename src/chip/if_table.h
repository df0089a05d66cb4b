// The interface table: one of_if_entry per OpenFlow port, keyed by the manager's port_id and
// tied to its chip. An avl_tree with a reversed compare, so the walk runs from the highest
// port_id down.
#pragma once

#include <cstdint>

#include "chip/of_list.h"

struct avl_tree;
struct avl_node;
struct of_chip_entry;
struct of_slot_entry;

inline constexpr uint32_t OF_IF_NAME_SIZE = 20;
inline constexpr int32_t OF_PORT_DB_SIZE = 289;

struct of_if_entry {
  uint32_t ifIndex = 0;
  char ifName[OF_IF_NAME_SIZE] = {};
  uint32_t l3_mode = 0;
  uint16_t port_id = 0;
  of_chip_entry* chip = nullptr;
  uint32_t is_local = 0;
  of_dlist chip_link;  // in the chip's ports list
  of_if_entry* owner = nullptr;
  of_dlist members;
  of_dlist member_link;  // in the owner's members list
  // Port fields written by the port lifecycle.
  uint32_t iivid_min = 0;
  uint32_t iivid_max = 0;
  uint32_t lrn = 0;
  uint32_t rx_fwd = 0;
  uint32_t tx_en = 0;
  uint32_t is_mac_cls = 0;
  uint32_t is_typ_cls = 0;
  uint32_t pvid = 0;
  uint32_t ppid = 0;
  uint32_t vpnid = 0;
  uint32_t of_def_nhop_id = 0;
  uint32_t lldp_vlan_ovrd = 0;
  uint32_t l2_ctrl_ovrd = 0;
  uint8_t port_address[6] = {};
  uint8_t dflt_entries[16] = {};  // default-entry area, cleared when catch-alls go
  avl_tree* evt_tree = nullptr;
  uint8_t of_enabled = 0;
  uint8_t of_l3_type = 0;
  uint8_t of_hybrid = 0;
  int32_t port_db_index = 0;
};

extern avl_tree* ofIfTable;

// The compare of a port's EVT tree and the free of its records; the egress-translation layer
// sets its of_evt_cmp and its record free here.
using of_if_cmp_fn = int (*)(const void*, const void*);
using of_if_free_fn = void (*)(void*);
extern of_if_cmp_fn of_if_evt_cmp;
extern of_if_free_fn of_if_evt_free;

// Called with an entry just before ofProcessPortDelete frees it, so that nothing keeps it (the
// VLAN tables set it to drop the port from every VLAN).
using of_if_delete_fn = void (*)(of_if_entry*);
extern of_if_delete_fn of_if_port_delete_hook;

// 0, or OFA_E_NO_MEMORY with "Failed to initialize interface table, error = %d".
int ofInitIfTable();
// A new entry, or null (already present, chip not derivable, no memory).
of_if_entry* ofProcessPortAdd(uint32_t ifindex, const char* name, uint16_t port_id);
// 0 always; an unknown port is no error.
int ofProcessPortDelete(uint32_t ifindex, uint16_t port_id);
// 0 with *chip (and *slot when the chip was known), or OFA_E_BAD_OR_MISSING. An unknown chip is
// made on the warm path first.
int ofValidatePortAdd(uint32_t ifindex, const char* name, of_chip_entry** chip,
                      of_slot_entry** slot);
of_if_entry* ofLookupIfEntrybyPortId(uint16_t port_id);
// Searches with a key that holds only the interface index: the tree compares port ids, so this
// finds nothing useful; kept for its name, with no caller.
of_if_entry* ofLookupIfEntry(uint32_t ifindex);
of_if_entry* of_get_first_port(avl_node** cursor);
of_if_entry* of_get_next_port(avl_node** cursor);
int of_get_port_count();
int ofCmpIfEntrybyPortId(const void* a, const void* b);
// Physical order of two interfaces (types in the opposite sense to slots and ports).
int ofCmpIfEntry(const void* a, const void* b);
// Port number of an interface index by its type; -1 when it has none.
int32_t of_if_port_num(uint32_t ifindex);
// Whether an index is a front-panel port (types 6, 26, 3).
bool of_if_is_physical(uint32_t ifindex);

using of_if_show_cb = void (*)(const char* text);
void of_show_ifTable(of_if_show_cb cb);
int ofInitIfClis(int value);

// Frees every entry (tests; the agent's table lives as long as the process).
void ofResetIfTable();
