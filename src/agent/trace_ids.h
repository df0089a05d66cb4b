// Every trace id the agent gives ofa_trace, grouped by thousands so that a subsystem's traces
// stand together. The numbers are fixed: they travel in the trace rings and the printed lines.
//
//   5000  ports                     16000  VLAN, IIVID and EVT tables
//   10000 manager messages          19000  hardware adapter
//   11000 message handlers          20000  ard backend
//   13000 start-up and chip up      21000  ard2 backend
//   17000 debug client              22000  zim backend
//
// A subsystem adds its ids in its own group when it lands.
#pragma once

#include <cstdint>

enum ofa_trace_id : uint32_t {
  // 10000: manager messages (walk of a datagram, send, registration).
  OFA_TR_MSG_INVALID_TYPE = 10000,
  OFA_TR_MSG_RECEIVED = 10001,
  OFA_TR_MSG_NO_SLOT = 10002,
  OFA_TR_MSG_SENT = 10003,
  OFA_TR_REGISTER = 10004,
  OFA_TR_REGISTER_ALLOC = 10005,
  OFA_TR_REGISTER_SEND = 10006,
  OFA_TR_MSG_OVERRUN = 10007,
  OFA_TR_MSG_TOO_LONG = 10008,

  // 11000: message handlers (flow operations, configuration).
  OFA_TR_FLOW_BAD_IPC = 11022,
  OFA_TR_FLOW_NOT_ENABLED = 11023,
  OFA_TR_FLOW_ID_ZERO = 11024,
  OFA_TR_ADD_FLOW_ENTER = 11025,
  OFA_TR_ADD_FLOW_EXIT = 11026,
  OFA_TR_ADD_MEMBERS_ENTER = 11027,
  OFA_TR_ADD_MEMBERS_EXIT = 11028,
  OFA_TR_ADD_PREFIX_ENTER = 11029,
  OFA_TR_ADD_PREFIX_EXIT = 11030,
  OFA_TR_DELETE_FLOW_ENTER = 11031,
  OFA_TR_DELETE_FLOW_EXIT = 11032,
  OFA_TR_DELETE_FLOWS_ENTER = 11033,
  OFA_TR_DELETE_FLOWS_EXIT = 11034,
  OFA_TR_MODIFY_FLOW_ENTER = 11035,
  OFA_TR_MODIFY_FLOW_EXIT = 11036,
  OFA_TR_MODIFY_PREFIX_ENTER = 11037,
  OFA_TR_MODIFY_PREFIX_EXIT = 11038,
  OFA_TR_CLEAR_FLOW_STATS = 11039,
  OFA_TR_CLEAR_CTRL_STATS = 11040,
  OFA_TR_FLOW_DEFAULT = 11041,
  OFA_TR_FLOW_BAD_LEN = 11042,
  OFA_TR_CONFIG_BAD_LEN = 11043,

  // 13000: start-up, hardware resources, chip up.
  OFA_TR_HW_RESOURCE_INFO = 13007,
  OFA_TR_HW_PROFILE_NOT_SET = 13008,
  OFA_TR_HW_PROFILES = 13009,
  OFA_TR_HW_TCAM_SIZES = 13010,
  OFA_TR_HW_SYS_INIT_FAILED = 13011,
  OFA_TR_HW_SYS_PARAM_FAILED = 13012,
  OFA_TR_CHIP_UP = 13013,
  OFA_TR_CHIP_UP_NOT_HANDLING = 13014,
  OFA_TR_HW_RESOURCE_FAILED = 13015,
  OFA_TR_HW_RESOURCE_DONE = 13016,
  OFA_TR_NETLINK_INIT_DONE = 13018,
  OFA_TR_TRACE_INITIALIZED = 13019,

  // 17000: debug client (connections closed or refused).
  OFA_TR_QCF_CLIENT_FAULT = 17001,

  // 20000: ard backend, flow entries (added, updated, deleted, or refused by the chip).
  OFA_TR_ARD_L2FLOW_ADDED = 20001,
  OFA_TR_ARD_L2FLOW_ADD_FAILED = 20002,
  OFA_TR_ARD_L2FLOW_UPDATED = 20003,
  OFA_TR_ARD_L2FLOW_UPD_FAILED = 20004,
  OFA_TR_ARD_L2FLOW_DELETED = 20005,
  OFA_TR_ARD_L2FLOW_DEL_FAILED = 20006,
  OFA_TR_ARD_L3FLOW_ADDED = 20011,
  OFA_TR_ARD_L3FLOW_ADD_FAILED = 20012,
  OFA_TR_ARD_L3FLOW_UPDATED = 20013,
  OFA_TR_ARD_L3FLOW_UPD_FAILED = 20014,
  OFA_TR_ARD_L3FLOW_DELETED = 20015,
  OFA_TR_ARD_L3FLOW_DEL_FAILED = 20016,
};
