#include "backends/ard/ard_groups.h"

#include <array>
#include <vector>

#include "agent/status.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "backends/ard/ard_send.h"
#include "chip/chip_req.h"
#include "chip/engine_lookups.h"
#include "chip/group_entry.h"
#include "chip/if_table.h"

namespace {

// Prints the outcome of a request: `ok` with the id, or `fail` with the id and the status.
int report(int rc, uint32_t id, const char* ok, const char* fail) {
  if (rc != 0)
    file_printf(fail, id, rc);
  else
    file_printf(ok, id);
  return rc;
}

// The words of one mgid handler: its command and its texts.
struct mgid_op {
  uint32_t cmd;
  const char* empty;
  const char* ok;
  const char* fail;
};
constexpr mgid_op kL2Add{OF_CMD_MGID_ADD, "Unable to program l2 mgid. empty bucket",
                         "Programmed l2 mgid:%d\n", "Unable to program l2 mgid:%d rc: %d"};
constexpr mgid_op kL2Upd{OF_CMD_MGID_UPD, "Unable to program l2 mgid. empty bucket",
                         "Updated l2 mgid:%d\n", "Unable to update l2 mgid:%d rc:%d"};
constexpr mgid_op kL3Add{OF_CMD_MGID_ADD, "Unable to program l3 mgid. empty bucket",
                         "Programmed l3 mgid:%d", "Unable to program l3 mgid:%d rc: %d"};
constexpr mgid_op kL3Upd{OF_CMD_MGID_UPD, " Unable to program l2 mgid. empty bucket",
                         "Updated l3 mgid:%d\n", "Unable to update l3 mgid:%d rc:%d"};

int l2_mgid(const mgid_op& op, uint32_t mgid, const group_node* g) {
  if (!g || !g->bucket_list) {
    file_printf("%s", op.empty);
    return OFA_E_INVALID_ARG;
  }
  of_vlan_view vlan;
  uint32_t iivid = of_lookup_vlan_view(g->bucket_list->vlan_id, &vlan) ? vlan.iivid : 0;
  std::array<uint32_t, ARD_L2_MGID_MAX_PORTS> ports{};
  size_t n = 0;
  uint32_t i = 0;
  for (const group_bucket* b = g->bucket_list; b && i < g->bucket_count; b = b->next, ++i) {
    const of_if_entry* port = ofLookupIfEntrybyPortId(b->port_id);
    if (!port) continue;
    if (n == ports.size()) {
      ofa_trace(OFACORE, 3, 2, OFA_TR_ARD_MGID_BOUNDED,
                "l2 mgid:%d holds %d ports, the rest left out", mgid, static_cast<int>(n));
      break;
    }
    file_printf("out port_id:%d port_ifindex:%x\n", b->port_id, port->ifIndex);
    ports[n++] = port->ifIndex;
  }
  of_mgid_member member{0xFFFFFFFF, iivid, std::span<const uint32_t>(ports.data(), n)};
  int rc = ard_dispatch_all(
      of_build_mgid_req(ofNLReqArea(), op.cmd, mgid, {&member, 1}, OF_MGID_L2_GROUP_SIZE));
  return report(rc, mgid, op.ok, op.fail);
}

int l3_mgid(const mgid_op& op, uint32_t mgid, const group_node* g) {
  if (!g || !g->bucket_list) {
    file_printf("%s", op.empty);
    return OFA_E_INVALID_ARG;
  }
  std::vector<uint32_t> ifindexes;
  std::vector<of_mgid_member> members;
  ifindexes.reserve(g->bucket_count);
  uint32_t i = 0;
  for (const group_bucket* b = g->bucket_list; b && i < g->bucket_count; b = b->next, ++i) {
    of_mgid_member m{i == 0 ? 0xFFFFFFFF : 0, 0, {}};
    file_printf("out vlan_id:%d\n", b->vlan_id);
    of_vlan_view vlan;
    if (of_lookup_vlan_view(b->vlan_id, &vlan)) {
      m.iivid = vlan.iivid;
      file_printf("out vlan_id:%d iivid:%d\n", b->vlan_id, vlan.iivid);
    }
    file_printf("out port_id:%d\n", b->port_id);
    const of_if_entry* port = ofLookupIfEntrybyPortId(b->port_id);
    ifindexes.push_back(port ? port->ifIndex : 0);
    if (port) file_printf("out port_id:%d port_ifindex:%x\n", b->port_id, port->ifIndex);
    members.push_back(m);
  }
  for (size_t k = 0; k < members.size(); ++k)
    members[k].ports = std::span<const uint32_t>(&ifindexes[k], 1);
  int rc = ard_dispatch_all(of_build_mgid_req(ofNLReqArea(), op.cmd, mgid, members, 0));
  return report(rc, mgid, op.ok, op.fail);
}

// A path's egress IIVID: the VLAN's, the out port's pvid for VLAN 4096, else `previous`.
// `vlan_found` tells whether the last VLAN lookup of the walk found one.
struct egress_walk {
  uint32_t iivid = 0;
  bool vlan_found = false;
  const char* label = "Untag Egress";

