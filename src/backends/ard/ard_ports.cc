#include "backends/ard/ard_ports.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <span>

#include "agent/status.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "chip/chip_req.h"
#include "chip/chip_table.h"
#include "chip/engine_lookups.h"
#include "chip/hsl_transport.h"
#include "chip/if_table.h"
#include "chip/vlan_entry.h"

namespace {

constexpr uint32_t kPortCtlClassBits = (1u << 16) | (1u << 17);

// One sub-request of a port's bulk, built at the start of `at`; its length, 0 when it does not
// fit.
using sub_fn = uint32_t (*)(std::span<uint8_t> at, const of_if_entry& p);

uint32_t ard_of_port_vlan_cfg_ioctl(std::span<uint8_t> at, const of_if_entry& p) {
  of_port_vlan_wide_params w{p.ifIndex,     p.iivid_min,  p.iivid_max, p.lrn != 0,
                             p.rx_fwd != 0, p.tx_en != 0, p.pvid};
  return of_build_port_vlan_wide(at, w, of_req_family::ard);
}
uint32_t ard_of_port_vpn_cfg_ioctl(std::span<uint8_t> at, const of_if_entry& p) {
  return of_build_port_vpn(at, p.ifIndex, p.vpnid);
}
uint32_t ard_of_port_ctl_ioctl(std::span<uint8_t> at, const of_if_entry& p) {
  of_port_ctl_params c;
  c.ifindex = p.ifIndex;
  c.change_mask = kPortCtlClassBits;
  c.ppid_valid = true;
  c.is_typ_cls = p.is_typ_cls != 0;
  c.is_mac_cls = p.is_mac_cls != 0;
  c.ppid = p.ppid;
  return of_build_port_ctl(at, c, static_cast<uint32_t>(getpid()));
}
uint32_t qos_on(std::span<uint8_t> at, const of_if_entry& p) {
  return of_build_port_qos_init(at, p.ifIndex, true);
}
uint32_t qos_off(std::span<uint8_t> at, const of_if_entry& p) {
  return of_build_port_qos_init(at, p.ifIndex, false);
}
uint32_t ard_of_port_nhop_add_ioctl(std::span<uint8_t> at, const of_if_entry& p) {
  of_nhop_path path;
  path.egr_ifindex = p.ifIndex;
  path.egr_iivid = static_cast<uint16_t>(p.pvid);
  of_nhop_params n;
  n.nhopid = p.of_def_nhop_id;
  n.kind = OF_NHOP_KIND_PORT;
  n.b35 = OF_NHOP_B35_PORT;
  n.paths = std::span<const of_nhop_path>(&path, 1);
  return of_build_nhop_add(at, n);
}
uint32_t ard_of_port_nhop_del_ioctl(std::span<uint8_t> at, const of_if_entry& p) {
  return of_build_nhop_del(at, p.of_def_nhop_id, false);
}
uint32_t ard_of_port_l2_ctrl_upd_ioctl(std::span<uint8_t> at, const of_if_entry& p) {
  return of_build_port_l2_ctrl(at, p.ifIndex, p.lldp_vlan_ovrd, p.l2_ctrl_ovrd);
}
uint32_t ard_of_port_cfg_ioctl(std::span<uint8_t> at, const of_if_entry& p) {
  of_mac mac;
  std::copy_n(p.port_address, mac.size(), mac.begin());
  return of_build_port_cfg(at, p.ifIndex, mac, static_cast<uint32_t>(getpid()));
}

constexpr std::array<sub_fn, 7> kEnable = {
    ard_of_port_vlan_cfg_ioctl, ard_of_port_vpn_cfg_ioctl,     ard_of_port_ctl_ioctl, qos_on,
    ard_of_port_nhop_add_ioctl, ard_of_port_l2_ctrl_upd_ioctl, ard_of_port_cfg_ioctl};
constexpr std::array<sub_fn, 6> kDisable = {
    ard_of_port_vlan_cfg_ioctl, ard_of_port_vpn_cfg_ioctl,    ard_of_port_ctl_ioctl, qos_off,
    ard_of_port_nhop_del_ioctl, ard_of_port_l2_ctrl_upd_ioctl};

// The bulk of `subs` for the port in the request area; its length, 0 when it does not fit.
uint32_t build_bulk(std::span<const sub_fn> subs, const of_if_entry& p) {
  std::span<uint8_t> area = ofNLReqArea();
  uint32_t len = of_bulk_init(area, false);
  for (sub_fn fn : subs) {
    if (len == 0 || len > area.size() || fn(area.subspan(len), p) == 0) return 0;
    len = of_bulk_commit(area);
  }
  return len;
}

// To the port's chip; a request that could not be built is not sent.
int send(const of_if_entry& p, uint32_t len) {
  if (len == 0) return OFA_E_HSL_SEND;
  return ofCosIoctl(p.chip->ifindex, ofNLReqArea().data(), len, nullptr, &len);
}

// A null port or one without a chip: -128.
bool usable(const of_if_entry* port) {
  if (!port) return false;
  if (!port->chip) {
    file_printf("chip is empty for port:%x", port->ifIndex);
    return false;
  }
  return true;
}

// Enable and disable: the bulk, then the translations, tagged or not.
struct port_op {
  std::span<const sub_fn> subs;
  uint32_t tagged;
  uint32_t ok_id;
  const char* ok;
  uint32_t fail_id;
  const char* fail;
};

int run(of_if_entry* port, const port_op& op) {
  if (!usable(port)) return OFA_E_INVALID_ARG;
  int rc = send(*port, build_bulk(op.subs, *port));
  if (rc != 0) {
    ofa_trace(OFACORE, 3, 2, op.fail_id, op.fail, port->port_id, rc);
    return rc;
  }
  ofa_trace(OFACORE, 7, 1, op.ok_id, op.ok, port->port_id);
  return ard_of_port_setup_vlan_trans(port, op.tagged);
}

}  // namespace

