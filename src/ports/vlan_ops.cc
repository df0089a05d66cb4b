// The VLAN and port-VLAN operations: what the manager's messages do to the tables, what a VLAN
// and its flood group cost in the chips (through the chip family's slots 11 to 13), the
// teardown of a global disable and the tables' start and end.
#include <cstdio>

#include "adapter/chip_ops.h"
#include "agent/agent_globals.h"
#include "agent/status.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "chip/engine_lookups.h"
#include "chip/if_table.h"
#include "platform/wire.h"
#include "ports/evt.h"
#include "ports/vlan_table.h"

namespace {

constexpr uint32_t kOffFirst = 8;    // iivid, or port_id
constexpr uint32_t kOffVlanId = 12;  // vlan_id

struct vlan_msg {
  uint32_t first = 0;
  uint32_t vlan_id = 0;
};

vlan_msg read_msg(std::span<const uint8_t> msg) {
  ofa::wire::Reader r(msg);
  return {r.u32_at(kOffFirst), r.u32_at(kOffVlanId)};
}

bool view_of(const of_vlan_entry* v, of_vlan_view* out) {
  if (!v) return false;
  out->iivid = v->iivid;
  out->mgid = v->mgid;
  return true;
}

bool lookup_view(uint32_t vlan_id, of_vlan_view* out) {
  return view_of(of_lookup_vlan(vlan_id), out);
}

bool all_ports_view(of_vlan_view* out) {
  return view_of(of_ofpp_all_of_vlan_p, out);
}

}  // namespace

int lp_process_add_vlan(std::span<const uint8_t> msg) {
  vlan_msg m = read_msg(msg);
  if (of_lookup_vlan(m.vlan_id)) return 0;
  of_dpx_vlan_add(of_process_vlan_add(m.vlan_id, m.first, of_vlan_mgid_of_iivid(m.first)));
  return 1;
}

int lp_process_del_vlan(std::span<const uint8_t> msg) {
  vlan_msg m = read_msg(msg);
  of_vlan_entry* v = of_lookup_vlan(m.vlan_id);
  if (!v) {
    file_printf("%s: vlan:%d not present\n", "lp_process_del_vlan", m.vlan_id);
    return 0;
  }
  of_dpx_vlan_del(v, 0);
  of_process_vlan_del(m.vlan_id);
  return 1;
}

namespace {

// A port joins or leaves a known VLAN: its tree, its membership, the VLAN's flood group.
int port_vlan(const char* name, std::span<const uint8_t> msg, bool add) {
  vlan_msg m = read_msg(msg);
  file_printf("%s: vlan:%d port:%d\n", name, m.vlan_id, m.first);
  of_vlan_entry* v = of_lookup_vlan(m.vlan_id);
  of_if_entry* port = ofLookupIfEntrybyPortId(static_cast<uint16_t>(m.first));
  if (!v || !port) return 0;
  if (add) {
    of_process_add_port_to_vlan(port, v);
    of_process_of_add_port_vlan_membership(m.first, m.vlan_id);
  } else {
    of_process_del_port_from_vlan(port, v);
    of_process_of_del_port_vlan_membership(m.first, m.vlan_id);
  }
  of_dpx_update_vlan_flood_mgid(v);
  return 1;
}

}  // namespace

int lp_process_add_port_vlan(std::span<const uint8_t> msg) {
  return port_vlan("lp_process_add_port_vlan", msg, true);
}

int lp_process_del_port_vlan(std::span<const uint8_t> msg) {
  return port_vlan("lp_process_del_port_vlan", msg, false);
}

// ---- the chips ------------------------------------------------------------------------------
// A VLAN record that could not be made reaches these as null: the handler is not called.

