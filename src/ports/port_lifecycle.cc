#include "ports/port_lifecycle.h"

#include <cstdio>
#include <cstring>

#include "adapter/catchall.h"
#include "adapter/chip_ops.h"
#include "agent/agent_globals.h"
#include "agent/reset.h"
#include "agent/status.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "chip/if_table.h"
#include "foundation/kprintf.h"
#include "ports/vlan_table.h"

uint16_t of_port_count = 0;

namespace {

constexpr uint32_t kConfigTrailBits = 0xE0000000;  // debug bits 31, 30 and 29
constexpr uint32_t kVpnL3 = 0xffe02;
constexpr uint32_t kVpnL2 = 0xffe01;
constexpr uint32_t kPortProfile = 7;

const ofa_reset_hook reset_hook{9, [] { of_port_count = 0; }};

// The mask's members as "3,5,9", cut to the buffer.
struct mask_text {
  explicit mask_text(const of_port_mask& m) {
    size_t used = 0;
    for (uint16_t p = port_mask_get_first_port(&m); p != OF_PORT_MASK_END && used < sizeof text;
         p = port_mask_get_next_port(&m, p)) {
      int n = std::snprintf(text + used, sizeof text - used, used ? ",%u" : "%u", p);
      if (n < 0) break;
      used += static_cast<size_t>(n);
    }
  }
  char text[96] = {};
};

// The first physical member with an entry (made first on an add, its fields taken from the
// message), or null when the mask runs out.
of_if_entry* first_port(uint8_t add, const of_port_config& cfg) {
  for (uint16_t p = port_mask_get_first_port(&cfg.ports); p != OF_PORT_MASK_END;
       p = port_mask_get_next_port(&cfg.ports, p)) {
    if (!is_physical_port(p)) continue;
    of_if_entry* e = ofLookupIfEntrybyPortId(p);
    if (add == 1) {
      file_printf("Interface create for port_id: %d pvid:%d nhopid:%d\n", p, cfg.pvid,
                  cfg.def_nhop_id);
      of_if_entry* made = ofProcessPortAdd(cfg.if_index, cfg.if_name, p);
      e = made ? made : ofLookupIfEntrybyPortId(p);
      if (e) {
        e->pvid = cfg.pvid;
        e->of_def_nhop_id = cfg.def_nhop_id;
        std::memcpy(e->port_address, cfg.port_address, sizeof e->port_address);
      }
    }
    if (e) return e;
  }
  return nullptr;
}

}  // namespace

void port_set_openflow_port(uint16_t port_id, uint8_t value) {
  if (of_if_entry* e = ofLookupIfEntrybyPortId(port_id)) e->of_enabled = value;
}

void port_set_openflow_type(uint16_t port_id, uint8_t type, uint8_t hybrid) {
  of_if_entry* e = ofLookupIfEntrybyPortId(port_id);
  if (!e) return;
  e->of_hybrid = hybrid ? 1 : 0;
  e->of_l3_type = hybrid ? 0 : type;
}

int openflow_lp_interface_config(uint8_t add, const of_port_config& cfg) {
  debugOpenflow |= kConfigTrailBits;
  file_printf("info - Openflow %s, port mask %s\n", add == 1 ? "Enable" : "Disable",
              mask_text(cfg.ports).text);
  of_if_entry* e = first_port(add, cfg);
  if (!e) return 0;
  uint16_t p = e->port_id;
  if (add != 1) {
    ofa_debug_printf("openflow_lp_interface_config DEL port %d hybrid %d l3flow %d superACl %d \n",
                     p, 0, 0, 0);
    openflow_lp_interface_config_del(p);
    file_printf("openflow_lp_interface_config DEL port %d\n", p);
    ofProcessPortDelete(cfg.if_index, p);
    return 0;
  }
  file_printf("%s: port:%d add:%d\n", "openflow_lp_interface_config", p, add);
  if (!e->of_enabled) ++of_port_count;
  e->of_enabled = 1;
  const char* kind = "Layer2";
  if (is_member(&cfg.l3_ports, p)) {
    e->l3_mode = 1;
    e->of_l3_type = 1;
    kind = "Layer3";
  } else {
    e->l3_mode = 0;
  }
  openflow_lp_port_of_enable(e);
  char name[12];
  ksnprintf(name, sizeof name, "%p", p);
  file_printf("OPENFLOW HARDWARE: Port %s is configured for %s\n", name, kind);
  if (!of_ofpp_all_of_vlan_p) return 0;
  of_process_add_port_to_vlan(e, of_ofpp_all_of_vlan_p);
  return of_dpx_update_vlan_flood_mgid(of_ofpp_all_of_vlan_p);
}