  void step(const group_bucket& b) {
    if (b.vlan_id == OF_GROUP_NONE_ID) {
      if (const of_if_entry* port = ofLookupIfEntrybyPortId(b.port_id)) {
        iivid = port->pvid;
        file_printf("out port_id:%d port_pvid:%x\n", b.port_id, port->pvid);
      }
      label = vlan_found ? "Tag Egress" : "Untag Egress";
      return;
    }
    of_vlan_view vlan;
    vlan_found = of_lookup_vlan_view(b.vlan_id, &vlan);
    if (vlan_found) {
      iivid = vlan.iivid;
      file_printf("out vlan_id:%d vlan_iivid:%d\n", b.vlan_id, vlan.iivid);
    }
    label = vlan_found ? "Tag Egress" : "Untag Egress";
  }
};

of_nhop_path path_of(const group_bucket& b, uint32_t iivid, const char* label) {
  of_nhop_path p;
  p.egr_iivid = static_cast<uint16_t>(iivid);
  p.dmac = group_bucket_mac(b);
  file_printf("%s egr_ivid:%d mac_da:%02x%02x:%02x%02x:%02x%02x\n", label, iivid, p.dmac[0],
              p.dmac[1], p.dmac[2], p.dmac[3], p.dmac[4], p.dmac[5]);
  return p;
}

}  // namespace

int ard_of_group_l2_mgid_add(uint32_t mgid, uint32_t, group_node* group) {
  return l2_mgid(kL2Add, mgid, group);
}
int ard_of_group_l2_mgid_upd(uint32_t mgid, uint32_t, group_node* group) {
  return l2_mgid(kL2Upd, mgid, group);
}
int ard_of_group_l3_mgid_add(uint32_t mgid, uint32_t, group_node* group) {
  return l3_mgid(kL3Add, mgid, group);
}
int ard_of_group_l3_mgid_upd(uint32_t mgid, uint32_t, group_node* group) {
  return l3_mgid(kL3Upd, mgid, group);
}

int ard_of_group_mgid_del(uint32_t mgid, uint32_t) {
  int rc = ard_dispatch_all(of_build_mgid_del(ofNLReqArea(), mgid));
  return report(rc, mgid, "Deleted mgid:%d\n", "Unable to delete mgid:%d rc: %d");
}

int ard_of_group_sp_nhop_add(uint32_t nhopid, group_node* group) {
  of_nhop_path path;
  size_t count = 0;
  if (group && group->bucket_list) {
    const group_bucket& b = *group->bucket_list;
    egress_walk walk;
    walk.step(b);
    // An unknown VLAN, or an unknown port under VLAN 4096, leaves IIVID 0.
    path = path_of(b, walk.iivid, walk.label);
    count = 1;
  }
  of_nhop_params p{nhopid, OF_NHOP_KIND_SINGLE, 0, std::span<const of_nhop_path>(&path, count)};
  int rc = ard_dispatch_all(of_build_nhop_add(ofNLReqArea(), p));
  return report(rc, nhopid, "Programmed single path nhop:%d\n",
                "Unable to program single path nhop:%d rc: %d");
}

int ard_of_group_mp_nhop_add(uint32_t nhopid, group_node* group) {
  std::array<of_nhop_path, OF_NHOP_MAX_PATHS> paths{};
  size_t n = 0;
  egress_walk walk;
  uint32_t i = 0;
  for (const group_bucket* b = group ? group->bucket_list : nullptr;
       b && i < group->bucket_count && n < paths.size(); b = b->next, ++i) {
    walk.step(*b);
    for (uint16_t w = 0; w < b->weight && n < paths.size(); ++w)
      paths[n++] = path_of(*b, walk.iivid, walk.label);
  }
  of_nhop_params p{nhopid, OF_NHOP_KIND_MULTI, 0, std::span<const of_nhop_path>(paths.data(), n)};
  int rc = ard_dispatch_all(of_build_nhop_add(ofNLReqArea(), p));
  return report(rc, nhopid, "Programmed multi path(ecmp) nhop: %d\n",
                "Unable to program multi path(ecmp) nhop:%d rc: %d");
}

int ard_of_group_nhop_del(uint32_t nhopid, uint32_t) {
  int rc = ard_dispatch_all(of_build_nhop_del(ofNLReqArea(), nhopid, false));
  return report(rc, nhopid, "Deleted nhop id:%d", "Unable to delete nhop:%d rc: %d");
}
