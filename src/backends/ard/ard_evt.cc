#include "backends/ard/ard_evt.h"

#include <vector>

#include "agent/agent_globals.h"
#include "agent/status.h"
#include "agent/trace.h"
#include "backends/ard/ard_vlans.h"
#include "chip/engine_lookups.h"
#include "chip/if_table.h"
#include "chip/vlan_entry.h"

namespace {

int ard_of_egr_vlan_trans_one_ivid_and_port_upd(uint32_t iivid, of_if_entry* port, uint32_t tagged,
                                                uint32_t egr_vlan) {
  file_printf("Push or Pop iivid:%d egr_vlanid:%d of_mode:%d\n", iivid, egr_vlan,
              g_openflow_lp.mode);
  int rc = ard_dispatch_all(of_build_port_vlan_xlate(
      ofNLReqArea(), port->ifIndex, {iivid, egr_vlan}, tagged != 0, of_req_family::ard));
  if (rc != 0)
    file_printf("Unable to program EVT iivid %d rc: %d\n", iivid, rc);
  else
    file_printf("Programmed EVT for iivid:%d\n", iivid);
  return rc;
}

int ard_of_egr_vlan_trans_all_ivid_and_port_upd(of_if_entry* port, uint32_t egr_vlan,
                                                uint32_t remove) {
  static constexpr const char* kName = "ard_of_egr_vlan_trans_all_ivid_and_port_upd";
  if (!remove) {
    file_printf("%s: Non default can't be set for all vlans \n", kName);
    return 0;
  }
  uint32_t id = port->port_id;
  auto failed = [&](int rc) {
    if (rc != 0) file_printf("Unable to program EVT for port:%d rc: %d\n", id, rc);
  };
  std::vector<ard_xlate_row> rows;
  avl_node* it = nullptr;
  for (of_if_entry* q = of_get_first_port(&it); q; q = of_get_next_port(&it))
    rows.push_back({port->ifIndex, id, {q->pvid, egr_vlan}, false});
  int rc = ard_send_xlate_bulks(
      rows,
      [&](const ard_xlate_row& r) {
        file_printf("%s: port:%d vlanid:%d iivid:%d is_tag:%d\n", kName, id, r.pair.vlan_id,
                    r.pair.iivid, 0);
      },
      [&](uint32_t len) { file_printf("%s: port:%d port based req_len%d\n", kName, id, len); },
      failed);
  if (rc != 0) return rc;
  file_printf("Programmed EVT for port:%d for all pvids\n", id);
  rows.clear();
  it = nullptr;
  for (of_vlan_entry* v = of_lookup_first_vlan(&it); v; v = of_lookup_next_vlan(&it))
    rows.push_back({port->ifIndex, id, {v->iivid, v->vlan_id}, true});
  rc = ard_send_xlate_bulks(
      rows, [](const ard_xlate_row&) {},
      [&](uint32_t len) { file_printf("%s: port:%d vlan based req_len%d\n", kName, id, len); },
      failed);
  if (rc != 0) return rc;
  file_printf("Programmed EVT for port:%d for all configured vlans\n", id);
  return 0;
}

}  // namespace

int ard_of_egr_vlan_trans_upd(int32_t iivid, of_if_entry* port, uint32_t tagged, uint32_t egr_vlan,
                              uint32_t remove) {
  if (!port) return OFA_E_INVALID_ARG;
  if (iivid == -1) return ard_of_egr_vlan_trans_all_ivid_and_port_upd(port, egr_vlan, remove);
  return ard_of_egr_vlan_trans_one_ivid_and_port_upd(static_cast<uint32_t>(iivid), port, tagged,
                                                     egr_vlan);
}