void openflow_lp_interface_config_del(uint16_t port_id) {
  of_if_entry* e = ofLookupIfEntrybyPortId(port_id);
  if (!e) return;
  if (e->of_enabled && of_port_count) --of_port_count;
  openflow_lp_port_of_disable(e);
  if (of_ofpp_all_of_vlan_p) {
    of_process_del_port_from_vlan(e, of_ofpp_all_of_vlan_p);
    of_dpx_update_vlan_flood_mgid(of_ofpp_all_of_vlan_p);
  }
  if (of_catchall_port* rec = lp_openflow_port_entry(e->port_db_index))
    lp_openflow_reset_port_default_cams(rec);
  e->of_enabled = 0;
}

// Each pass takes the table's head again once the entry before it is done with.
void openflow_lp_interface_del_all() {
  avl_node* it = nullptr;
  for (of_if_entry* e = of_get_first_port(&it); e; e = of_get_next_port(&it))
    if (e->of_enabled == 1) openflow_lp_interface_config_del(e->port_id);
  while (of_if_entry* e = of_get_first_port(&it))
    ofProcessPortDelete(e->ifIndex, e->port_id);
}

// ---- the chip family's port slots -----------------------------------------------------------

int openflow_lp_port_of_enable(of_if_entry* port) {
  const ofa_hw_resources& hw = openflowAgtPcb.hw;
  port->iivid_min = hw.iivid_min;
  port->iivid_max = hw.iivid_max;
  port->lrn = 0;
  port->rx_fwd = 1;
  port->tx_en = 1;
  port->is_mac_cls = 0;
  port->is_typ_cls = 0;
  port->ppid = kPortProfile;
  port->vpnid = port->l3_mode ? kVpnL3 : kVpnL2;
  port->lldp_vlan_ovrd = 0;
  port->l2_ctrl_ovrd = 0;
  uint32_t fam = of_chip_family();
  of_port_word_fn fn = of_chip_op(of_port_en_ioctl_fn);
  if (!fn) {
    ofa_trace(OFACORE, 3, 1, OFA_TR_PORT_EN_NO_HANDLER, "No port enable handler for chip: %d", fam);
    return OFA_E_NO_HANDLER;
  }
  int rc = fn(port, 0);
  if (rc != 0)
    ofa_trace(OFACORE, 3, 3, OFA_TR_PORT_EN_FAILED,
              "Unable to enable port for chip %d, port %x rc: %d", fam, port->port_id, rc);
  return rc;
}

int openflow_lp_port_of_disable(of_if_entry* port) {
  port->lrn = 0;
  port->rx_fwd = 0;
  port->tx_en = 0;
  port->is_mac_cls = 1;
  port->is_typ_cls = 1;
  port->pvid = openflowAgtPcb.hw.dflt_iivid;
  port->ppid = 0;
  port->vpnid = 0;
  port->lldp_vlan_ovrd = 1;
  port->l2_ctrl_ovrd = 1;
  uint32_t fam = of_chip_family();
  of_port_fn fn = of_chip_op(of_port_dis_ioctl_fn);
  if (!fn) {
    ofa_trace(OFACORE, 3, 1, OFA_TR_PORT_DIS_NO_HANDLER, "No port disable handler for chip: %d",
              fam);
    return OFA_E_NO_HANDLER;
  }
  int rc = fn(port);
  if (rc != 0)
    ofa_trace(OFACORE, 3, 3, OFA_TR_PORT_DIS_FAILED,
              "Unable to enable port for chip %d, port %x rc: %d", fam, port->port_id, rc);
  return rc;
}

namespace {

// Online and offline differ in tx_en and their trace ids only.
int port_state(of_if_entry* port, uint32_t spare, uint32_t tx_en, uint32_t no_handler_id,
               uint32_t failed_id) {
  port->tx_en = tx_en;
  uint32_t fam = of_chip_family();
  of_port_word_fn fn = of_chip_op(of_port_state_ioctl_fn);
  if (!fn) {
    ofa_trace(OFACORE, 3, 1, no_handler_id, "No port state change handler for chip : %x", fam);
    return OFA_E_NO_HANDLER;
  }
  int rc = fn(port, spare);
  if (rc != 0)
    ofa_trace(OFACORE, 3, 3, failed_id, "Unable to enable port for chip %d, port %x rc: %d", fam,
              port->port_id, rc);
  return rc;
}

}  // namespace

int openflow_lp_port_online(of_if_entry* port, uint32_t spare) {
  return port_state(port, spare, 1, OFA_TR_PORT_ONLINE_NO_HANDLER, OFA_TR_PORT_ONLINE_FAILED);
}

int openflow_lp_port_offline(of_if_entry* port, uint32_t spare) {
  return port_state(port, spare, 0, OFA_TR_PORT_OFFLINE_NO_HANDLER, OFA_TR_PORT_OFFLINE_FAILED);
}
