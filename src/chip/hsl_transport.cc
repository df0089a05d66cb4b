#include "chip/hsl_transport.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "agent/agent_globals.h"
#include "agent/reset.h"
#include "agent/status.h"
#include "agent/thread.h"
#include "agent/trace.h"
#include "platform/run_dir.h"
#include "platform/system.h"
#include "platform/wire.h"

using ofa::wire::Reader;
using ofa::wire::Writer;

ofNLSock ofHslCmdSock;
ofNLSock ofHslEventSock;
ofNLSock ofHslMgrSock;
std::array<uint8_t, OF_NL_MSG_BUF_SIZE> ofNLMsgBuf;
std::array<uint8_t, OF_NL_RSP_BUF_SIZE> ofNLRspBuf;
std::array<uint8_t, OF_NL_PKT_BUF_SIZE> ofNLPktBuf;

namespace {

std::array<uint8_t, 8> ofNLPktMeta;
ofNLIoctlFn ioctl_hook = nullptr;

uint32_t group_of(const ofNLSock* sock) {
  Reader r(sock->addr, sizeof sock->addr);
  return r.u32_at(8);
}

// The path a socket of this client type reaches on this platform.
std::string path_of(uint32_t client_type) {
  uint32_t slot = dpx_ni_my_slot();
  return client_type == OF_NL_CLIENT_CMD ? ofa::platform::hsl_cmd_path(slot)
                                         : ofa::platform::hsl_event_path(slot);
}

bool fill_sun(sockaddr_un* sa, const std::string& path) {
  std::memset(sa, 0, sizeof *sa);
  sa->sun_family = AF_UNIX;
  if (path.size() >= sizeof sa->sun_path) return false;
  std::memcpy(sa->sun_path, path.c_str(), path.size() + 1);
  return true;
}

// Binds (event socket) or connects (command socket) the stand-in of the AF_OF address.
int attach(int fd, uint32_t client_type) {
  if (client_type == OF_NL_CLIENT_PKT) return 0;  // the packet group has no end point here
  std::string path = path_of(client_type);
  sockaddr_un sa;
  if (!fill_sun(&sa, path)) {
    errno = ENAMETOOLONG;
    return -1;
  }
  if (client_type == OF_NL_CLIENT_CMD) {
    if (connect(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) < 0) return -1;
    timeval tv{OF_NL_IOCTL_TIMEOUT_S, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    return 0;
  }
  if (ofa::platform::ensure_parent_dir(path)) {
    errno = EACCES;
    return -1;
  }
  unlink(path.c_str());
  return bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa);
}

void write_nl_header(uint8_t* msg, uint32_t size, uint16_t type, uint32_t seq) {
  Writer w(msg, OF_NL_HDR_SIZE);
  w.u32_at(0, size + OF_NL_HDR_SIZE);
  w.u16_at(4, type);
  w.u16_at(6, 0);
  w.u32_at(8, seq);
  w.u32_at(12, 0);
}

int do_ioctl(int fd, uint8_t* buf, uint32_t len, uint32_t cap) {
  return ioctl_hook ? ioctl_hook(fd, buf, len, cap) : ofNLSocketIoctl(fd, buf, len, cap);
}

int nl_reader(thread* t);

int arm(ofNLSock* sock) {
  sock->read_thread = thread_add_read_high(openflowAgtPcb.lib, nl_reader, sock, sock->fd);
  if (!sock->read_thread) {
    file_printf("Unable to add to read thread, socket: %s", sock->name);
    return OFA_E_NO_THREAD;
  }
  return 0;
}

int nl_reader(thread* t) {
  auto* sock = static_cast<ofNLSock*>(THREAD_ARG(t));
  sock->read_thread = nullptr;
  uint8_t* buf = sock->rx_buf;
  uint32_t size = sock->rx_size;
  uint32_t seq = 0;
  uint16_t type = 0;
  if (ofNLRecvMsgBlock(sock, &buf, &size, &seq, &type) == 0 && sock->rx_fn)
    sock->rx_fn(buf, size, sock->rx_arg, type);
  return arm(sock);
}

}  // namespace

void ofNLSetIoctlHook(ofNLIoctlFn fn) {
  ioctl_hook = fn;
}

