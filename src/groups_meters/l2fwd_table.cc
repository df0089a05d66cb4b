#include "groups_meters/l2fwd_table.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <type_traits>

#include "adapter/chip_ops.h"
#include "agent/reset.h"
#include "agent/status.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"

namespace {

static_assert(std::is_standard_layout_v<of_ivid_mac_entry>);

// The tree's keys are whole entries: the node at 0 and the key fields behind it.
dce_avl_tree* of_ivid_mac_table = nullptr;
uint32_t of_ivid_mac_count = 0;

// The MAC as a number whose order is that of its bytes.
uint64_t mac_value(const of_mac& m) {
  uint64_t v = 0;
  for (uint8_t b : m)
    v = v << 8 | b;
  return v;
}

int of_cmp_ivid_mac(const void* key1, const void* key2) {
  const auto* a = static_cast<const of_ivid_mac_entry*>(key1);
  const auto* b = static_cast<const of_ivid_mac_entry*>(key2);
  if (a->iivid != b->iivid) return a->iivid < b->iivid ? -1 : 1;
  uint64_t x = mac_value(a->mac), y = mac_value(b->mac);
  return x < y ? -1 : x > y ? 1 : 0;
}

// The entry of (iivid, mac), made when absent (*is_new set only then); null without memory. The
// new record is made first, so that one walk finds the place or the entry already there.
of_ivid_mac_entry* of_process_of_ivid_mac_add(uint32_t iivid, const of_mac& mac, uint32_t port_id,
                                              bool* is_new) {
  *is_new = false;
  if (!of_ivid_mac_table) return nullptr;
  auto* e = new (std::nothrow) of_ivid_mac_entry{{}, iivid, mac, port_id, {}};
  if (!e) return of_lookup_of_ivid_mac(iivid, mac);
  if (void* held = dce_avl_insert_or_find(of_ivid_mac_table, &e->link)) {
    delete e;
    return static_cast<of_ivid_mac_entry*>(held);
  }
  ++of_ivid_mac_count;
  *is_new = true;
  return e;
}

void free_table() {
  while (auto* e = static_cast<of_ivid_mac_entry*>(dce_avl_first(of_ivid_mac_table))) {
    dce_avl_delete(of_ivid_mac_table, &e->link);
    delete e;
  }
  delete of_ivid_mac_table;
  of_ivid_mac_table = nullptr;
  of_ivid_mac_count = 0;
}

const ofa_reset_hook reset_hook{7, [] {
                                  if (of_ivid_mac_table) free_table();
                                }};

}  // namespace

int of_init_ivid_mac_table() {
  if (of_ivid_mac_table) return 0;
  of_ivid_mac_table = new (std::nothrow) dce_avl_tree{};
  if (!of_ivid_mac_table) {
    file_printf("failed to initialize flow table, error = %d", OFA_E_NO_MEMORY);
    return OFA_E_NO_MEMORY;
  }
  dce_avl_tree_init(of_ivid_mac_table, of_cmp_ivid_mac, 0, offsetof(of_ivid_mac_entry, link));
  return 0;
}

int of_free_ivid_mac_table() {
  if (!of_ivid_mac_table) {
    file_printf("failed to free ivid mac table, error = %d", OFA_E_NO_MEMORY);
    return OFA_E_NO_MEMORY;
  }
  free_table();
  return 0;
}

of_ivid_mac_entry* of_lookup_of_ivid_mac(uint32_t iivid, const of_mac& mac) {
  if (!of_ivid_mac_table) return nullptr;
  of_ivid_mac_entry key{{}, iivid, mac, 0, {}};
  return static_cast<of_ivid_mac_entry*>(dce_avl_find(of_ivid_mac_table, &key));
}

of_ivid_mac_entry* of_get_first_ivid_mac() {
  return static_cast<of_ivid_mac_entry*>(dce_avl_first(of_ivid_mac_table));
}

of_ivid_mac_entry* of_get_next_ivid_mac(of_ivid_mac_entry* e) {
  if (!e || !of_ivid_mac_table) return nullptr;
  return static_cast<of_ivid_mac_entry*>(dce_avl_next(of_ivid_mac_table, &e->link));
}

uint32_t of_get_ivid_mac_count() {
  return of_ivid_mac_count;
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
  dce_avl_delete(of_ivid_mac_table, &e->link);
  --of_ivid_mac_count;
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