int ard_of_port_enable(of_if_entry* port, uint32_t /*spare*/) {
  return run(port, {kEnable, 1, OFA_TR_ARD_PORT_ENABLED, "enabled openflow port: %d\n",
                    OFA_TR_ARD_PORT_ENABLE_FAILED, "Unabled to enable openflow port: %d rc: %d\n"});
}

int ard_of_port_disable(of_if_entry* port) {
  return run(port,
             {kDisable, 0, OFA_TR_ARD_PORT_DISABLED, "Disabled openflow port: %d\n",
              OFA_TR_ARD_PORT_DISABLE_FAILED, "Unabled to disable openflow port: %d rc: %d\n"});
}

int ard_of_port_state(of_if_entry* port, uint32_t /*spare*/) {
  if (!usable(port)) return OFA_E_INVALID_ARG;
  int rc = send(*port, ard_of_port_vlan_cfg_ioctl(ofNLReqArea(), *port));
  if (rc != 0)
    ofa_trace(OFACORE, 3, 2, OFA_TR_ARD_PORT_STATE_FAILED,
              "Unable to change port state : %d rc : %d\n", port->port_id, rc);
  return rc;
}

int ard_of_port_setup_vlan_trans(of_if_entry* port, uint32_t tagged) {
  if (!usable(port)) return OFA_E_INVALID_ARG;
  uint32_t count = of_lookup_vlan_count();
  std::array<of_vlan_pair, OF_PORT_VLAN_BATCH_MAX> pairs;
  for (uint32_t left = count; left > 0;) {
    uint32_t n = std::min(left, OF_PORT_VLAN_BATCH_MAX);
    file_printf("of_get_vlan_count:%d\n", count);
    // Every batch starts again from the head of the table.
    uint32_t filled = 0;
    avl_node* it = nullptr;
    for (of_vlan_entry* v = of_lookup_first_vlan(&it); v && filled < n;
         v = of_lookup_next_vlan(&it)) {
      pairs[filled++] = {v->iivid, v->vlan_id};
      file_printf("port_id %d vlan:%d iivid:%d is_tagged:%d\n", port->port_id, v->vlan_id, v->iivid,
                  tagged);
    }
    std::span<const of_vlan_pair> batch(pairs.data(), filled);
    int rc = send(*port, of_build_port_vlan_batch(ofNLReqArea(), port->ifIndex, batch, tagged != 0,
                                                  of_req_family::ard));
    if (rc != 0) {
      file_printf("Unable to program port vlan trans rc: %d\n", rc);
      return rc;
    }
    file_printf("Programmed port vlan translation\n");
    left -= n;
  }
  return 0;
}