int ofNLSocketIoctl(int fd, uint8_t* buf, uint32_t len, uint32_t cap) {
  if (len > cap || len < OF_NL_HDR_SIZE) {
    errno = EMSGSIZE;
    return -1;
  }
  if (send(fd, buf, len, MSG_NOSIGNAL) != static_cast<ssize_t>(len)) return -1;
  uint32_t seq = Reader(buf, len).u32_at(8);
  std::array<uint8_t, OF_NL_MSG_BUF_SIZE> reply;
  for (;;) {
    ssize_t n = recv(fd, reply.data(), reply.size(), 0);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return -1;
    if (n == 0) {
      errno = ECONNRESET;
      return -1;
    }
    // A late answer to an exchange that timed out carries an older sequence: skip it.
    if (static_cast<size_t>(n) >= 12 && Reader(reply.data(), 12).u32_at(8) != seq) continue;
    std::memcpy(buf, reply.data(), std::min<size_t>(static_cast<size_t>(n), cap));
    return 0;
  }
}

// ---- sockets ----------------------------------------------------------------------------------

int ofNLSocketInit(ofNLSock* sock, const char* name, uint32_t* size) {
  sock->fd = -1;
  std::memset(sock->name, 0, sizeof sock->name);
  std::strncpy(sock->name, name, sizeof sock->name - 1);
  if (size) *size = OF_NL_HDR_SIZE;
  return 0;
}

int ofNLSocket(ofNLSock* sock, uint32_t client_type) {
  if (!sock) {
    file_printf("Passed NULL socket for socket type: %d", client_type);
    return OFA_E_BAD_OR_MISSING;
  }
  if (sock->fd != -1) {
    file_printf("sockId is not -1 (but %d), for socket type: %d", sock->fd, client_type);
    return OFA_E_BAD_OR_MISSING;
  }
  int kind = client_type == OF_NL_CLIENT_CMD ? SOCK_SEQPACKET : SOCK_DGRAM;
  int fd = socket(AF_UNIX, kind | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    file_printf("Failed to create AF_OF socket (rc: %d) for: %s", fd, sock->name);
    return OFA_E_HSL_SOCKET;
  }
  file_printf("AF_OF socket for sockId %d name: %s created successfully", fd, sock->name);
  int bufsize = 8192;
  if (setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bufsize, sizeof bufsize) < 0)
    file_printf("Error setting rcv buf size for socket type: %d", client_type);
  if (setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &bufsize, sizeof bufsize) < 0)
    file_printf("Error setting send buf size for socket type: %d", client_type);
  uint32_t group;
  switch (client_type) {
    case OF_NL_CLIENT_CMD:
      group = 1;
      break;
    case OF_NL_CLIENT_EVENT:
      group = 2;
      break;
    case OF_NL_CLIENT_PKT:
      group = 3;
      break;
    default:
      file_printf("Unknown client type (%d) for socket: %s", client_type, sock->name);
      close(fd);
      return OFA_E_BAD_OR_MISSING;
  }
  std::array<uint8_t, OF_NL_ADDR_SIZE> addr{};
  Writer w(addr);
  w.u16_at(0, AF_OF);
  w.u32_at(8, group);
  if (attach(fd, client_type) < 0) {
    file_printf("Unable to bind netlink socket (errno: %d), socket: %s", errno, sock->name);
    close(fd);
    return OFA_E_HSL_SOCKET;
  }
  sock->fd = fd;
  std::memcpy(sock->addr, addr.data(), addr.size());
  return 0;
}

int ofNLRecvMsgThread(ofNLSock* sock, uint8_t* buf, uint32_t size, ofNLRxFn fn, uintptr_t arg) {
  sock->rx_buf = buf;
  sock->rx_size = size;
  sock->rx_fn = fn;
  sock->rx_arg = arg;
  return arm(sock);
}

