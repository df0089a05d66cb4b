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
#include "foundation/id_index.h"

namespace {

static_assert(std::is_standard_layout_v<of_ivid_mac_entry>);

// The MAC as a number whose order is that of its bytes.
uint64_t mac_value(const of_mac& m) {
  uint64_t v = 0;
  for (uint8_t b : m)
    v = v << 8 | b;
  return v;
}

struct ivid_mac_key {
  uint32_t iivid = 0;
  uint64_t mac = 0;
  bool operator==(const ivid_mac_key&) const = default;
};

// Consecutive MACs of one IIVID as consecutive ids.
uint64_t id_index_value(const ivid_mac_key& k) {
  return k.mac ^ uint64_t { k.iivid } << 48 ^ k.iivid >> 16;
}

ivid_mac_key key_of(uint32_t iivid, const of_mac& mac) {
  return {iivid, mac_value(mac)};
}

// The tree keeps the walk order; its keys are whole entries: the node at 0 and the key fields
// behind it. The index finds an entry without walking the tree.
dce_avl_tree* of_ivid_mac_table = nullptr;
ofa::foundation::id_index<of_ivid_mac_entry, ivid_mac_key> of_ivid_mac_by_key;
uint32_t of_ivid_mac_count = 0;

int of_cmp_ivid_mac(const void* key1, const void* key2) {
  const auto* a = static_cast<const of_ivid_mac_entry*>(key1);
  const auto* b = static_cast<const of_ivid_mac_entry*>(key2);
  if (a->iivid != b->iivid) return a->iivid < b->iivid ? -1 : 1;
  uint64_t x = mac_value(a->mac), y = mac_value(b->mac);
  return x < y ? -1 : x > y ? 1 : 0;
}

// The entry of (iivid, mac), made when absent (*is_new set only then); null without memory.
of_ivid_mac_entry* of_process_of_ivid_mac_add(uint32_t iivid, const of_mac& mac, uint32_t port_id,
                                              bool* is_new) {
  *is_new = false;
  if (!of_ivid_mac_table) return nullptr;
  if (of_ivid_mac_entry* held = of_ivid_mac_by_key.find(key_of(iivid, mac))) return held;
  auto* e = new (std::nothrow) of_ivid_mac_entry{{}, iivid, mac, port_id, {}};
  if (!e) return nullptr;
  if (!of_ivid_mac_by_key.insert(key_of(iivid, mac), e)) {
    delete e;
    return nullptr;
  }
  dce_avl_insert_or_find(of_ivid_mac_table, &e->link);  // absent, as the index says
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
  of_ivid_mac_by_key.clear();
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
  return of_ivid_mac_by_key.find(key_of(iivid, mac));
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
  of_ivid_mac_by_key.erase(key_of(iivid, mac));
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
