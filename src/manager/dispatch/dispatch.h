// The handlers of the manager's operations: flow operations (type 7) with their statuses,
// configuration messages (type 0), sync complete (type 1), meters (type 2), VLANs (type 10),
// port VLANs (type 8), groups (type 9), egress VLAN translations (type 12, fields in ports/evt.h)
// and the entry points that answer a fixed value. Everything runs on the main thread, one message
// at a time.
//
// Flow operations: sub-types 1 to 5 with flow id 0 are refused with a status; ADD_FLOW and
// MODIFY_FLOW answer by the fragment rule (a fragment that succeeds draws nothing), the prefix
// forms always; DELETE_FLOW, DELETE_FLOWS, 12, 15 and unknown sub-types draw no status; 14 is
// always refused. No configuration message draws a status.
#pragma once

#include <cstdint>
#include <span>

// ---- configuration message (behind the transport header) -------------------------------------
inline constexpr uint32_t OF_CFG_MSG_MIN_LEN = 3720;
inline constexpr uint32_t OF_CFG_OFF_SUB_CMD = 0;
inline constexpr uint32_t OF_CFG_OFF_ADD = 4;  // 1 enable, 2 ignored, others disable
inline constexpr uint32_t OF_CFG_OFF_VALUE = 8;
inline constexpr uint32_t OF_CFG_OFF_PORT_MASK = 16;  // sub-commands 33 and 34: a u16 port id
inline constexpr uint32_t OF_CFG_OFF_L3_PORT_MASK = 696;
inline constexpr uint32_t OF_CFG_OFF_SUPER_ACL_MASK = 1376;
inline constexpr uint32_t OF_CFG_OFF_FLAGS = 2736;
inline constexpr uint32_t OF_CFG_OFF_HYBRID_MASK = 2740;
inline constexpr uint32_t OF_CFG_OFF_PVID = 3666;
inline constexpr uint32_t OF_CFG_OFF_IF_NAME = 3668;
inline constexpr uint32_t OF_CFG_OFF_IF_INDEX = 3700;
inline constexpr uint32_t OF_CFG_OFF_PORT_ADDRESS = 3708;
inline constexpr uint32_t OF_CFG_OFF_DEF_NHOP_ID = 3716;

inline constexpr uint32_t OF_CFG_ADD_ENABLE = 1;
inline constexpr uint32_t OF_CFG_ADD_IGNORED = 2;

// Sub-commands of the configuration message.
inline constexpr uint32_t OFM_CONFIG_OF = 6;
inline constexpr uint32_t OFM_CONFIG_INTERFACE = 10;
inline constexpr uint32_t OFM_CONFIG_DEFAULT_MODE = 13;
inline constexpr uint32_t OFM_CONFIG_PROTECTED_VLAN = 16;
inline constexpr uint32_t OFM_PORT_OFFLINE = 33;
inline constexpr uint32_t OFM_PORT_ONLINE = 34;

inline constexpr uint32_t OF_SYNC_MSG_MIN_LEN = 316;

// ---- VLAN (type 10) and port-VLAN (type 8) messages --------------------------------------------
// Sub-type in the low 16 bits of the word at 4; iivid or port_id at 8, vlan_id at 12. A message
// shorter than its fields is refused with "Error - %s, Invalid IPC length %d".
inline constexpr uint32_t OF_VLAN_MSG_MIN_LEN = 16;
inline constexpr uint32_t OFM_ADD_PORT_VLAN = 26;
inline constexpr uint32_t OFM_DEL_PORT_VLAN = 27;
inline constexpr uint32_t OFM_ADD_VLAN = 28;
inline constexpr uint32_t OFM_DEL_VLAN = 29;

// ---- registration --------------------------------------------------------------------------
// The agent's databases, torn down and rebuilt by a global disable (CONFIG_OF with add 0). The
// top registers them with the handlers of types 0, 1 and 7.
struct ofa_dispatch_hooks {
  void (*destroy)();
  int (*init)(uint8_t mode);
};
void ofa_register_dispatch(const ofa_dispatch_hooks& hooks);

// ---- handlers (the signature of manager/msg_catalogue.h) -------------------------------------
void openflow_lp_process_flow_operation(uint32_t len, const uint8_t* msg, int sock, uint32_t slot);
void openflow_lp_process_config_data(uint32_t len, const uint8_t* msg, int sock, uint32_t slot);
void openflow_lp_process_sync_complete_msg(uint32_t len, const uint8_t* msg, int sock,
                                           uint32_t slot);
void openflow_lp_process_vlan_iivid_update(uint32_t len, const uint8_t* msg, int sock,
                                           uint32_t slot);
void openflow_lp_process_port_vlan_update(uint32_t len, const uint8_t* msg, int sock,
                                          uint32_t slot);
// Group add, modify, delete (groups_meters/group_db.h): at least 1056 bytes.
void openflow_lp_process_group_operation(uint32_t len, const uint8_t* msg, int sock, uint32_t slot);
void openflow_lp_process_evt_operation(uint32_t len, const uint8_t* msg, int sock, uint32_t slot);
// Meters (type 2, at least 40 bytes): not enabled 11000; meter id 0 with a sub-type above MODIFY
// 11001; then the enter trace, and the exit trace only on failure. No status.
void openflow_lp_process_meter_operation(uint32_t len, const uint8_t* msg, int sock, uint32_t slot);

// One flow operation of at least 316 bytes; an empty span is traced and dropped.
void openflow_process_ipc_internal(std::span<const uint8_t> msg);
void process_lp_openflow_download_one_flow(std::span<const uint8_t> msg);

// Decimal digits of a value in one static buffer, overwritten by the next call.
const char* UINT64toString(uint64_t value);

// ---- entry points with a fixed answer and no other effect ------------------------------------
int openflow_send_meter_status_ipc_to_mp();   // 1
int openflow_send_group_status_ipc_to_mp();   // 1
int openflow_send_sync_complete_ipc_to_mp();  // 1
int openflow_reload_flows();                  // 0
int openflow_download_flow_stats();           // 0
int ipc_send();                               // 0
int ipc_fid_member_count();                   // 0
int openflow_lp_trunk_program(int value);     // value
