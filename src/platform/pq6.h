// The PQ6 inter-processor datagram sockets of the manager link (the `mxl` library), on UNIX
// datagram sockets under the run directory:
//   pq6/<name>.<slot>  bound by the LP of that slot
//   pq6/<name>.mp      the active MP's end (ofa-mgr)
// A datagram from pq6/<name>.mp carries flags 0x08|0x04, one from pq6/<name>.<n> slot mask bit
// n - 1. A send with flag 0x08 goes to pq6/<name>.mp. A refused send is reported later on the
// socket's error queue: EAGAIN/ENOBUFS as code 4, a missing destination as code 6. A send with
// MXL_MSG_DONTWAIT that finds the destination's queue full waits for room for at most
// PQ6_FULL_WAIT_MS before it counts as refused, as the platform's deeper queues would hold it.
#pragma once

#include <sys/socket.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>

#include "platform/msg_queue.h"

inline constexpr uint16_t AF_PQ6 = 58;
inline constexpr size_t PQ6_ADDR_SIZE = 20;
inline constexpr uint8_t PQ6_FLAG_STANDBY = 0x01;
inline constexpr uint8_t PQ6_FLAG_ACTIVE = 0x02;
inline constexpr uint8_t PQ6_FLAG_MP = 0x04;
inline constexpr uint8_t PQ6_FLAG_ACTIVE_MP = 0x08;

// The 20-byte PQ6 address, host order (it never crosses a socket as bytes).
struct pq6_addr {
  uint16_t family;  // 58
  char name[14];    // NUL-terminated
  uint16_t slot_mask;
  uint8_t reserved;
  uint8_t flags;
};
static_assert(sizeof(pq6_addr) == PQ6_ADDR_SIZE);

// Control message header as the library lays it out (12 bytes).
struct mxl_cmsghdr {
  uint32_t len;
  int32_t level;
  int32_t type;
};
inline constexpr int32_t SOL_PQ6 = 406;
inline constexpr int32_t SOL_PQ6_SEND = 408;
inline constexpr int32_t PQ6_CMSG_DONE = 7;
inline constexpr int32_t PQ6_CMSG_ERR = 11;
inline constexpr int32_t PQ6_CMSG_SEND = 10;
inline constexpr int MXL_MSG_DONTWAIT = 64;
inline constexpr int MXL_MSG_ERRQUEUE = 0x2000;
inline constexpr int MXL_ERRNO_ERRQUEUE = 68;  // a receive that finds an error report pending

// Error record in the control data of an error-queue read: code at 0, address at 12.
inline constexpr size_t PQ6_ERR_RECORD_SIZE = 32;
inline constexpr uint32_t PQ6_ERR_HIGH_THRESHOLD = 4;
inline constexpr uint32_t PQ6_ERR_INVALID_DEST = 6;
inline constexpr int PQ6_FULL_WAIT_MS = 10;  // per message, for room in a full queue

struct mxl_params {
  int (*recv_cb)(int sock);
  uint32_t zero;
  MSG_Q_ID msgq;
};

// Binds pq6/<name>.<slot> for the address's slot (lowest mask bit; mask 0 is slot 0). A handle,
// or -1.
int mxl_open(const pq6_addr* addr, const mxl_params* params, int rsm_handle);
int mxl_control(int sock, int cmd, int arg);
// Receives one datagram: msg_name gets the sender's pq6_addr, msg_control a 20-byte done control
// (header level 406, type 7, and an 8-byte token). With flag MXL_MSG_ERRQUEUE reads one error
// report instead. Returns bytes, 0 at end of file, or -1 with errno (68: an error report waits).
// With MXL_MSG_DONTWAIT it takes up to 16 waiting datagrams from the socket at once (each cut to
// the caller's buffer) and returns the first; the next receives return the others, in order.
ssize_t mxl_recvmsg(int sock, msghdr* msg, int flags);
// Datagrams taken ahead that the next receives return without a system call.
size_t mxl_pending(int sock);
// Sends the data vectors of `msg` to the address in msg_name. Bytes, or -1 with errno.
ssize_t mxl_sendmsg(int sock, const msghdr* msg, int flags, size_t size);
int mxl_msgdone(int sock, const uint8_t* token);
// The receive callback given at open, and the fd that becomes readable.
int (*mxl_recv_callback(int sock))(int);
int mxl_fd(int sock);
void mxl_close(int sock);  // closes and unlinks the bound path
int get_active_mp_slot();
