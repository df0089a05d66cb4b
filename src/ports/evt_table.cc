// The EVT records of a port: its evt_tree by IIVID, made and freed with the interface entry.
#include <new>

#include "agent/status.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "chip/if_table.h"
#include "foundation/avl_tree.h"
#include "platform/wire.h"
#include "ports/evt.h"

namespace {

void free_evt(void* item) {
  delete static_cast<of_evt_entry*>(item);
}

}  // namespace

of_evt_msg of_evt_msg_read(std::span<const uint8_t> body) {
  ofa::wire::Reader r(body);
  return {r.u32_at(16), r.u32_at(20), r.u32_at(24), r.u32_at(28),
          r.u32_at(32), r.u32_at(36), r.u32_at(40)};
}

int of_evt_cmp(const void* key, const void* item) {
  uint32_t k = static_cast<const of_evt_entry*>(key)->iivid;
  uint32_t i = static_cast<const of_evt_entry*>(item)->iivid;
  return k > i ? -1 : k < i ? 1 : 0;
}

of_evt_entry* of_lookup_evt(of_if_entry* port, uint32_t iivid) {
  if (!port || !port->evt_tree) return nullptr;
  of_evt_entry key;
  key.iivid = iivid;
  avl_node* n = avl_search(port->evt_tree, &key);
  return n ? static_cast<of_evt_entry*>(n->info) : nullptr;
}

int of_evt_add_entry(of_if_entry* port, uint32_t iivid, uint8_t type, uint8_t is_tag,
                     uint32_t out_vlan) {
  if (!port || !port->evt_tree || of_lookup_evt(port, iivid)) return OFA_E_INVALID_ARG;
  auto* rec = new (std::nothrow) of_evt_entry{iivid, type, is_tag, out_vlan};
  if (!rec) return OFA_E_INVALID_ARG;
  if (avl_insert(port->evt_tree, rec) != 0) {
    delete rec;
    return OFA_E_INVALID_ARG;
  }
  return 0;
}

int of_evt_upd_entry(of_if_entry* port, of_evt_entry* rec, uint32_t iivid, uint8_t is_tag,
                     uint32_t out_vlan) {
  if (!rec) rec = of_lookup_evt(port, iivid);
  if (!rec) return OFA_E_INVALID_ARG;
  rec->is_tag = is_tag;
  rec->out_vlan = out_vlan;
  return 0;
}

int of_evt_del_entry(of_if_entry* port, of_evt_entry* rec, uint32_t iivid) {
  if (!rec) {
    ofa_trace(OFACORE, 7, 1, OFA_TR_EVT_RELOOKUP, "relookup evt entry for iivid:%d", iivid);
    rec = of_lookup_evt(port, iivid);
  }
  if (!rec || avl_remove(port->evt_tree, rec) != 0) return OFA_E_ABSENT;
  return 0;
}

void of_evt_init() {
  of_if_evt_cmp = of_evt_cmp;
  of_if_evt_free = free_evt;
}
