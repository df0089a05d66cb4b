// EVT messages (type 12): the length and mode checks, the debug trace of every message, the enter
// traces, the operation and, whenever it answered 0, the exit trace with "FAILURE" (also for a
// request that needed nothing). No status answers them.
#include "agent/agent_globals.h"
#include "agent/timebase.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "flow/flow_engine.h"
#include "manager/dispatch/dispatch.h"
#include "platform/wire.h"
#include "ports/evt.h"

void openflow_lp_process_evt_operation(uint32_t len, const uint8_t* msg, int, uint32_t) {
  uint64_t start_ms = ofa_timebase_ms();
  if (!msg || len < OF_EVT_MSG_MIN_LEN) {
    file_printf("Error - %s, Invalid IPC length %d\n", "openflow_lp_process_evt_operation",
                static_cast<int>(len));
    return;
  }
  if (g_openflow_lp.mode == OFA_MODE_NONE) {
    ofa_trace(OFAMSG, 3, 0, OFA_TR_EVT_NOT_ENABLED, "%s",
              "Adding PORT to VLAN: Openflow is not enabled\n");
    return;
  }
  std::span<const uint8_t> body(msg, len);
  uint32_t sub_type = ofa::wire::Reader(body).u32_at(4) & 0xffff;
  of_evt_msg m = of_evt_msg_read(body);
  ofa_trace(OFAMSG, 7, 3, OFA_TR_EVT_DBG,
            "EVT DBG: is_out_vlan_tag: %d, out_port: %d out_vlan: %d\n", m.is_out_vlan_tag,
            m.out_port, m.out_vlan);
  auto elapsed = [&] { return UINT64toString(ofa_timebase_ms() - start_ms); };
  switch (sub_type) {
    case OFM_ADD_EVT:
      ofa_trace(OFAMSG, 7, 2, OFA_TR_ADD_EVT_ENTER, "Enter ADD EVT: out_port: %d iivid: %d\n",
                m.out_port, m.iivid);
      if (lp_process_add_evt(body) == 0)
        ofa_trace(OFAMSG, 7, 5, OFA_TR_ADD_EVT_EXIT,
                  "Exit ADD EVT: out_port: %d iivid: %d after %s msec; %s %s\n", m.out_port,
                  m.iivid, elapsed(), "FAILURE", of_get_lp_message());
      return;
    case OFM_DEL_EVT:
      ofa_trace(OFAMSG, 7, 2, OFA_TR_DEL_EVT_ENTER, "Enter DEL EVT: out_port: %d iivid: %d\n",
                m.out_port, m.iivid);
      if (lp_process_del_evt(body) != 1)
        ofa_trace(OFAMSG, 7, 5, OFA_TR_DEL_EVT_EXIT,
                  "Exit DEL EVT: out_port: %d iivid: %d after %s msec; %s %s\n", m.out_port,
                  m.iivid, elapsed(), "FAILURE", of_get_lp_message());
      return;
    default:
      ofa_trace(OFAMSG, 7, 0, OFA_TR_EVT_DEFAULT, "%s",
                "OPENFLOW METER IPC: Default case for EVT IPC handling\n");
  }
}
