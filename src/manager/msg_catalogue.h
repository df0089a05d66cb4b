// Manager messages: the 4-byte transport header (type in bits 31-22, length of the payload in
// bits 15-0), the type catalogue with the handler table, the sub-type names, and the walk of a
// received datagram that may pack several messages back to back.
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr uint32_t MSGTYPE_OPENFLOW_CONFIG = 0;
inline constexpr uint32_t MSGTYPE_OPENFLOW_SYNC_COMPLETE = 1;
inline constexpr uint32_t MSGTYPE_OPENFLOW_METER_OPERATION = 2;
inline constexpr uint32_t MSGTYPE_OPENFLOW_FLOW_STATUS = 3;
inline constexpr uint32_t MSGTYPE_OPENFLOW_STATS_SYNC_EVENT = 4;
inline constexpr uint32_t MSGTYPE_OPENFLOW_STATISTICS_SYNC_EVENT = 5;
inline constexpr uint32_t MSGTYPE_OPENFLOW_PORT_STATS = 6;
inline constexpr uint32_t MSGTYPE_OPENFLOW_FLOW_OPERATION = 7;
inline constexpr uint32_t MSGTYPE_OPENFLOW_PORT_VLAN_UPD = 8;
inline constexpr uint32_t MSGTYPE_OPENFLOW_GROUP_OPERATION = 9;
inline constexpr uint32_t MSGTYPE_OPENFLOW_VLAN_IVID_UPD = 10;
inline constexpr uint32_t MXL_MSGTYPE_OPENFLOW_LP_REGISTER_EVENT = 11;
inline constexpr uint32_t MXL_MSGTYPE_OPENFLOW_EVT_OPERATION = 12;
inline constexpr uint32_t OFA_MSGTYPE_MAX = 12;
inline constexpr size_t OFA_MSG_HDR_SIZE = 4;

constexpr uint32_t ofa_msg_hdr(uint32_t type, uint32_t length) {
  return (type << 22) | (length & 0xffff);
}
constexpr uint32_t ofa_msg_hdr_type(uint32_t hdr) {
  return hdr >> 22;
}
constexpr uint32_t ofa_msg_hdr_len(uint32_t hdr) {
  return hdr & 0xffff;
}

// A handler takes the header's length, the payload (exactly that many bytes, within the
// datagram), the socket and the source slot.
using ofa_msg_handler_fn = void (*)(uint32_t len, const uint8_t* msg, int sock, uint32_t slot);

struct ofa_msg_handler_row {
  uint32_t type;
  ofa_msg_handler_fn handler;
};

// Thirteen rows indexed by type; rows 3, 4, 5, 6 and 11 stay empty.
extern ofa_msg_handler_row ofa_msg_handlers[OFA_MSGTYPE_MAX + 1];
// Fills the row of a manager-to-agent type; OFA_E_GENERIC for a type that has no handler by
// design.
int ofa_set_msg_handler(uint32_t type, ofa_msg_handler_fn fn);

// Name of a type ("Unknown" outside 0 to 12), and of a sub-type ("UNKNOWN" above 16).
const char* ofa_msg_type_name(uint32_t type);
const char* ofm_get_sub_msgtype(uint32_t sub_type);

// Walks a received datagram: 0, or OFA_E_MSG_TYPE at a type above 12.
int ofa_process_mi_msg(int sock, uint32_t slot, const uint8_t* buffer, uint32_t size);
