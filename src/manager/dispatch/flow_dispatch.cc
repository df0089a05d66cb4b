// Flow operations: the checks every message passes, the enter and exit traces, the engine call
// and the status the sub-type draws.
#include <cinttypes>
#include <cstdio>

#include "agent/agent_globals.h"
#include "agent/timebase.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "flow/flow_engine.h"
#include "flow/flow_stats_clear.h"
#include "manager/dispatch/dispatch.h"
#include "manager/flow_status.h"
#include "manager/msg_catalogue.h"
#include "platform/wire.h"

namespace {

constexpr uint32_t kDebugFlowBit = 1u << 24;  // set by every flow operation

// One flow operation as dispatch sees it.
struct flow_op {
  uint32_t sub_type = 0;
  uint32_t more = 0;  // fragment word: more messages follow
  uint32_t ids[3] = {};
  uint32_t cid = 0;  // first byte of the controller word
  uint64_t start_ms = 0;

  uint32_t id() const { return ids[OF_ID_FLOW]; }
  uint32_t xid() const { return ids[OF_ID_XID]; }
  void status(uint32_t st, const char* text) const {
    openflow_send_status_ipc_to_mp(ids, sub_type, st, 0, static_cast<uint32_t>(start_ms >> 32),
                                   static_cast<uint32_t>(start_ms), text);
  }
  void status(int result) const { status(result ? 1u : 0u, of_get_lp_message()); }
  const char* elapsed() const { return UINT64toString(ofa_timebase_ms() - start_ms); }
};

const char* fragments(uint32_t more) {
  return more ? "More Fragments" : "Unfragmented";
}
const char* outcome(int result) {
  return result ? "SUCCESS" : "FAILURE";
}

// ADD_FLOW and MODIFY_FLOW: a fragment that succeeds waits for the last one, silently; a failure
// answers at once. True when the exit trace is due.
bool fragment_rule(const flow_op& op, int result) {
  if (op.more && result) return false;
  op.status(op.more ? 0 : result);
  return true;
}

bool flow_id_zero(const flow_op& op) {
  if (op.sub_type < OFM_ADD_FLOW || op.sub_type > OFM_MODIFY_FLOW_PREFIX || op.id() != 0)
    return false;
  char text[OF_FLOW_STATUS_TEXT_SIZE];
  std::snprintf(text, sizeof text, "ERROR: Msg has: FLOW ID ZERO: XID: %d; ctrl_id: %d: type: %s",
                static_cast<int>(op.xid()), static_cast<int>(op.cid),
                ofm_get_sub_msgtype(op.sub_type));
  ofa_trace(OFAMSG, 4, 3, OFA_TR_FLOW_ID_ZERO, "Enter %s: Flow id: %d: ERROR_MSG: %s\n",
            ofm_get_sub_msgtype(op.sub_type), static_cast<int>(op.id()), text);
  op.status(0, text);
  return true;
}

void add_flow(const flow_op& op, std::span<const uint8_t> msg) {
  ofa_trace(OFAMSG, 7, 4, OFA_TR_ADD_FLOW_ENTER,
            "Enter ADD_FLOW: Flow id: %d; xid: %d cid: %d: %s\n", op.id(), op.xid(), op.cid,
            fragments(op.more));
  file_printf("Enter ADD_FLOW: Flow id: %d; xid: %d cid: %d: %s\n", op.id(), op.xid(), op.cid,
              fragments(op.more));
  int r = openflow_generic_mode_add_flow(msg);
  if (!fragment_rule(op, r)) return;
  ofa_trace(OFAMSG, 7, 4, OFA_TR_ADD_FLOW_EXIT, "Exit ADD FLOW id: %d after %s msec; %s %s\n",
            op.id(), op.elapsed(), outcome(r), of_get_lp_message());
}

void add_flow_prefix(const flow_op& op, std::span<const uint8_t> msg) {
  ofa_trace(OFAMSG, 7, 3, OFA_TR_ADD_PREFIX_ENTER,
            "Enter ADD_FLOW_PREFIX: Flow id: %d; xid: %d cid: %d\n", op.id(), op.xid(), op.cid);
  int r = openflow_generic_mode_add_flow_prefix(msg);
  op.status(r);
  const char* elapsed = op.elapsed();
  ofa_trace(OFAMSG, 7, 4, OFA_TR_ADD_PREFIX_EXIT,
            "Exit ADD_FLOW_PREFIX id: %d after %s msec; %s %s\n", op.id(), elapsed, outcome(r),
            of_get_lp_message());
  file_printf("Exit ADD_FLOW_PREFIX id: %d after %s msec; %s %s\n", op.id(), elapsed, outcome(r),
              of_get_lp_message());
}

void delete_flow(const flow_op& op) {
  ofa_trace(OFAMSG, 7, 3, OFA_TR_DELETE_FLOW_ENTER,
            "Enter DELETE_FLOW: Flow id: %d; xid: %d cid: %d\n", op.id(), op.xid(), op.cid);
  int r = openflow_generic_mode_delete_flow(op.ids, 0);
  ofa_trace(OFAMSG, 7, 4, OFA_TR_DELETE_FLOW_EXIT, "Exit DELETE_FLOW id: %d after %s msec; %s %s\n",
            op.id(), op.elapsed(), outcome(r), of_get_lp_message());
}

void modify_flow(const flow_op& op, std::span<const uint8_t> msg) {
  ofa_trace(OFAMSG, 7, 4, OFA_TR_MODIFY_FLOW_ENTER,
            "Enter MODIFY_FLOW: Flow id: %d; xid: %d cid: %d: %s\n", op.id(), op.xid(), op.cid,
            fragments(op.more));
  generic_modify = 1;
  int r = openflow_generic_mode_mod_flow(msg, 0);
  generic_modify = 0;
  if (!fragment_rule(op, r)) return;
  ofa_trace(OFAMSG, 7, 4, OFA_TR_MODIFY_FLOW_EXIT, "Exit MODIFY_FLOW id: %d after %s msec; %s %s\n",
            op.id(), op.elapsed(), outcome(r), of_get_lp_message());
}

void modify_flow_prefix(const flow_op& op, std::span<const uint8_t> msg) {
  ofa_trace(OFAMSG, 7, 3, OFA_TR_MODIFY_PREFIX_ENTER,
            "Enter MODIFY_FLOW_PREFIX: Flow id: %d; xid: %d cid: %d\n", op.id(), op.xid(), op.cid);
  int r = openflow_generic_mode_mod_flow(msg, 1);
  op.status(r);
  ofa_trace(OFAMSG, 7, 4, OFA_TR_MODIFY_PREFIX_EXIT,
            "Exit MODIFY_FLOW_PREFIX id: %d after %s msec; %s %s\n", op.id(), op.elapsed(),
            outcome(r), of_get_lp_message());
}

// Fragments are not assembled: the members of a later message are refused.
void add_flow_members(const flow_op& op) {
  ofa_trace(OFAMSG, 7, 4, OFA_TR_ADD_MEMBERS_ENTER,
            "Enter ADD_FLOW_MEMBERS: Flow id: %d; xid: %d cid: %d: %s\n", op.id(), op.xid(), op.cid,
            op.more ? "More Fragments" : "Last fragment!");
  op.status(0);
  ofa_trace(OFAMSG, 7, 4, OFA_TR_ADD_MEMBERS_EXIT,
            "Exit ADD_FLOW_MEMBERS id: %d after %s msec; %s %s\n", op.id(), op.elapsed(),
            outcome(0), of_get_lp_message());
}

}  // namespace

