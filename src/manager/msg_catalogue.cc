// The type catalogue, the handler table and the walk of a received datagram.
#include "manager/msg_catalogue.h"

#include "agent/reset.h"
#include "agent/status.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "platform/wire.h"

namespace {

constexpr const char* kTypeNames[OFA_MSGTYPE_MAX + 1] = {
    "MSGTYPE_OPENFLOW_CONFIG",
    "MSGTYPE_OPENFLOW_SYNC_COMPLETE",
    "MSGTYPE_OPENFLOW_METER_OPERATION",
    "MSGTYPE_OPENFLOW_FLOW_STATUS",
    "MSGTYPE_OPENFLOW_STATS_SYNC_EVENT",
    "MSGTYPE_OPENFLOW_STATISTICS_SYNC_EVENT",
    "MSGTYPE_OPENFLOW_PORT_STATS",
    "MSGTYPE_OPENFLOW_FLOW_OPERATION",
    "MSGTYPE_OPENFLOW_PORT_VLAN_UPD",
    "MSGTYPE_OPENFLOW_GROUP_OPERATION",
    "MSGTYPE_OPENFLOW_VLAN_IVID_UPD",
    "MXL_MSGTYPE_OPENFLOW_LP_REGISTER_EVENT",
    "MXL_MSGTYPE_OPENFLOW_EVT_OPERATION",
};

constexpr const char* kSubTypeNames[17] = {
    "ERROR",
    "ADD_FLOW",
    "ADD_FLOW_PREFIX",
    "DELETE_FLOW",
    "MODIFY_FLOW ",
    "MODIFY_FLOW_PREFIX",
    "CONFIG_OF",
    "CONFIG_EDGE",
    "CONFIG_EXTENDER",
    "LP_ACK",
    "CONFIG_INTERFACE",
    "CONFIG_ACT_STD",
    "CONFIG_CLEAR_FLOW_STATS",
    "CONFIG_DEFAULT_MODE",
    "ADD_FLOW_MEMBERS",
    "CONFIG_CLEAR_CTRLR_STATS",
    "CONFIG_PROTECTED_VLAN",
};

// Types that travel from the agent to the manager: their rows stay empty.
constexpr bool agent_to_manager(uint32_t type) {
  return type == MSGTYPE_OPENFLOW_FLOW_STATUS || type == MSGTYPE_OPENFLOW_STATS_SYNC_EVENT ||
         type == MSGTYPE_OPENFLOW_STATISTICS_SYNC_EVENT || type == MSGTYPE_OPENFLOW_PORT_STATS ||
         type == MXL_MSGTYPE_OPENFLOW_LP_REGISTER_EVENT;
}

}  // namespace

ofa_msg_handler_row ofa_msg_handlers[OFA_MSGTYPE_MAX + 1] = {
    {0, nullptr},  {1, nullptr},  {2, nullptr},  {3, nullptr}, {4, nullptr},
    {5, nullptr},  {6, nullptr},  {7, nullptr},  {8, nullptr}, {9, nullptr},
    {10, nullptr}, {11, nullptr}, {12, nullptr},
};

int ofa_set_msg_handler(uint32_t type, ofa_msg_handler_fn fn) {
  if (type > OFA_MSGTYPE_MAX || agent_to_manager(type)) return OFA_E_GENERIC;
  ofa_msg_handlers[type].handler = fn;
  return 0;
}

const char* ofa_msg_type_name(uint32_t type) {
  return type <= OFA_MSGTYPE_MAX ? kTypeNames[type] : "Unknown";
}

const char* ofm_get_sub_msgtype(uint32_t sub_type) {
  return sub_type < 17 ? kSubTypeNames[sub_type] : "UNKNOWN";
}

int ofa_process_mi_msg(int sock, uint32_t slot, const uint8_t* buffer, uint32_t size) {
  if (size == 0 || !buffer) return 0;
  ofa::wire::Reader r(buffer, size);
  while (true) {
    uint32_t left = static_cast<uint32_t>(r.remaining());
    if (!r.has(OFA_MSG_HDR_SIZE)) {
      // A header cut by the end of the datagram: nothing behind the datagram is read.
      ofa_trace(OFAMSG, 3, 2, OFA_TR_MSG_OVERRUN,
                "Msg header of %d bytes runs past the datagram (%d bytes left), walk ended\n",
                static_cast<int>(OFA_MSG_HDR_SIZE), static_cast<int>(left));
      return 0;
    }
    uint32_t hdr = r.u32();
    uint32_t type = ofa_msg_hdr_type(hdr);
    if (type > OFA_MSGTYPE_MAX) {
      ofa_trace(OFAMSG, 3, 1, OFA_TR_MSG_INVALID_TYPE, "Invalid msg type %d",
                static_cast<int>(type));
      return OFA_E_MSG_TYPE;
    }
    uint32_t len = ofa_msg_hdr_len(hdr);
    uint32_t msg_size = len + OFA_MSG_HDR_SIZE;
    ofa_trace(OFAMSG, 7, 5, OFA_TR_MSG_RECEIVED,
              "Received msg type %s(%d) of len %d(within len %d) from slot %d\n",
              ofa_msg_type_name(type), static_cast<int>(type), static_cast<int>(msg_size),
              static_cast<int>(left), static_cast<int>(slot));
    if (msg_size > left) {
      ofa_trace(OFAMSG, 3, 3, OFA_TR_MSG_OVERRUN,
                "Msg type %d of size %d runs past the datagram (%d bytes left), walk ended\n",
                static_cast<int>(type), static_cast<int>(msg_size), static_cast<int>(left));
      return 0;
    }
    ofa::wire::Reader payload = r.sub(len);
    if (ofa_msg_handler_fn fn = ofa_msg_handlers[type].handler) {
      fn(len, payload.data().data(), sock, slot);
    }
    if (msg_size == left) return 0;
  }
}

namespace {
void clear_handlers() {
  for (auto& row : ofa_msg_handlers)
    row.handler = nullptr;
}
const ofa_reset_hook reset_hook{0, clear_handlers};
}  // namespace
