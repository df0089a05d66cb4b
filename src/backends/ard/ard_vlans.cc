#include "backends/ard/ard_vlans.h"

#include <span>
#include <vector>

#include "agent/agent_globals.h"
#include "agent/status.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "chip/chip_table.h"
#include "chip/if_table.h"
#include "chip/vlan_entry.h"
#include "foundation/avl_tree.h"

namespace {

// To every chip; a request that could not be built is not sent.
int dispatch(uint32_t len) {
  if (len == 0) return OFA_E_HSL_SEND;
  return ofDispatchIoctlToAllChips(ofNLReqArea().data(), len, nullptr, &len);
}

int ard_of_iivid_cfg_setup_ing_vlan_trans(uint32_t vlan_id, uint32_t iivid, uint32_t is_add) {
  uint32_t classify = is_add ? iivid : openflowAgtPcb.hw.dflt_iivid;
  for (uint16_t rte : {0, 1}) {
    file_printf(rte == 0 ? "%s: rte0 vlan:%d classify to iivid:%d\n"
                         : "%s: rte1 vlan:%d classify to iivid:%d\n",
                __func__, vlan_id, classify);
    int rc = dispatch(of_build_partition_id(ofNLReqArea(), rte, classify, vlan_id));
    if (rc != 0) {
      file_printf("Unable to program partion id rc: %d\n", rc);
      return rc;
    }
    file_printf("Programmed partion id\n");
  }
  return 0;
}

int ard_of_iivid_cfg_setup_egr_vlan_trans(uint32_t vlan_id, uint32_t iivid, uint32_t is_add) {
  int ports = of_get_port_count();
  if (ports <= 0) return 0;
  file_printf("of_get_port_count:%d\n", ports);
  std::span<uint8_t> area = ofNLReqArea();
  avl_node* it = nullptr;
  of_if_entry* p = of_get_first_port(&it);
  while (p) {
    uint32_t len = of_bulk_init(area, false);
    for (uint32_t n = 0; p && n < ARD_EVT_BULK_MAX && len != 0; ++n, p = of_get_next_port(&it)) {
      file_printf("%s: port:%d vlanid:%d iivid:%d is_add:%d\n", __func__, p->port_id, vlan_id,
                  iivid, is_add);
      if (len > area.size() ||
          of_build_port_vlan_xlate(area.subspan(len), p->ifIndex, {iivid, vlan_id}, is_add != 0,
                                   of_req_family::ard) == 0)
        len = 0;
      else
        len = of_bulk_commit(area);
    }
    file_printf("%s: vlanid:%d evt req_len:%d\n", __func__, vlan_id, len);
    int rc = dispatch(len);
    if (rc != 0) {
      file_printf("Unable to program EVT vlan %d rc: %d\n", vlan_id, rc);
      return rc;
    }
    file_printf("Programmed EVT for vlan:%d\n", vlan_id);
  }
  return 0;
}

int ard_of_iivid_cfg_setup_fwd_path(uint32_t iivid, uint32_t mgid, uint32_t /*flag*/) {
  int rc = dispatch(of_build_vid_to_mgid(ofNLReqArea(), static_cast<uint16_t>(iivid), mgid));
  if (rc != 0)
    file_printf("Unable to program vid to mgid table rc:%d\n", rc);
  else
    file_printf("Programmed vid to mgid table\n");
  return rc;
}

}  // namespace

int ard_of_iivid_add_cfg_ioctl(of_vlan_entry* vlan) {
  if (!vlan) return OFA_E_INVALID_ARG;
  ofa_trace(OFACORE, 7, 2, OFA_TR_ARD_IIVID_CFG, "vlan id:%d iivid:%d", vlan->vlan_id, vlan->iivid);
  int rc = ard_of_iivid_cfg_setup_ing_vlan_trans(vlan->vlan_id, vlan->iivid, 1);
  if (rc == 0) rc = ard_of_iivid_cfg_setup_egr_vlan_trans(vlan->vlan_id, vlan->iivid, 1);
  if (rc == 0) rc = ard_of_iivid_cfg_setup_fwd_path(vlan->iivid, vlan->mgid, 1);
  return rc;
}

int ard_of_iivid_rem_cfg_ioctl(of_vlan_entry* vlan, uint32_t /*spare*/) {
  if (!vlan) return OFA_E_INVALID_ARG;
  ofa_trace(OFACORE, 7, 2, OFA_TR_ARD_IIVID_CFG, "vlan id:%d iivid:%d", vlan->vlan_id, vlan->iivid);
  int rc = ard_of_iivid_cfg_setup_ing_vlan_trans(vlan->vlan_id, vlan->iivid, 0);
  if (rc == 0) rc = ard_of_iivid_cfg_setup_egr_vlan_trans(vlan->vlan_id, vlan->iivid, 0);
  if (rc == 0) rc = ard_of_iivid_cfg_setup_fwd_path(vlan->iivid, openflowAgtPcb.hw.dflt_mgid, 0);
  return rc;
}

int ard_of_vlan_flood_mgid_upd_ioctl(of_vlan_entry* vlan) {
  if (!vlan) return OFA_E_INVALID_ARG;
  std::vector<uint32_t> ports;
  size_t members = 0;
  if (vlan->port_tree) {
    for (avl_node* n = avl_top(vlan->port_tree); n; n = avl_next(n), ++members)
      if (ports.size() < ARD_FLOOD_MAX_PORTS)
        ports.push_back(static_cast<const of_if_entry*>(n->info)->ifIndex);
  }
  if (members > ports.size())
    ofa_trace(OFACORE, 3, 3, OFA_TR_ARD_FLOOD_BOUNDED, "flood mgid:%d has %d ports, %d sent",
              vlan->mgid, static_cast<int>(members), static_cast<int>(ports.size()));
  of_mgid_member member{0xFFFFFFFF, vlan->iivid, ports};
  int rc = dispatch(of_build_mgid_req(ofNLReqArea(), OF_CMD_MGID_ADD, vlan->mgid,
                                      std::span<const of_mgid_member>(&member, 1), 0));
  if (rc != 0)
    file_printf("Unable to program vlan flood mgid rc: %d\n", rc);
  else
    file_printf("Programmed vlan flood mgid:%d\n", vlan->mgid);
  return rc;
}
