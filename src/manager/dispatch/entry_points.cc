// Registration of the handlers, sync complete, and the entry points that answer a fixed value.
#include "agent/reset.h"
#include "agent/trace.h"
#include "manager/dispatch/dispatch.h"
#include "manager/dispatch/dispatch_hooks.h"
#include "manager/msg_catalogue.h"

ofa_dispatch_hooks g_dispatch_hooks{};

namespace {
const ofa_reset_hook reset_hook{5, [] { g_dispatch_hooks = {}; }};
}  // namespace

void ofa_register_dispatch(const ofa_dispatch_hooks& hooks) {
  g_dispatch_hooks = hooks;
  ofa_set_msg_handler(MSGTYPE_OPENFLOW_CONFIG, openflow_lp_process_config_data);
  ofa_set_msg_handler(MSGTYPE_OPENFLOW_SYNC_COMPLETE, openflow_lp_process_sync_complete_msg);
  ofa_set_msg_handler(MSGTYPE_OPENFLOW_FLOW_OPERATION, openflow_lp_process_flow_operation);
  ofa_set_msg_handler(MSGTYPE_OPENFLOW_METER_OPERATION, openflow_lp_process_meter_operation);
  ofa_set_msg_handler(MSGTYPE_OPENFLOW_VLAN_IVID_UPD, openflow_lp_process_vlan_iivid_update);
  ofa_set_msg_handler(MSGTYPE_OPENFLOW_PORT_VLAN_UPD, openflow_lp_process_port_vlan_update);
  ofa_set_msg_handler(MSGTYPE_OPENFLOW_GROUP_OPERATION, openflow_lp_process_group_operation);
  ofa_set_msg_handler(MXL_MSGTYPE_OPENFLOW_EVT_OPERATION, openflow_lp_process_evt_operation);
}

void openflow_lp_process_sync_complete_msg(uint32_t len, const uint8_t*, int, uint32_t) {
  if (len < OF_SYNC_MSG_MIN_LEN) {
    file_printf("Error - %s, Invalid IPC length %d\n", "openflow_lp_process_sync_msg",
                static_cast<int>(len));
    return;
  }
  if (openflow_send_sync_complete_ipc_to_mp() != 1)
    file_printf("Error - %s failed \n", "openflow_send_sync_complete_ipc_to_mp");
}

int openflow_send_meter_status_ipc_to_mp() {
  return 1;
}
int openflow_send_group_status_ipc_to_mp() {
  return 1;
}
int openflow_send_sync_complete_ipc_to_mp() {
  return 1;
}
int openflow_reload_flows() {
  return 0;
}
int openflow_download_flow_stats() {
  return 0;
}
int ipc_send() {
  return 0;
}
int ipc_fid_member_count() {
  return 0;
}
int openflow_lp_trunk_program(int value) {
  return value;
}
