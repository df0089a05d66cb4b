// Configuration messages: global enable and disable, the default catch-all action, and the port
// sub-commands (interface add and delete, protected VLAN, online, offline). None draws a status.
#include <algorithm>

#include "agent/agent_globals.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "chip/if_table.h"
#include "flow/flow_engine.h"
#include "manager/dispatch/dispatch.h"
#include "manager/dispatch/dispatch_hooks.h"
#include "manager/mxl.h"
#include "platform/wire.h"
#include "ports/port_catchall.h"
#include "ports/port_lifecycle.h"

namespace {

constexpr uint32_t kDebugConfigBits = OFA_DEBUG_ON | (1u << 23);

bool config_debug() {
  return (debugOpenflow & kDebugConfigBits) == kDebugConfigBits;
}

constexpr uint32_t kDebugPortBits = (1u << 30) | (1u << 29);
constexpr uint32_t kFlagPortVlan = 1u << 30;

// Debug bit 31 with bit 30 or 29.
bool port_debug() {
  return (debugOpenflow & OFA_DEBUG_ON) && (debugOpenflow & kDebugPortBits);
}

// The bytes [off, off + n) of the message, empty past its end.
std::span<const uint8_t> field(const ofa::wire::Reader& r, size_t off, size_t n) {
  auto d = r.data();
  return off <= d.size() && n <= d.size() - off ? d.subspan(off, n) : std::span<const uint8_t>{};
}

of_port_config port_config(ofa::wire::Reader& r) {
  of_port_config cfg;
  cfg.ports = port_mask_from_wire(field(r, OF_CFG_OFF_PORT_MASK, OF_PORT_MASK_BYTES));
  cfg.l3_ports = port_mask_from_wire(field(r, OF_CFG_OFF_L3_PORT_MASK, OF_PORT_MASK_BYTES));
  cfg.pvid = r.u16_at(OF_CFG_OFF_PVID);
  auto name = field(r, OF_CFG_OFF_IF_NAME, sizeof cfg.if_name - 1);
  std::copy(name.begin(), std::find(name.begin(), name.end(), 0), cfg.if_name);
  cfg.if_index = r.u32_at(OF_CFG_OFF_IF_INDEX);
  auto address = field(r, OF_CFG_OFF_PORT_ADDRESS, sizeof cfg.port_address);
  std::copy(address.begin(), address.end(), cfg.port_address);
  cfg.def_nhop_id = r.u32_at(OF_CFG_OFF_DEF_NHOP_ID);
  return cfg;
}

// Add: the port first, its catch-all after it.
void interface_add(ofa::wire::Reader& r) {
  if (!openflow_init_completed) {
    if (port_debug()) file_printf("Openflow not enabled globally \n");
    return;
  }
  of_port_config cfg = port_config(r);
  openflow_lp_interface_config(1, cfg);
  lp_cam_add_openflow_catchall_cams(&cfg.ports);
}

// Delete: the port's flows first, its catch-all next, the port last.
void interface_del(ofa::wire::Reader& r) {
  of_port_config cfg = port_config(r);
  openflow_remove_all_flows_for_portmask(field(r, OF_CFG_OFF_PORT_MASK, OF_PORT_MASK_BYTES));
  lp_cam_rem_openflow_catchall_cams_for_portmask(&cfg.ports);
  openflow_lp_interface_config(0, cfg);
}

// The protected-VLAN configuration has nothing to program in this mode.
void protected_vlan(ofa::wire::Reader& r) {
  if ((r.u32_at(OF_CFG_OFF_FLAGS) & kFlagPortVlan) && port_debug())
    file_printf("Setting Port vlan \n");
}

// Online and offline, for a local port with an entry.
void port_link(uint32_t sub_cmd, ofa::wire::Reader& r) {
  uint16_t port_id = r.u16_at(OF_CFG_OFF_PORT_MASK);
  if (!is_physical_port(port_id)) return;
  of_if_entry* e = ofLookupIfEntrybyPortId(port_id);
  if (!e || !e->is_local) return;
  if (sub_cmd == OFM_PORT_ONLINE)
    openflow_lp_port_online(e, 0);
  else
    openflow_lp_port_offline(e, 0);
}

// A global disable: every database goes and is made again, and the agent registers anew.
void config_of_disable() {
  if (g_dispatch_hooks.destroy) g_dispatch_hooks.destroy();
  g_openflow_lp.mode = OFA_MODE_GENERIC;
  g_openflow_lp.default_action = OFA_DEFAULT_ACTION_DROP;
  if (g_dispatch_hooks.init) g_dispatch_hooks.init(OFA_MODE_GENERIC);
  ofa_send_register_msg();
  file_printf("OPENFLOW Agent register with manager\n");
}

void default_mode(uint32_t sub_cmd, uint8_t add, uint32_t value) {
  g_openflow_lp.default_action = static_cast<uint8_t>(value);
  if (config_debug())
    file_printf("Setting TTI on all openflow ports, sub_cmd = %d, add = %d\n", sub_cmd, add);
  openflow_lp_interface_reprogram_catch_all_entry();
}

}  // namespace

void openflow_lp_process_config_data(uint32_t len, const uint8_t* msg, int, uint32_t) {
  if (len < OF_CFG_MSG_MIN_LEN) {
    ofa_trace(OFAMSG, 3, 1, OFA_TR_CONFIG_BAD_LEN, "Error - Invalid IPC length %d\n",
              static_cast<int>(len));
    return;
  }
  ofa::wire::Reader r(msg, len);
  uint32_t sub_cmd = r.u32_at(OF_CFG_OFF_SUB_CMD);
  uint8_t add = r.u8_at(OF_CFG_OFF_ADD);
  if (config_debug())
    file_printf("Received Openflow Config IPC message, sub_cmd = %d, add = %d\n", sub_cmd, add);
  if (add == OF_CFG_ADD_ENABLE) {
    file_printf("CONFIG_OF Received Openflow Config IPC message, sub_cmd = %d, add = %d\n", sub_cmd,
                add);
    switch (sub_cmd) {
      case OFM_CONFIG_OF:  // enabling is implicit: the databases exist from start-up
        file_printf(
            "OPENFLOW_SUBMSG_CONFIG_OF Received Openflow Config IPC message, sub_cmd = %d, add = "
            "%d\n",
            sub_cmd, add);
        return;
      case OFM_CONFIG_INTERFACE:
        return interface_add(r);
      case OFM_CONFIG_PROTECTED_VLAN:
        return protected_vlan(r);
      default:
        return;
    }
  }
  if (add == OF_CFG_ADD_IGNORED) return;
  switch (sub_cmd) {
    case OFM_CONFIG_OF:
      return config_of_disable();
    case OFM_CONFIG_DEFAULT_MODE:
      return default_mode(sub_cmd, add, r.u32_at(OF_CFG_OFF_VALUE));
    case OFM_CONFIG_INTERFACE:
      return interface_del(r);
    case OFM_PORT_OFFLINE:
    case OFM_PORT_ONLINE:
      return port_link(sub_cmd, r);
    default:
      return;
  }
}
