#include "groups_meters/group_hw.h"

#include "adapter/chip_ops.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "chip/engine_lookups.h"
#include "chip/group_entry.h"
#include "chip/if_table.h"
#include "groups_meters/l2fwd_table.h"

namespace {

bool has_next_hop(const group_node* g) {
  return g->type == OF_LP_GROUP_SELECT || g->type == OF_LP_GROUP_INDIRECT;
}

// The add or modify slot of a group's type: an mgid slot for ALL, a next-hop slot for SELECT and
// INDIRECT, none for the others.
struct group_slots {
  const of_slot<of_group_mgid_fn>* l2;
  const of_slot<of_group_mgid_fn>* l3;
  const of_slot<of_group_nhop_fn>* mp;
  const of_slot<of_group_nhop_fn>* sp;
};
constexpr group_slots kAdd{&of_group_l2_mgid_add_ioctl_fn, &of_group_l3_mgid_add_ioctl_fn,
                           &of_group_mp_nhop_add_ioctl_fn, &of_group_sp_nhop_add_ioctl_fn};
constexpr group_slots kModify{&of_group_l2_mgid_mod_ioctl_fn, &of_group_l3_mgid_mod_ioctl_fn,
                              &of_group_mp_nhop_mod_ioctl_fn, &of_group_sp_nhop_mod_ioctl_fn};

// 1 when programmed, 0 otherwise: no hardware form (no trace), no handler, or the chip's refusal.
int program(const group_slots& slots, group_node* g, uint32_t no_handler_id, uint32_t failed_id) {
  int rc = 0;
  bool found = true;
  if (g->type == OF_LP_GROUP_ALL) {
    of_group_mgid_fn fn = of_chip_op(g->all_type ? *slots.l3 : *slots.l2);
    found = fn != nullptr;
    if (fn) rc = fn(g->mgid, g->nhopid, g);
  } else if (has_next_hop(g)) {
    of_group_nhop_fn fn = of_chip_op(g->type == OF_LP_GROUP_SELECT ? *slots.mp : *slots.sp);
    found = fn != nullptr;
    if (fn) rc = fn(g->nhopid, g);
  } else {
    return 0;
  }
  if (!found) {
    ofa_trace(OFACORE, 3, 2, no_handler_id, "no handler for chip:%d group_id:%d", of_chip_family(),
              g->group_id);
    return 0;
  }
  if (rc != 0) {
    ofa_trace(OFACORE, 3, 3, failed_id, "Unable to program group for chip:%d group_id:%d rc:%d",
              of_chip_family(), g->group_id, rc);
    return 0;
  }
  return 1;
}

// Walks a next-hop group's buckets with the IIVID each one's forwarding entry takes: its VLAN's,
// or for VLAN 4096 its port's pvid; when that lookup fails, the value the walk had before.
template <typename Fn>
void each_forwarding_key(const group_node* g, Fn fn) {
  if (!has_next_hop(g)) return;
  uint32_t iivid = 0;
  uint32_t i = 0;
  for (const group_bucket* b = g->bucket_list; b && i < g->bucket_count; b = b->next, ++i) {
    if (b->vlan_id != OF_GROUP_NONE_ID) {
      of_vlan_view vlan;
      if (of_lookup_vlan_view(b->vlan_id, &vlan)) iivid = vlan.iivid;
    } else if (const of_if_entry* port = ofLookupIfEntrybyPortId(b->port_id)) {
      iivid = port->pvid;
    }
    fn(iivid, group_bucket_mac(*b), b->port_id);
  }
}

void add_forwarding(const group_node* g) {
  each_forwarding_key(g, [g](uint32_t iivid, const of_mac& mac, uint32_t port) {
    of_process_of_add_l2fwd_entry(g->group_id, iivid, mac, port);
  });
}

void del_forwarding(const group_node* g) {
  each_forwarding_key(g, [g](uint32_t iivid, const of_mac& mac, uint32_t port) {
    of_process_of_del_l2fwd_entry(g->group_id, iivid, mac, port);
  });
}

}  // namespace

int openflow_lp_dpx_create_group(group_node* g) {
  if (!g) return 0;
  file_printf("%s: id:%d type:%d all_type:%d mgid:%d nhopid:%d bkt cnt:%d\n", __func__, g->group_id,
              g->type, g->all_type, g->mgid, g->nhopid, g->bucket_count);
  if (!program(kAdd, g, OFA_TR_DPX_GROUP_ADD_NO_HANDLER, OFA_TR_DPX_GROUP_ADD_FAILED)) return 0;
  add_forwarding(g);
  return 1;
}

int openflow_lp_dpx_modify_group(group_node* g, group_node* old) {
  if (!g) return 0;
  if (old) del_forwarding(old);
  if (!program(kModify, g, OFA_TR_DPX_GROUP_MOD_NO_HANDLER, OFA_TR_DPX_GROUP_MOD_FAILED)) return 0;
  add_forwarding(g);
  return 1;
}

int openflow_lp_dpx_delete_group(group_node* g) {
  if (!g) return 0;
  if (g->type != OF_LP_GROUP_ALL) {
    of_group_nhop_del_fn fn = of_chip_op(of_group_nhop_del_ioctl_fn);
    if (!fn) {
      ofa_trace(OFACORE, 3, 2, OFA_TR_DPX_GROUP_DEL_NO_HANDLER,
                "no handler for chip:%d group_id:%d", of_chip_family(), g->group_id);
      return 0;
    }
    if (fn(g->nhopid, g->nhopid) != 0)
      file_printf("%s: Ignore Ioctl failure to delete nhop index from hardware.\n", __func__);
  } else {
    of_group_mgid_del_fn fn = of_chip_op(of_group_mgid_del_ioctl_fn);
    if (!fn) {
      ofa_trace(OFACORE, 3, 2, OFA_TR_DPX_GROUP_DEL_NO_HANDLER,
                "no handler for chip:%d group_id:%d", of_chip_family(), g->group_id);
      return 0;
    }
    if (int rc = fn(g->mgid, g->nhopid); rc != 0) {
      ofa_trace(OFACORE, 3, 3, OFA_TR_DPX_GROUP_DEL_FAILED,
                "Unable to program group for chip:%d group_id:%d rc:%d", of_chip_family(),
                g->group_id, rc);
      return 0;
    }
  }
  g->mgid = g->nhopid = OF_GROUP_NONE_ID;
  del_forwarding(g);
  return 1;
}