int ofNLRecvMsgBlock(ofNLSock* sock, uint8_t** buf, uint32_t* size, uint32_t* seq, uint16_t* type) {
  bool pkt = group_of(sock) == 3;
  iovec iov{*buf, *size};
  msghdr msg{};
  msg.msg_iov = &iov;
  msg.msg_iovlen = 1;
  if (pkt) {
    msg.msg_name = ofNLPktMeta.data();
    msg.msg_namelen = ofNLPktMeta.size();
  }
  ssize_t got;
  for (;;) {
    got = recvmsg(sock->fd, &msg, 0);
    if (got >= 0) break;
    if (errno == EINTR || errno == EAGAIN) continue;
    file_printf("Failed to receive message from sock, errno: %s(%d), sock: %s", strerror(errno),
                errno, sock->name);
    return OFA_E_HSL_RECV;
  }
  if (got == 0) {
    file_printf("Did not receive anything from socket: %s", sock->name);
    return OFA_E_HSL_SOCKET;
  }
  if (msg.msg_flags & MSG_TRUNC) {
    file_printf("Received a truncated message from socket: %s", sock->name);
    return OFA_E_HSL_RECV;
  }
  if (pkt) return 0;

  Reader r(*buf, static_cast<size_t>(got));
  int64_t received = got;
  int64_t len = r.u32_at(0);
  if (len < OF_NL_HDR_SIZE || len > received) {
    file_printf("Message length (%d) sanity check failed, socket: %s", static_cast<int>(len),
                sock->name);
    return OFA_E_HSL_RECV;
  }
  int64_t second = ((len + 3) / 4) * 4;
  int64_t rest = received - second;
  int64_t len2 = rest >= 4 ? r.u32_at(static_cast<size_t>(second)) : 0;
  if (rest <= 0 || len2 < OF_NL_HDR_SIZE || len2 > rest) {
    file_printf("Message length (%d) sanity check failed, socket: %s", static_cast<int>(rest),
                sock->name);
    return OFA_E_HSL_RECV;
  }
  if (r.u16_at(static_cast<size_t>(second) + 4) != OF_NLMSG_DONE) {
    file_printf("Message type is not NLMSG_DONE, socket: %s", sock->name);
    return OFA_E_HSL_RECV;
  }
  uint16_t first_type = r.u16_at(4);
  if (first_type == OF_NLMSG_ERROR) {
    file_printf("Received error message, error: %d, msg_type: %d, seq: %d, socket: %s",
                static_cast<int32_t>(r.u32_at(20)), r.u16_at(28), r.u32_at(32), sock->name);
    return OFA_E_HSL_SOCKET;
  }
  if (seq) *seq = r.u32_at(8);
  *type = first_type;
  *buf += OF_NL_HDR_SIZE;
  *size = static_cast<uint32_t>(len) - OF_NL_HDR_SIZE;
  return 0;
}

namespace {
// Header and exchange: 0, or OFA_E_HSL_SEND with its words.
int nl_exchange(ofNLSock* sock, uint8_t* msg, uint32_t size, uint16_t type) {
  write_nl_header(msg, size, type, ++sock->seq);
  if (do_ioctl(sock->fd, msg, size + OF_NL_HDR_SIZE, OF_NL_MSG_BUF_SIZE) < 0) {
    file_printf("Failed to send ioctl to netlink socket, rc: %d, errno: %d, sock: %s",
                OFA_E_GENERIC, errno, sock->name);
    return OFA_E_HSL_SEND;
  }
  return 0;
}
}  // namespace

int ofNLSendMsg(ofNLSock* sock, uint8_t* msg, uint32_t size, uint32_t* seq, uint16_t type) {
  int rc = nl_exchange(sock, msg, size, type);
  if (rc == 0 && seq) *seq = sock->seq;
  return rc;
}

int ofNLSendIoctl(ofNLSock* sock, uint8_t* msg, uint32_t size, uint32_t* seq, uint16_t type) {
  int rc = nl_exchange(sock, msg, size, type);
  if (rc != 0) return rc;
  Reader r(msg, OF_NL_MSG_BUF_SIZE);
  int32_t status = static_cast<int32_t>(r.u32_at(OF_NL_STATUS_OFFSET));
  if (status != 0) {
    file_printf("Ioctl failed with error %d", status);
    return OFA_E_CHIP;
  }
  if (seq) *seq = sock->seq;
  return 0;
}

