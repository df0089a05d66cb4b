// Group messages: the length and mode checks, the refusal of group id 0 past the add and modify,
// the enter traces, the operation and, only when it failed, the exit trace. No status answers
// them.
#include "agent/agent_globals.h"
#include "agent/timebase.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "flow/flow_engine.h"
#include "groups_meters/group_db.h"
#include "manager/dispatch/dispatch.h"
#include "manager/msg_catalogue.h"

namespace {

void exit_trace(uint32_t id, const char* format, const of_group_msg& m, uint64_t start_ms) {
  ofa_trace(OFAMSG, 7, 4, id, format, m.group_id, UINT64toString(ofa_timebase_ms() - start_ms),
            "FAILURE", of_get_lp_message());
}

}  // namespace

void openflow_lp_process_group_operation(uint32_t len, const uint8_t* msg, int, uint32_t) {
  if (!msg || len < OF_GROUP_MSG_MIN_LEN) {
    file_printf("Error - %s, Invalid IPC length %d\n", "openflow_lp_process_group_operation",
                static_cast<int>(len));
    return;
  }
  of_group_msg m;
  of_group_msg_read({msg, len}, &m);
  if (g_openflow_lp.mode == OFA_MODE_NONE) {
    ofa_trace(OFAMSG, 3, 1, OFA_TR_GROUP_NOT_ENABLED, "Adding Group %d: Openflow is not enabled\n",
              m.group_id);
    return;
  }
  if (m.sub_type > OFM_MODIFY_GROUP && m.group_id == 0) {
    ofa_trace(OFAMSG, 4, 3, OFA_TR_GROUP_ID_ZERO, "Enter %s: GROUP id: %d: ERROR_MSG: %s\n",
              ofm_get_sub_msgtype(m.sub_type), 0, "GROUP ID ZERO");
    return;
  }
  uint64_t start_ms = ofa_timebase_ms();
  switch (m.sub_type) {
    case OFM_ADD_GROUP:
      ofa_trace(OFAMSG, 7, 1, OFA_TR_ADD_GROUP_ENTER, "Enter ADD GROUP: Group id: %d \n",
                m.group_id);
      if (!lp_openflow_generic_add_group(m))
        exit_trace(OFA_TR_ADD_GROUP_EXIT, "Exit ADD GROUP id: %d after %s msec; %s %s\n", m,
                   start_ms);
      return;
    case OFM_MODIFY_GROUP:
      ofa_trace(OFAMSG, 7, 1, OFA_TR_MODIFY_GROUP_ENTER, "Enter MODIFY GROUP: Group id: %d \n",
                m.group_id);
      if (!lp_openflow_generic_modify_group(m))
        exit_trace(OFA_TR_MODIFY_GROUP_EXIT, "Exit MODIFY GROUP id: %d after %s msec; %s %s\n", m,
                   start_ms);
      return;
    case OFM_DELETE_GROUP:
      ofa_trace(OFAMSG, 7, 1, OFA_TR_DELETE_GROUP_ENTER, "Enter DELETE GROUP: Group id: %d \n",
                m.group_id);
      if (!lp_openflow_generic_del_group(m))
        exit_trace(OFA_TR_DELETE_GROUP_EXIT,
                   "Exit DELETE GROUP: Group id: %d after %s msec; %s %s\n", m, start_ms);
      return;
    default:
      ofa_trace(OFAMSG, 7, 0, OFA_TR_GROUP_DEFAULT,
                "OPENFLOW GROUP IPC: Default case for Group IPC handling\n");
  }
}