const char* UINT64toString(uint64_t value) {
  static char text[25];
  std::snprintf(text, sizeof text, "%" PRIu64, value);
  return text;
}

void openflow_process_ipc_internal(std::span<const uint8_t> msg) {
  // Every flow operation puts the agent in generic mode, so the refusal below cannot fire here.
  g_openflow_lp.mode = OFA_MODE_GENERIC;
  debugOpenflow |= kDebugFlowBit;
  if (msg.data() == nullptr) {
    ofa_trace(OFAMSG, 3, 0, OFA_TR_FLOW_BAD_IPC,
              "openflow_process_ipc_internal: got a bad ipc message\n");
    return;
  }
  ofa::wire::Reader r(msg);
  flow_op op;
  op.start_ms = ofa_timebase_ms();
  op.sub_type = r.u32_at(OF_FLOW_OFF_SUB_TYPE) & 0xffff;
  op.more = r.u32_at(OF_FLOW_OFF_MORE_FRAGS);
  op.ids[OF_ID_FLOW] = r.u32_at(OF_FLOW_OFF_FLOW_ID);
  op.ids[OF_ID_CTRL] = r.u32_at(OF_FLOW_OFF_CID);
  op.ids[OF_ID_XID] = r.u32_at(OF_FLOW_OFF_XID);
  op.cid = r.u8_at(OF_FLOW_OFF_CID);
  if (g_openflow_lp.mode == OFA_MODE_NONE) {
    ofa_trace(OFAMSG, 3, 1, OFA_TR_FLOW_NOT_ENABLED, "Adding flow %d: Openflow is not enabled\n",
              op.id());
    if (op.sub_type != OFM_DELETE_FLOWS) op.status(0, "Openflow is not enabled");
    return;
  }
  if (flow_id_zero(op)) return;
  switch (op.sub_type) {
    case OFM_ADD_FLOW:
      return add_flow(op, msg);
    case OFM_ADD_FLOW_PREFIX:
      return add_flow_prefix(op, msg);
    case OFM_DELETE_FLOW:
      return delete_flow(op);
    case OFM_MODIFY_FLOW:
      return modify_flow(op, msg);
    case OFM_MODIFY_FLOW_PREFIX:
      return modify_flow_prefix(op, msg);
    case OFM_CLEAR_FLOW_STATS:
      ofa_trace(OFAMSG, 7, 1, OFA_TR_CLEAR_FLOW_STATS,
                "OPENFLOW IPC: Clearing the flow stats: id %d\n", op.id());
      return lp_clear_openflow_stats_count_flow(op.id());
    case OFM_ADD_FLOW_MEMBERS:
      return add_flow_members(op);
    case OFM_CLEAR_CTRL_STATS:
      ofa_trace(OFAMSG, 7, 0, OFA_TR_CLEAR_CTRL_STATS,
                "OPENFLOW IPC: Clearing the controller stats \n");
      return;
    case OFM_DELETE_FLOWS:
      ofa_trace(OFAMSG, 7, 0, OFA_TR_DELETE_FLOWS_ENTER, "Enter DELETE_FLOWS\n");
      openflow_delete_all_flows();
      ofa_trace(OFAMSG, 7, 0, OFA_TR_DELETE_FLOWS_EXIT, "Exit DELETE_FLOWS\n");
      return;
    default:
      ofa_trace(OFAMSG, 7, 0, OFA_TR_FLOW_DEFAULT,
                "OPENFLOW IPC: Default case for openflow IPC handling\n");
      return;
  }
}

void process_lp_openflow_download_one_flow(std::span<const uint8_t> msg) {
  openflow_process_ipc_internal(msg);
}

void openflow_lp_process_flow_operation(uint32_t len, const uint8_t* msg, int, uint32_t) {
  if (len < OF_FLOW_MSG_MIN_LEN) {
    file_printf("Error - %s, Invalid IPC length %d\n", "openflow_lp_process_flow_operation",
                static_cast<int>(len));
    ofa_trace(OFAMSG, 3, 1, OFA_TR_FLOW_BAD_LEN, "OPENFLOW PROCESS IPC: Invalid IPC length %d\n",
              static_cast<int>(len));
    return;
  }
  openflow_process_ipc_internal({msg, len});
}
