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

// To every chip; a request that could not be built is not sent.
int ard_dispatch_all(uint32_t len) {
  if (len == 0) return OFA_E_HSL_SEND;
  return ofDispatchIoctlToAllChips(ofNLReqArea().data(), len, nullptr, &len);
}

int ard_send_xlate_bulks(std::span<const ard_xlate_row> rows,
                         const std::function<void(const ard_xlate_row&)>& row_log,
                         const std::function<void(uint32_t)>& sending,
                         const std::function<void(int)>& sent) {
  std::span<uint8_t> area = ofNLReqArea();
  for (size_t at = 0; at < rows.size();) {
    uint32_t len = of_bulk_init(area, false);
    for (uint32_t n = 0; at < rows.size() && n < ARD_EVT_BULK_MAX && len != 0; ++n, ++at) {
      const ard_xlate_row& r = rows[at];
      row_log(r);
      if (len > area.size() || of_build_port_vlan_xlate(area.subspan(len), r.ifindex, r.pair,
                                                        r.tagged, of_req_family::ard) == 0)
        len = 0;
      else
        len = of_bulk_commit(area);
    }
    sending(len);
    int rc = ard_dispatch_all(len);
    sent(rc);
    if (rc != 0) return rc;
  }
  return 0;
}

namespace {

int ard_of_iivid_cfg_setup_ing_vlan_trans(uint32_t vlan_id, uint32_t iivid, uint32_t is_add) {
  uint32_t classify = is_add ? iivid : openflowAgtPcb.hw.dflt_iivid;
  for (uint16_t rte : {0, 1}) {
    file_printf(rte == 0 ? "%s: rte0 vlan:%d classify to iivid:%d\n"
                         : "%s: rte1 vlan:%d classify to iivid:%d\n",
                __func__, vlan_id, classify);
    int rc = ard_dispatch_all(of_build_partition_id(ofNLReqArea(), rte, classify, vlan_id));
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
  static constexpr const char* kName = "ard_of_iivid_cfg_setup_egr_vlan_trans";
  std::vector<ard_xlate_row> rows;
  avl_node* it = nullptr;
  for (of_if_entry* p = of_get_first_port(&it); p; p = of_get_next_port(&it))
    rows.push_back({p->ifIndex, p->port_id, {iivid, vlan_id}, is_add != 0});
  return ard_send_xlate_bulks(
      rows,
      [&](const ard_xlate_row& r) {
        file_printf("%s: port:%d vlanid:%d iivid:%d is_add:%d\n", kName, r.port_id, vlan_id, iivid,
                    is_add);
      },
      [&](uint32_t len) { file_printf("%s: vlanid:%d evt req_len:%d\n", kName, vlan_id, len); },
      [&](int rc) {
        if (rc != 0)
          file_printf("Unable to program EVT vlan %d rc: %d\n", vlan_id, rc);
        else
          file_printf("Programmed EVT for vlan:%d\n", vlan_id);
      });
}

int ard_of_iivid_cfg_setup_fwd_path(uint32_t iivid, uint32_t mgid, uint32_t /*flag*/) {
  int rc =
      ard_dispatch_all(of_build_vid_to_mgid(ofNLReqArea(), static_cast<uint16_t>(iivid), mgid));
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
  int rc = ard_dispatch_all(of_build_mgid_req(ofNLReqArea(), OF_CMD_MGID_ADD, vlan->mgid,
                                              std::span<const of_mgid_member>(&member, 1), 0));
  if (rc != 0)
    file_printf("Unable to program vlan flood mgid rc: %d\n", rc);
  else
    file_printf("Programmed vlan flood mgid:%d\n", vlan->mgid);
  return rc;
}
