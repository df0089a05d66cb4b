// The status of a flow operation (message type 3), the manager's only answer to a flow add,
// modify, or refused operation: 128 bytes with the transport header, big-endian.
//
//   0 header (type 3, length 124)   4 zero   8 flow id   12 controller word   16 xid
//   20 status (1 success, 0 failure)   24 zero   28 sub-type   32 start ms   40 end ms
//   48 reason text, at most 79 characters and always terminated (80 bytes)
#pragma once

#include <cstdint>

inline constexpr uint32_t OF_FLOW_STATUS_SIZE = 128;
inline constexpr uint32_t OF_FLOW_STATUS_TEXT_OFF = 48;
inline constexpr uint32_t OF_FLOW_STATUS_TEXT_SIZE = 80;

// The three words of a flow operation that its status repeats.
enum : uint32_t { OF_ID_FLOW = 0, OF_ID_CTRL = 1, OF_ID_XID = 2 };

// Builds and sends the status to the active MP; the end time is taken here. 1 when sent, else 0.
// `spare` is not carried; the start time is in milliseconds, split in its high and low words.
int openflow_send_status_ipc_to_mp(const uint32_t id_block[3], uint32_t sub_type, uint32_t status,
                                   uint32_t spare, uint32_t start_hi, uint32_t start_lo,
                                   const char* text);
