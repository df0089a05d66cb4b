// VLAN and port-VLAN messages: the length and mode checks, the enter traces, the table operation
// and, only when it failed, the exit trace. No status answers them.
#include "agent/agent_globals.h"
#include "agent/timebase.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "flow/flow_engine.h"
#include "manager/dispatch/dispatch.h"
#include "platform/wire.h"
#include "ports/vlan_table.h"

namespace {

struct vlan_op {
  uint32_t sub_type = 0;
  uint32_t first = 0;  // iivid, or port_id
  uint32_t vlan_id = 0;
  uint64_t start_ms = 0;
  std::span<const uint8_t> body;

  const char* elapsed() const { return UINT64toString(ofa_timebase_ms() - start_ms); }
};

// The operation of a message that holds its fields, after the mode check; false when refused.
bool take(const char* handler, uint32_t len, const uint8_t* msg, uint32_t not_enabled_id,
          const char* not_enabled, vlan_op* op) {
  op->start_ms = ofa_timebase_ms();
  if (!msg || len < OF_VLAN_MSG_MIN_LEN) {
    file_printf("Error - %s, Invalid IPC length %d\n", handler, static_cast<int>(len));
    return false;
  }
  if (g_openflow_lp.mode == OFA_MODE_NONE) {
    ofa_trace(OFAMSG, 3, 0, not_enabled_id, "%s", not_enabled);
    return false;
  }
  ofa::wire::Reader r(msg, len);
  op->sub_type = r.u32_at(4) & 0xffff;
  op->first = r.u32_at(8);
  op->vlan_id = r.u32_at(12);
  op->body = r.data();
  return true;
}

}  // namespace

void openflow_lp_process_vlan_iivid_update(uint32_t len, const uint8_t* msg, int, uint32_t) {
  vlan_op op;
  if (!take("openflow_lp_process_vlan_iivid_update", len, msg, OFA_TR_VLAN_NOT_ENABLED,
            "Adding VLAN: Openflow is not enabled\n", &op))
    return;
  switch (op.sub_type) {
    case OFM_ADD_VLAN:
      ofa_trace(OFAMSG, 7, 1, OFA_TR_ADD_VLAN_ENTER, "Enter ADD VLAN: vlan_id: %d iivid\n",
                op.vlan_id);
      if (lp_process_add_vlan(op.body) != 1)
        ofa_trace(OFAMSG, 7, 5, OFA_TR_ADD_VLAN_EXIT,
                  "Exit ADD VLAN: vlan_id %d iivid: %d after %s msec; %s %s\n", op.vlan_id,
                  op.first, op.elapsed(), "FAILURE", of_get_lp_message());
      return;
    case OFM_DEL_VLAN:
      ofa_trace(OFAMSG, 7, 1, OFA_TR_DEL_VLAN_ENTER, "Enter DEL VLAN: vlan_id: %d iivid\n",
                op.vlan_id);
      if (lp_process_del_vlan(op.body) == 0)
        ofa_trace(OFAMSG, 7, 5, OFA_TR_DEL_VLAN_EXIT,
                  "Exit DEL VLAN: vlan_id %d iivid: %d after %s msec; %s %s\n", op.vlan_id,
                  op.first, op.elapsed(), "FAILURE", of_get_lp_message());
      return;
    default:
      ofa_trace(OFAMSG, 7, 0, OFA_TR_VLAN_DEFAULT,
                "OPENFLOW METER IPC: Default case for VLAN IPC handling\n");
  }
}

void openflow_lp_process_port_vlan_update(uint32_t len, const uint8_t* msg, int, uint32_t) {
  vlan_op op;
  if (!take("openflow_lp_process_port_vlan_update", len, msg, OFA_TR_PORT_VLAN_NOT_ENABLED,
            "Adding PORT to VLAN: Openflow is not enabled\n", &op))
    return;
  switch (op.sub_type) {
    case OFM_ADD_PORT_VLAN:
      ofa_trace(OFAMSG, 7, 2, OFA_TR_ADD_PORT_VLAN_ENTER,
                "Enter ADD PORT VLAN: port_id: %d vlan_id: %d\n", op.first, op.vlan_id);
      if (lp_process_add_port_vlan(op.body) != 1)
        ofa_trace(OFAMSG, 7, 5, OFA_TR_ADD_PORT_VLAN_EXIT,
                  "Exit ADD PORT %d vlan %d after %s msec; %s %s\n", op.first, op.vlan_id,
                  op.elapsed(), "FAILURE", of_get_lp_message());
      return;
    case OFM_DEL_PORT_VLAN:
      ofa_trace(OFAMSG, 7, 2, OFA_TR_DEL_PORT_VLAN_ENTER,
                "Enter DEL PORT VLAN: port_id: %d vlan_id: %d\n", op.first, op.vlan_id);
      if (lp_process_del_port_vlan(op.body) != 1)
        ofa_trace(OFAMSG, 7, 5, OFA_TR_DEL_PORT_VLAN_EXIT,
                  "Exit DEL PORT %d vlan %d after %s msec; %s %s\n", op.first, op.vlan_id,
                  op.elapsed(), "FAILURE", of_get_lp_message());
      return;
    default:
      ofa_trace(OFAMSG, 7, 0, OFA_TR_PORT_VLAN_DEFAULT,
                "OPENFLOW METER IPC: Default case for PORT VLAN IPC handling\n");
  }
}
