// The flow engine as dispatch and the port lifecycle see it: add, prefix add, modify, delete of
// one flow, of all flows and of a port's flows, the reply text of the last operation, and the
// flow databases' life. Operations answer 1 for success and 0 for failure; that answer is the
// status the manager gets, with of_get_lp_message() as its reason.
//
// A message is the flow operation's body (behind the 4-byte transport header), read through the
// bounds-checked reader: nothing past its end is read, whatever its counts say.
#pragma once

#include <cstdint>
#include <span>

struct fd_entry;

// Offsets of the flow message that dispatch reads.
inline constexpr uint32_t OF_FLOW_MSG_MIN_LEN = 316;
inline constexpr uint32_t OF_FLOW_OFF_SUB_TYPE = 0;  // low 16 bits
inline constexpr uint32_t OF_FLOW_OFF_MORE_FRAGS = 12;
inline constexpr uint32_t OF_FLOW_OFF_FLOW_ID = 16;
inline constexpr uint32_t OF_FLOW_OFF_CID = 20;
inline constexpr uint32_t OF_FLOW_OFF_XID = 24;

// Flow sub-types.
inline constexpr uint32_t OFM_ADD_FLOW = 1;
inline constexpr uint32_t OFM_ADD_FLOW_PREFIX = 2;
inline constexpr uint32_t OFM_DELETE_FLOW = 3;
inline constexpr uint32_t OFM_MODIFY_FLOW = 4;
inline constexpr uint32_t OFM_MODIFY_FLOW_PREFIX = 5;
inline constexpr uint32_t OFM_CLEAR_FLOW_STATS = 12;
inline constexpr uint32_t OFM_ADD_FLOW_MEMBERS = 14;
inline constexpr uint32_t OFM_CLEAR_CTRL_STATS = 15;
inline constexpr uint32_t OFM_DELETE_FLOWS = 17;

// ---- operations ----------------------------------------------------------------------------
int openflow_generic_mode_add_flow(std::span<const uint8_t> msg);
int openflow_generic_mode_add_flow_prefix(std::span<const uint8_t> msg);
// prefix: 0 MODIFY_FLOW, 1 MODIFY_FLOW_PREFIX.
int openflow_generic_mode_mod_flow(std::span<const uint8_t> msg, int prefix);
// The members of a fragmented add or modify; dispatch has no live path to it.
int openflow_generic_mode_add_remaining_members(std::span<const uint8_t> msg);
// ids: flow id, controller word, xid. With status_flag 1 the status is sent here. 1 when the
// flow existed.
int openflow_generic_mode_delete_flow(const uint32_t ids[3], int status_flag);
// 1; 0 for a null record. The record is gone afterwards.
int openflow_generic_mode_delete_one_flow(fd_entry* flow);
// The traversal's result, or 0 for an empty table.
int openflow_delete_all_flows();
void openflow_remove_all_flows_for_port(uint16_t port_id);
// A port mask of the configuration message (680 bytes, big-endian words).
void openflow_remove_all_flows_for_portmask(std::span<const uint8_t> mask);

// Set to 1 by dispatch around MODIFY_FLOW.
extern uint8_t generic_modify;

// ---- reply text ----------------------------------------------------------------------------
// The reason of the last operation (at most 80 bytes, always terminated); not cleared between
// operations.
const char* of_get_lp_message();

// ---- databases -----------------------------------------------------------------------------
// The flow id hash table, the flow table, the action chains and their pools: 1, or 0.
int openflow_flow_db_init();
// Deletes every flow and frees the tables.
void openflow_flow_db_destroy();
fd_entry* openflow_lookup_flow_by_id(uint32_t flow_id);
uint32_t openflow_flow_count();
