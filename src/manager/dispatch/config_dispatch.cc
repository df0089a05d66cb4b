// Configuration messages: global enable and disable, the default catch-all action, and the place
// of the port sub-commands. None draws a status.
#include "agent/agent_globals.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "manager/dispatch/dispatch.h"
#include "manager/dispatch/dispatch_hooks.h"
#include "manager/mxl.h"
#include "platform/wire.h"
#include "ports/port_catchall.h"

namespace {

constexpr uint32_t kDebugConfigBits = OFA_DEBUG_ON | (1u << 23);

bool config_debug() {
  return (debugOpenflow & kDebugConfigBits) == kDebugConfigBits;
}

// The port lifecycle's sub-commands (10 interface, 16 protected VLAN, 33 offline, 34 online), for
// every `add`, are dispatched here; until the port lifecycle is part of the agent they do nothing.
void port_subcommand(uint32_t /*sub_cmd*/, uint8_t /*add*/, ofa::wire::Reader& /*msg*/) {}

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
      case OFM_CONFIG_PROTECTED_VLAN:
        return port_subcommand(sub_cmd, add, r);
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
    case OFM_CONFIG_PROTECTED_VLAN:
    case OFM_PORT_OFFLINE:
    case OFM_PORT_ONLINE:
      return port_subcommand(sub_cmd, add, r);
    default:
      return;
  }
}
