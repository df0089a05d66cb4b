// The VLAN and port-VLAN tables themselves: records, compares, lookups, walks and the member
// trees. What a VLAN costs in the chips is in vlan_ops.cc.
#include "ports/vlan_table.h"

#include <new>

#include "agent/agent_globals.h"
#include "agent/reset.h"
#include "agent/status.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "chip/if_table.h"
#include "foundation/avl_tree.h"

of_vlan_entry* of_ofpp_all_of_vlan_p = nullptr;

namespace {

avl_tree* of_vlan_table = nullptr;
avl_tree* of_port_vid_table = nullptr;

// The reversed sense: a greater key goes left, so the walk starts at the highest.
int reversed(uint32_t key, uint32_t item) {
  return key > item ? -1 : key < item ? 1 : 0;
}

int of_cmp_vlans(const void* key, const void* item) {
  return reversed(static_cast<const of_vlan_entry*>(key)->vlan_id,
                  static_cast<const of_vlan_entry*>(item)->vlan_id);
}

int of_cmp_port_vid(const void* key, const void* item) {
  const auto* k = static_cast<const of_port_vid_entry*>(key);
  const auto* i = static_cast<const of_port_vid_entry*>(item);
  int r = reversed(k->port_id, i->port_id);
  return r ? r : reversed(k->vlan_id, i->vlan_id);
}

// Members by interface index, ascending. Equal indexes are allowed: a port that joins again
// stands in the tree once more.
int of_vlan_port_list_cmp(const void* a, const void* b) {
  uint32_t x = static_cast<const of_if_entry*>(a)->ifIndex;
  uint32_t y = static_cast<const of_if_entry*>(b)->ifIndex;
  return x < y ? -1 : x > y ? 1 : 0;
}

// The node of `port` itself (not merely one with its interface index), or null.
avl_node* member_node(avl_tree* tree, const of_if_entry* port) {
  for (avl_node* n = avl_getfirst(tree); n; n = avl_getnext(tree, n))
    if (n->info == port) return n;
  return nullptr;
}

void free_vlan(void* item) {
  auto* v = static_cast<of_vlan_entry*>(item);
  if (v->port_tree) avl_tree_free(&v->port_tree, nullptr);
  delete v;
}

void free_port_vid(void* item) {
  delete static_cast<of_port_vid_entry*>(item);
}

void reset_tables() {
  of_free_port_vid_table();
  of_free_vlan_table();
}

// Before the interface table's entries go (rank 10).
const ofa_reset_hook reset_hook{8, reset_tables};

}  // namespace

int of_init_vlan_table() {
  ofa_trace(OFACORE, 7, 0, OFA_TR_VLAN_TABLE_INIT, "init Vlan Table");
  of_if_port_delete_hook = of_vlan_forget_port;
  if (of_vlan_table) return 0;
  if (avl_create(&of_vlan_table, 0, of_cmp_vlans) != 0) {
    ofa_trace(OFACORE, 3, 1, OFA_TR_VLAN_TABLE_INIT_FAILED,
              "failed to initialize vlan table, error = %d", OFA_E_NO_MEMORY);
    return OFA_E_NO_MEMORY;
  }
  return 0;
}

int of_init_port_vid_table() {
  if (of_port_vid_table) return 0;
  if (avl_create(&of_port_vid_table, 0, of_cmp_port_vid) != 0) {
    file_printf("failed to create port_vid table, error = %d", OFA_E_NO_MEMORY);
    return OFA_E_NO_MEMORY;
  }
  return 0;
}

int of_free_vlan_table() {
  ofa_trace(OFACORE, 7, 0, OFA_TR_VLAN_TABLE_FREE, "free Vlan Table");
  of_ofpp_all_of_vlan_p = nullptr;
  if (!of_vlan_table) {
    ofa_trace(OFACORE, 3, 1, OFA_TR_VLAN_TABLE_FREE_FAILED, "failed to free vlan table, error = %d",
              OFA_E_NO_MEMORY);
    return OFA_E_NO_MEMORY;
  }
  avl_tree_free(&of_vlan_table, free_vlan);
  return 0;
}

int of_free_port_vid_table() {
  if (!of_port_vid_table) {
    file_printf("failed to free port_vid table, error = %d", OFA_E_NO_MEMORY);
    return OFA_E_NO_MEMORY;
  }
  avl_tree_free(&of_port_vid_table, free_port_vid);
  return 0;
}

of_vlan_entry* of_lookup_vlan(uint32_t vlan_id) {
  if (!of_vlan_table) return nullptr;
  of_vlan_entry key;
  key.vlan_id = vlan_id;
  avl_node* n = avl_search(of_vlan_table, &key);
  return n ? static_cast<of_vlan_entry*>(n->info) : nullptr;
}

uint32_t of_get_vlan_count() {
  return of_vlan_table ? static_cast<uint32_t>(avl_get_tree_size(of_vlan_table)) : 0;
}

of_vlan_entry* of_get_first_vlan(avl_node** it) {
  *it = of_vlan_table ? avl_getfirst(of_vlan_table) : nullptr;
  return *it ? static_cast<of_vlan_entry*>((*it)->info) : nullptr;
}

