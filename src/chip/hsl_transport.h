// The HSL transport: the command socket ("ofHslCmd", group 1) that carries chip requests as
// synchronous ioctls, the event socket ("ofHslEvent", group 2) that brings chip and slot
// events, and the packet socket ("ofHslPkt", group 3) that only a manager-side build opens.
//
// On this platform the command socket is a SOCK_SEQPACKET connection to hsl/cmd.<slot> (one
// ioctl is one message out of ofNLMsgBuf and one reply of at most 4096 bytes copied back over
// it) and events are datagrams on hsl/event.<slot>.
//
// Envelope in front of every record (20 bytes, big-endian):
//   0 length (whole record) | 4 u16 type: 2 error, 4 done, 203 command | 6 u16 flags 0 |
//   8 seq | 12 pid 0 | 16 reserved
// Routing block of a command message, offsets in ofNLMsgBuf:
//   20 target ifindex | 24 kind (0 CoS, 1 DCE) | 28 class 16 | 32 reserved 0 | 36 reserved |
//   40 total (request + 28) | 44 response size | 48 the request (of_cos_hdr first)
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

struct thread;

inline constexpr uint16_t AF_OF = 68;
inline constexpr uint32_t OF_NL_MSG_BUF_SIZE = 4096;
inline constexpr uint32_t OF_NL_RSP_BUF_SIZE = 37888;
inline constexpr uint32_t OF_NL_PKT_BUF_SIZE = 9200;
inline constexpr uint32_t OF_NL_HDR_SIZE = 20;
inline constexpr uint32_t OF_NL_ROUTE_SIZE = 28;
inline constexpr uint32_t OF_NL_REQ_OFFSET = 48;
inline constexpr uint32_t OF_NL_STATUS_OFFSET = 72;
inline constexpr uint32_t OF_NL_MAX_REQUEST = OF_NL_MSG_BUF_SIZE - OF_NL_REQ_OFFSET;
inline constexpr uint32_t OF_NL_ADDR_SIZE = 28;

inline constexpr uint16_t OF_NLMSG_ERROR = 2;
inline constexpr uint16_t OF_NLMSG_DONE = 4;
inline constexpr uint16_t OF_NLMSG_COMMAND = 203;

inline constexpr uint32_t OF_NL_CLIENT_CMD = 0;
inline constexpr uint32_t OF_NL_CLIENT_EVENT = 1;
inline constexpr uint32_t OF_NL_CLIENT_PKT = 2;

inline constexpr uint32_t OF_NL_KIND_COS = 0;
inline constexpr uint32_t OF_NL_KIND_DCE = 1;
inline constexpr uint32_t OF_NL_CLASS = 16;
inline constexpr uint32_t OF_HSL_EVENT_CLASS = 2;

// Receive callback: the payload (behind the 20-byte header), its size, the stored word, type.
using ofNLRxFn = int (*)(uint8_t* buf, uint32_t size, uintptr_t arg, uint16_t type);

struct ofNLSock {
  int fd = -1;
  char name[32] = {};
  uint32_t seq = 0;
  uint8_t addr[OF_NL_ADDR_SIZE] = {};  // u16 family 68 at 0, u32 group at 8
  thread* read_thread = nullptr;
  uint8_t* rx_buf = nullptr;
  uint32_t rx_size = 0;
  ofNLRxFn rx_fn = nullptr;
  uintptr_t rx_arg = 0;
};

extern ofNLSock ofHslCmdSock;
extern ofNLSock ofHslEventSock;
extern ofNLSock ofHslMgrSock;
// The one request buffer: requests are composed at offset 48 and answered in place.
extern std::array<uint8_t, OF_NL_MSG_BUF_SIZE> ofNLMsgBuf;
extern std::array<uint8_t, OF_NL_RSP_BUF_SIZE> ofNLRspBuf;
extern std::array<uint8_t, OF_NL_PKT_BUF_SIZE> ofNLPktBuf;

// The request area of ofNLMsgBuf (from offset 48).
inline std::span<uint8_t> ofNLReqArea() {
  return std::span<uint8_t>(ofNLMsgBuf).subspan(OF_NL_REQ_OFFSET);
}

int ofNLSocketInit(ofNLSock* sock, const char* name, uint32_t* size);
int ofNLSocket(ofNLSock* sock, uint32_t client_type);
int ofNLRecvMsgThread(ofNLSock* sock, uint8_t* buf, uint32_t size, ofNLRxFn fn, uintptr_t arg);
int ofNLRecvMsgBlock(ofNLSock* sock, uint8_t** buf, uint32_t* size, uint32_t* seq, uint16_t* type);
int ofNLSendMsg(ofNLSock* sock, uint8_t* msg, uint32_t size, uint32_t* seq, uint16_t type);
int ofNLSendIoctl(ofNLSock* sock, uint8_t* msg, uint32_t size, uint32_t* seq, uint16_t type);
int ofNLClose(ofNLSock* sock);

// A chip request standing at offset 48 of ofNLMsgBuf, `size` bytes, to the chip `target`.
// `request` and `spare` are not read; *response_size (0 when null) goes into the routing block.
int ofCosIoctl(uint32_t target, const void* request, uint32_t size, void* spare,
               const uint32_t* response_size);
// A DCE request standing at offset 48 of `buf`; no status check.
int ofDceIoctl(uint32_t target, std::span<uint8_t> buf, uint32_t size);
// One packet on the packet socket: name (word, size as u16), the data as the only vector.
int ofSendPktOut(uint32_t word, const uint8_t* data, uint32_t size);

int ofProcessHslResp(uint8_t* buf, uint32_t size, uintptr_t arg, uint16_t type);
int ofProcessHslPkt(uint8_t* buf, uint32_t size, uintptr_t arg, uint16_t type);
// Event demultiplexing with the gates (stage Standby, RSM handle, cold boot, class 2).
int ofProcessHslEvent(uint8_t* buf, uint32_t size, uintptr_t arg, uint16_t type);

// The exchange behind the ioctl: sends `len` bytes of `buf` and copies the reply (at most
// `cap` bytes) back over it. -1 with errno on failure. Tests and benches may replace it to talk to
// a chip model in process; null restores the socket exchange.
using ofNLIoctlFn = int (*)(int fd, uint8_t* buf, uint32_t len, uint32_t cap);
void ofNLSetIoctlHook(ofNLIoctlFn fn);
int ofNLSocketIoctl(int fd, uint8_t* buf, uint32_t len, uint32_t cap);
// Seconds an ioctl waits for the reply before it counts as failed (socket exchange only).
inline constexpr int OF_NL_IOCTL_TIMEOUT_S = 10;