namespace {

// Slot 11 or 12 with the record (and the spare word of a removal); the two differ in trace ids.
template <typename Fn, typename... Spare>
int dpx_iivid(Fn fn, uint32_t no_handler_id, uint32_t failed_id, of_vlan_entry* vlan,
              Spare... spare) {
  uint32_t fam = of_chip_family();
  if (!fn) {
    ofa_trace(OFACORE, 3, 3, no_handler_id, "no handler for chip:%d vlanid:%d, iivid:%d", fam,
              vlan ? vlan->vlan_id : 0, vlan ? vlan->iivid : 0);
    return 0;
  }
  int rc = vlan ? fn(vlan, spare...) : OFA_E_INVALID_ARG;
  if (rc != 0) {
    ofa_trace(OFACORE, 3, 2, failed_id, "Unable to program iivid for chip:%d rc:%d", fam, rc);
    return 0;
  }
  return 1;
}

}  // namespace

int of_dpx_vlan_add(of_vlan_entry* vlan) {
  return dpx_iivid(of_chip_op(of_iivid_add_fn), OFA_TR_DPX_VLAN_ADD_NO_HANDLER,
                   OFA_TR_DPX_VLAN_ADD_FAILED, vlan);
}

int of_dpx_vlan_del(of_vlan_entry* vlan, uint32_t spare) {
  return dpx_iivid(of_chip_op(of_iivid_rem_fn), OFA_TR_DPX_VLAN_DEL_NO_HANDLER,
                   OFA_TR_DPX_VLAN_DEL_FAILED, vlan, spare);
}

int of_dpx_update_vlan_flood_mgid(of_vlan_entry* vlan) {
  uint32_t fam = of_chip_family();
  uint32_t iivid = vlan ? vlan->iivid : 0, mgid = vlan ? vlan->mgid : 0;
  of_vlan_fn fn = of_chip_op(of_vlan_flood_mgid_upd_ioctl_fn);
  if (!fn) {
    ofa_trace(OFACORE, 3, 3, OFA_TR_DPX_FLOOD_NO_HANDLER, "no handler for chip:%d iivid:%d mgid:%d",
              fam, iivid, mgid);
    return 0;
  }
  if (!vlan || fn(vlan) != 0) {
    ofa_trace(OFACORE, 3, 3, OFA_TR_DPX_FLOOD_FAILED,
              "Unable to program flood mgid for chip:%d iivid:%d mgid:%d", fam, iivid, mgid);
    return 0;
  }
  return 1;
}

// ---- teardown, start and end ----------------------------------------------------------------

void openflow_lp_port_vlan_del_all() {
  avl_node* it = nullptr;
  for (of_vlan_entry* v = of_get_first_vlan(&it); v; v = of_get_next_vlan(&it)) {
    of_process_del_all_port_from_vlan(v);
    of_dpx_update_vlan_flood_mgid(v);
  }
  of_free_all_port_vid();
}

// VLANs go highest first, each taken from the head of the table once the one before it is gone.
void openflow_lp_vlan_del_all() {
  avl_node* it = nullptr;
  while (of_vlan_entry* v = of_get_first_vlan(&it)) {
    of_dpx_vlan_del(v, 0);
    of_process_vlan_del(v->vlan_id);
  }
  of_ofpp_all_of_vlan_p = nullptr;
}

void openflow_lp_dpx_del_all() {
  openflow_lp_port_vlan_del_all();
  openflow_lp_vlan_del_all();
}

int openflow_vlan_init() {
  of_evt_init();
  int rc = of_init_vlan_table();
  if (rc == 0) rc = of_init_port_vid_table();
  ofa_hw_resources& hw = openflowAgtPcb.hw;
  hw.all_ports_vlan = OF_ALL_PORTS_VLAN;
  of_ofpp_all_of_vlan_p =
      of_process_vlan_add(OF_ALL_PORTS_VLAN, hw.all_ports_iivid, hw.all_ports_mgid);
  of_lookups.vlan = lookup_view;
  of_lookups.all_ports_vlan = all_ports_view;
  of_lookups.vlan_count = of_get_vlan_count;
  of_lookups.first_vlan = of_get_first_vlan;
  of_lookups.next_vlan = of_get_next_vlan;
  return rc;
}

void openflow_vlan_destroy() {
  of_free_port_vid_table();
  of_free_vlan_table();
}