of_vlan_entry* of_get_next_vlan(avl_node** it) {
  if (!it || !*it) return nullptr;
  *it = avl_getnext(of_vlan_table, *it);
  return *it ? static_cast<of_vlan_entry*>((*it)->info) : nullptr;
}

of_vlan_entry* of_process_vlan_add(uint32_t vlan_id, uint32_t iivid, uint32_t mgid) {
  ofa_trace(OFACORE, 7, 1, OFA_TR_VLAN_ADD, "vlanid:%d add", vlan_id);
  if (of_vlan_entry* v = of_lookup_vlan(vlan_id)) {
    ofa_trace(OFACORE, 7, 1, OFA_TR_VLAN_EXISTS, "vlan already exists vlanid:%d", vlan_id);
    return v;
  }
  auto* v = of_vlan_table ? new (std::nothrow) of_vlan_entry{} : nullptr;
  if (!v) {
    ofa_trace(OFACORE, 3, 1, OFA_TR_VLAN_NO_MEMORY, "failed to create entry vlanid:%d", vlan_id);
    return nullptr;
  }
  v->vlan_id = vlan_id;
  v->iivid = iivid;
  v->mgid = mgid;
  if (avl_create(&v->port_tree, 0, of_vlan_port_list_cmp) != 0 ||
      avl_insert(of_vlan_table, v) != 0) {
    ofa_trace(OFACORE, 3, 1, OFA_TR_VLAN_PORT_TREE_FAILED,
              "failed to initialize vlan port table, error = %d", OFA_E_NO_MEMORY);
    free_vlan(v);
    return nullptr;
  }
  return v;
}

int of_process_vlan_del(uint32_t vlan_id) {
  ofa_trace(OFACORE, 7, 1, OFA_TR_VLAN_DEL, "vlanid:%d del", vlan_id);
  of_vlan_entry* v = of_lookup_vlan(vlan_id);
  if (!v) {
    ofa_trace(OFACORE, 7, 1, OFA_TR_VLAN_DEL_UNKNOWN, "Ignore unknown vlan delete. vlanid:%d",
              vlan_id);
    return 0;
  }
  avl_remove(of_vlan_table, v);
  if (v == of_ofpp_all_of_vlan_p) of_ofpp_all_of_vlan_p = nullptr;
  free_vlan(v);
  return 0;
}

int of_process_add_port_to_vlan(of_if_entry* port, of_vlan_entry* vlan) {
  if (port && vlan && vlan->port_tree) avl_insert(vlan->port_tree, port);
  return 0;
}

int of_process_del_port_from_vlan(of_if_entry* port, of_vlan_entry* vlan) {
  if (!port || !vlan || !vlan->port_tree) return 0;
  if (avl_node* n = member_node(vlan->port_tree, port)) avl_delete_node(vlan->port_tree, n);
  return 0;
}

int of_process_del_all_port_from_vlan(of_vlan_entry* vlan) {
  if (vlan && vlan->port_tree) avl_tree_cleanup(vlan->port_tree, nullptr);
  return 0;
}

void of_vlan_forget_port(of_if_entry* port) {
  avl_node* it = nullptr;
  for (of_vlan_entry* v = of_get_first_vlan(&it); v; v = of_get_next_vlan(&it))
    while (avl_node* n = member_node(v->port_tree, port))
      avl_delete_node(v->port_tree, n);
}

of_port_vid_entry* of_lookup_of_port_vid(uint32_t port_id, uint32_t vlan_id) {
  if (!of_port_vid_table) return nullptr;
  of_port_vid_entry key;
  key.port_id = port_id;
  key.vlan_id = vlan_id;
  avl_node* n = avl_search(of_port_vid_table, &key);
  return n ? static_cast<of_port_vid_entry*>(n->info) : nullptr;
}

uint32_t of_get_port_vid_count() {
  return of_port_vid_table ? static_cast<uint32_t>(avl_get_tree_size(of_port_vid_table)) : 0;
}

int of_process_of_add_port_vlan_membership(uint32_t port_id, uint32_t vlan_id) {
  if (of_lookup_of_port_vid(port_id, vlan_id)) return 0;
  auto* e = of_port_vid_table ? new (std::nothrow) of_port_vid_entry{} : nullptr;
  if (!e) return OF_PVID_NO_MEMORY;
  e->port_id = port_id;
  e->vlan_id = vlan_id;
  if (avl_insert(of_port_vid_table, e) != 0) {
    delete e;
    return OF_PVID_NO_MEMORY;
  }
  return 0;
}

int of_process_of_del_port_vlan_membership(uint32_t port_id, uint32_t vlan_id) {
  of_port_vid_entry* e = of_lookup_of_port_vid(port_id, vlan_id);
  if (!e) return OF_PVID_ABSENT;
  avl_remove(of_port_vid_table, e);
  delete e;
  return 0;
}

void of_free_all_port_vid() {
  if (of_port_vid_table) avl_tree_cleanup(of_port_vid_table, free_port_vid);
}

uint32_t of_vlan_mgid_of_iivid(uint32_t iivid) {
  const ofa_hw_resources& hw = openflowAgtPcb.hw;
  return iivid + hw.mgid_start - hw.iivid_min;
}