int ofNLClose(ofNLSock* sock) {
  if (!sock) {
    file_printf("NULL sockp for close");
    return OFA_E_BAD_OR_MISSING;
  }
  if (sock->fd < 0) {
    file_printf("Invalid sock fd (%d) in socket: %s", sock->fd, sock->name);
    return OFA_E_BAD_OR_MISSING;
  }
  if (sock->read_thread) {
    thread_cancel(sock->read_thread);
    sock->read_thread = nullptr;
  }
  close(sock->fd);
  sock->fd = -1;
  // The event socket is the one end point the agent binds: take its name away with it.
  if (sock == &ofHslEventSock) unlink(path_of(OF_NL_CLIENT_EVENT).c_str());
  return 0;
}

// ---- requests -----------------------------------------------------------------------------------

namespace {
void write_route(uint8_t* buf, uint32_t target, uint32_t kind, uint32_t size, uint32_t rsp) {
  Writer w(buf, OF_NL_REQ_OFFSET);
  w.u32_at(20, target);
  w.u32_at(24, kind);
  w.u32_at(28, OF_NL_CLASS);
  w.u32_at(32, 0);
  w.u32_at(40, size + OF_NL_ROUTE_SIZE);
  w.u32_at(44, rsp);
}
}  // namespace

int ofCosIoctl(uint32_t target, const void* /*request*/, uint32_t size, void* /*spare*/,
               const uint32_t* response_size) {
  Reader r(ofNLMsgBuf);
  uint32_t cmd = r.u32_at(OF_NL_REQ_OFFSET);
  if (size > OF_NL_MAX_REQUEST) {
    // A request that cannot stand in the buffer is never sent.
    file_printf("sendmsg failed for ofCosIoctl cmd %d", cmd);
    return OFA_E_HSL_SEND;
  }
  write_route(ofNLMsgBuf.data(), target, OF_NL_KIND_COS, size, response_size ? *response_size : 0);
  uint32_t seq = 0;
  int rc = ofNLSendIoctl(&ofHslCmdSock, ofNLMsgBuf.data(), size + OF_NL_ROUTE_SIZE, &seq,
                         OF_NLMSG_COMMAND);
  if (rc != 0) file_printf("sendmsg failed for ofCosIoctl cmd %d", cmd);
  return rc;
}

int ofDceIoctl(uint32_t target, std::span<uint8_t> buf, uint32_t size) {
  Reader r(buf);
  uint32_t cmd = r.u32_at(OF_NL_REQ_OFFSET);
  if (buf.size() < OF_NL_MSG_BUF_SIZE || size > OF_NL_MAX_REQUEST) {
    file_printf("sendmsg failed for ofDceIoctl cmd %d", cmd);
    return OFA_E_HSL_SEND;
  }
  write_route(buf.data(), target, OF_NL_KIND_DCE, size, size);
  uint32_t seq = 0;
  int rc = ofNLSendMsg(&ofHslCmdSock, buf.data(), size + OF_NL_ROUTE_SIZE, &seq, OF_NLMSG_COMMAND);
  if (rc != 0) file_printf("sendmsg failed for ofDceIoctl cmd %d", cmd);
  return rc;
}

int ofSendPktOut(uint32_t word, const uint8_t* data, uint32_t size) {
  std::array<uint8_t, 8> name{};
  Writer w(name);
  w.u32_at(0, word);
  w.u16_at(4, static_cast<uint16_t>(size));
  iovec iov{const_cast<uint8_t*>(data), size};
  msghdr msg{};
  msg.msg_name = name.data();
  msg.msg_namelen = name.size();
  msg.msg_iov = &iov;
  msg.msg_iovlen = 1;
  // The size doubles as the flags word, as the packet group expects; only the non-blocking bit
  // is kept so that no stray flag changes the call's meaning here.
  if (sendmsg(ofHslMgrSock.fd, &msg, static_cast<int>(size) & MSG_DONTWAIT) < 0) {
    file_printf("Failed to send msg to netlink socket, errno: %d, sock: %s", errno,
                ofHslMgrSock.name);
    return OFA_E_HSL_SEND;
  }
  return 0;
}

// ---- receive callbacks with nothing to do ------------------------------------------------------

int ofProcessHslResp(uint8_t*, uint32_t, uintptr_t, uint16_t) {
  return 0;
}
int ofProcessHslPkt(uint8_t*, uint32_t, uintptr_t, uint16_t) {
  return 0;
}

namespace {
const ofa_reset_hook reset_hook{0, [] { ioctl_hook = nullptr; }};
}  // namespace
