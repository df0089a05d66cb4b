// Meter operations (type 2): the length, mode and zero-id checks, the enter trace, the meter
// engine, and the exit trace only when the operation failed. No status answers them.
#include "agent/agent_globals.h"
#include "agent/timebase.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "flow/flow_engine.h"
#include "groups_meters/meter.h"
#include "manager/dispatch/dispatch.h"
#include "manager/msg_catalogue.h"

namespace {

struct meter_row {
  uint32_t sub_type;
  uint32_t enter_id;
  const char* enter;
  uint32_t exit_id;
  const char* exit;
  int (*run)(const meter_msg& m);
};

const meter_row kRows[] = {
    {OFM_ADD_METER, OFA_TR_ADD_METER_ENTER, "Enter ADD METER: Meter id: %d \n",
     OFA_TR_ADD_METER_EXIT, "Exit ADD METER id: %d after %s msec; %s %s\n",
     lp_openflow_generic_add_meter},
    {OFM_MODIFY_METER, OFA_TR_MODIFY_METER_ENTER, "Enter MODIFY METER: Meter id: %d \n",
     OFA_TR_MODIFY_METER_EXIT, "Exit MODIFY METER id: %d after %s msec; %s %s\n",
     lp_openflow_generic_modify_meter},
    {OFM_DELETE_METER, OFA_TR_DELETE_METER_ENTER, "Enter DELETE METER: Meter id: %d \n",
     OFA_TR_DELETE_METER_EXIT, "Exit DELETE METER: Meter id: %d after %s msec; %s %s\n",
     [](const meter_msg& m) { return lp_openflow_generic_del_meter(m.meter_id); }},
    {OFM_CLEAR_METER_STATS, OFA_TR_CLEAR_METER_ENTER, "Enter CLEAR STATS METER: Meter id: %d \n",
     OFA_TR_CLEAR_METER_EXIT, "Exit CLEAR STATS METER: Meter id: %d after %s msec; %s %s\n",
     [](const meter_msg& m) { return lp_openflow_generic_clear_meter_stats(m.meter_id); }},
};

void openflow_process_meter_ipc_internal(std::span<const uint8_t> msg) {
  uint64_t start_ms = ofa_timebase_ms();
  meter_msg m = of_meter_msg_read(msg);
  if (g_openflow_lp.mode == OFA_MODE_NONE) {
    ofa_trace(OFAMSG, 3, 1, OFA_TR_METER_NOT_ENABLED, "Adding Meter %d: Openflow is not enabled\n",
              m.meter_id);
    return;
  }
  // Meter 0 can be added and modified, never deleted or cleared.
  if (m.sub_type > OFM_MODIFY_METER && m.meter_id == 0) {
    ofa_trace(OFAMSG, 4, 3, OFA_TR_METER_ID_ZERO, "Enter %s: METER id: %d: ERROR_MSG: %s\n",
              ofm_get_sub_msgtype(m.sub_type), 0, "METER ID ZERO");
    return;
  }
  for (const meter_row& row : kRows) {
    if (row.sub_type != m.sub_type) continue;
    ofa_trace(OFAMSG, 7, 1, row.enter_id, row.enter, m.meter_id);
    if (!row.run(m))
      ofa_trace(OFAMSG, 7, 4, row.exit_id, row.exit, m.meter_id,
                UINT64toString(ofa_timebase_ms() - start_ms), "FAILURE", of_get_lp_message());
    return;
  }
  ofa_trace(OFAMSG, 7, 0, OFA_TR_METER_DEFAULT,
            "OPENFLOW METER IPC: Default case for Meter IPC handling\n");
}

}  // namespace

void openflow_lp_process_meter_operation(uint32_t len, const uint8_t* msg, int, uint32_t) {
  if (!msg || len < OF_METER_MSG_MIN_LEN) {
    file_printf("Error - %s, Invalid IPC length %d\n", "openflow_lp_process_meter_operation",
                static_cast<int>(len));
    return;
  }
  openflow_process_meter_ipc_internal({msg, len});
}
