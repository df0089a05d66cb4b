#include "groups_meters/l2fwd_table.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "adapter/chip_ops.h"
#include "agent/reset.h"
#include "agent/status.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "foundation/avl_tree.h"

namespace {

avl_tree* of_ivid_mac_table = nullptr;

int of_cmp_ivid_mac(const void* key, const void* item) {
  const auto* a = static_cast<const of_ivid_mac_entry*>(key);
  const auto* b = static_cast<const of_ivid_mac_entry*>(item);
  if (a->iivid != b->iivid) return a->iivid < b->iivid ? -1 : 1;
  int r = std::memcmp(a->mac.data(), b->mac.data(), a->mac.size());
  return r < 0 ? -1 : r > 0 ? 1 : 0;
}

void free_entry(void* item) {
  delete static_cast<of_ivid_mac_entry*>(item);
}

of_ivid_mac_entry* entry_of(avl_node* n) {
  return n ? static_cast<of_ivid_mac_entry*>(n->info) : nullptr;
}

// The entry of (iivid, mac), made when absent (*is_new set only then); null without memory.
of_ivid_mac_entry* of_process_of_ivid_mac_add(uint32_t iivid, const of_mac& mac, uint32_t port_id,
                                              bool* is_new) {
  *is_new = false;
  if (of_ivid_mac_entry* e = of_lookup_of_ivid_mac(iivid, mac)) return e;
  auto* e =
      of_ivid_mac_table ? new (std::nothrow) of_ivid_mac_entry{iivid, mac, port_id, {}} : nullptr;
  if (!e) return nullptr;
  if (avl_insert(of_ivid_mac_table, e) != 0) {
    delete e;
    return nullptr;
  }
  *is_new = true;
  return e;
}

const ofa_reset_hook reset_hook{7, [] {
                                  if (of_ivid_mac_table)
                                    avl_tree_free(&of_ivid_mac_table, free_entry);
                                }};

}  // namespace

int of_init_ivid_mac_table() {
  if (of_ivid_mac_table) return 0;
  if (avl_create(&of_ivid_mac_table, 0, of_cmp_ivid_mac) != 0) {
    file_printf("failed to initialize flow table, error = %d", OFA_E_NO_MEMORY);
    return OFA_E_NO_MEMORY;
  }
  return 0;
}

int of_free_ivid_mac_table() {
  if (!of_ivid_mac_table) {
    file_printf("failed to free ivid mac table, error = %d", OFA_E_NO_MEMORY);
    return OFA_E_NO_MEMORY;
  }
  avl_tree_free(&of_ivid_mac_table, free_entry);
  return 0;
}

of_ivid_mac_entry* of_lookup_of_ivid_mac(uint32_t iivid, const of_mac& mac) {
  if (!of_ivid_mac_table) return nullptr;
  of_ivid_mac_entry key{iivid, mac, 0, {}};
  return entry_of(avl_search(of_ivid_mac_table, &key));
}

of_ivid_mac_entry* of_get_first_ivid_mac(avl_node** it) {
  *it = of_ivid_mac_table ? avl_getfirst(of_ivid_mac_table) : nullptr;
  return entry_of(*it);
}

of_ivid_mac_entry* of_get_next_ivid_mac(avl_node** it) {
  if (!it || !*it) return nullptr;
  *it = avl_getnext(of_ivid_mac_table, *it);
  return entry_of(*it);
}

uint32_t of_get_ivid_mac_count() {
  return of_ivid_mac_table ? static_cast<uint32_t>(avl_get_tree_size(of_ivid_mac_table)) : 0;
}

int of_process_of_add_l2fwd_entry(uint32_t group_id, uint32_t iivid, const of_mac& mac,
                                  uint32_t port_id) {
  bool is_new = false;
  of_ivid_mac_entry* e = of_process_of_ivid_mac_add(iivid, mac, port_id, &is_new);
  if (!e) return OFA_E_INVALID_ARG;
  // The label reads the reverse of the flag.
  file_printf("egr_ivid:%d mac_da:%x %x port_id:%d is in already in hw: %d\n", iivid,
              (mac[0] << 24) | (mac[1] << 16) | (mac[2] << 8) | mac[3],
              (mac[4] << 24) | (mac[5] << 16), port_id, is_new ? 1 : 0);
  e->group_list.push_back(group_id);
  if (!is_new) return 0;
  of_l2fwd_add_fn fn = of_chip_op(of_l2fwd_add_ioctl_fn);
  if (!fn) {
    ofa_trace(OFACORE, 3, 1, OFA_TR_L2FWD_ADD_NO_HANDLER, "no handler for chip:%d",
              of_chip_family());
    return OFA_E_INVALID_ARG;
  }
  int rc = fn(0, iivid, mac.data(), port_id);
  if (rc != 0)
    ofa_trace(OFACORE, 3, 2, OFA_TR_L2FWD_ADD_FAILED, "Unable to program flow for chip:%d rc:%d",
              of_chip_family(), rc);
  return rc;
}

int of_process_of_del_l2fwd_entry(uint32_t group_id, uint32_t iivid, const of_mac& mac,
                                  uint32_t port_id) {
  of_ivid_mac_entry* e = of_lookup_of_ivid_mac(iivid, mac);
  if (!e) {
    file_printf("%s: Entry doesn't exist\n", __func__);
    return OFA_E_ABSENT;
  }
  auto at = std::find(e->group_list.begin(), e->group_list.end(), group_id);
  if (at == e->group_list.end()) return 0;
  e->group_list.erase(at);
  if (!e->group_list.empty()) return OFA_E_IN_USE;
  avl_remove(of_ivid_mac_table, e);
  delete e;
  of_l2fwd_del_fn fn = of_chip_op(of_l2fwd_del_ioctl_fn);
  if (!fn) {
    ofa_trace(OFACORE, 3, 1, OFA_TR_L2FWD_DEL_NO_HANDLER, "no handler for chip:%d",
              of_chip_family());
    return OFA_E_INVALID_ARG;
  }
  (void)port_id;  // the families read the key alone
  int rc = fn(0, iivid, mac.data());
  if (rc != 0)
    ofa_trace(OFACORE, 3, 2, OFA_TR_L2FWD_DEL_FAILED, "Unable to program flow for chip:%d rc:%d",
              of_chip_family(), rc);
  return rc;
}
