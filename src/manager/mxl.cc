// The agent's end of the manager socket: open, receive with counters and error paths, the error
// queue, send to the active MP, the registration message.
#include "manager/mxl.h"

#include <sys/uio.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "agent/rsm_state.h"
#include "agent/status.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "chip/chip_table.h"
#include "manager/msg_catalogue.h"
#include "platform/wire.h"

uint8_t openflow_mi_rxmsg[OFA_MI_BUF_SIZE];
uint32_t openflow_mi_rxsz;

namespace {

uint8_t mi_txmsg[OFA_MI_BUF_SIZE];
thread* g_mi_read = nullptr;

constexpr size_t kCtlRecv = 20;
constexpr size_t kCtlErr = 44;
constexpr size_t kErrData = 100;

// The scheduler's read on the socket: one datagram per call, then wait again.
int mi_sock_read(thread* t) {
  int sock = static_cast<int>(reinterpret_cast<intptr_t>(t->arg));
  g_mi_read = thread_add_read(t->zg, mi_sock_read, t->arg, mxl_fd(sock));
  if (auto cb = mxl_recv_callback(sock)) cb(sock);
  return 0;
}

// A message header over one buffer, with the PQ6 address and a control area.
msghdr pq6_msghdr(pq6_addr* name, iovec* iov, uint8_t* control, size_t control_size) {
  msghdr msg{};
  msg.msg_name = name;
  msg.msg_namelen = sizeof *name;
  msg.msg_iov = iov;
  msg.msg_iovlen = 1;
  msg.msg_control = control;
  msg.msg_controllen = control_size;
  return msg;
}

void msg_done(int sock, const msghdr& msg, const uint8_t* control) {
  if (msg.msg_controllen == kCtlRecv) {
    mxl_msgdone(sock, control + sizeof(mxl_cmsghdr));
    of_corvu_state.mi.msgdone++;
  } else {
    file_printf("mxl_msgdone failed");
  }
}

// "[%c%c%X %s]": role and processor letters by the flags, slot mask, name.
void render_pq6_addr(const pq6_addr& a, char (&out)[28]) {
  char role = '*';
  char proc = 'l';
  if (a.flags & PQ6_FLAG_ACTIVE_MP) {
    role = 'a';
    proc = 'm';
  } else if (a.flags & PQ6_FLAG_ACTIVE) {
    role = 'a';
    proc = (a.flags & PQ6_FLAG_MP) ? 'm' : 'l';
  } else if (a.flags & PQ6_FLAG_MP) {
    role = 's';
    proc = 'm';
  } else if (a.flags & PQ6_FLAG_STANDBY) {
    role = 's';
    proc = 'l';
  }
  std::snprintf(out, sizeof out, "[%c%c%X %.14s]", role, proc, a.slot_mask, a.name);
}

}  // namespace

int of_register_mxl_module(ofa_mi_handler_fn handler) {
  openflow_modules[OF_MODULE_MI].id = OF_MODULE_MI;
  openflow_modules[OF_MODULE_MI].name = "OF MI";
  of_mxl_init();
  int rc = of_mxl_start();
  of_corvu_state.mi_handler = handler;
  return rc;
}

int of_mxl_init() {
  int rc = of_init_mxl_sock(&of_corvu_state.mi_sock, OFA_MI_SOCK_NAME, of_mxl_process_msg);
  file_printf(rc == 0 ? "Initialized MI sockets" : "Failed open MI socket");
  return rc;
}

int of_init_mxl_sock(int* sock, const char* name, int (*callback)(int sock)) {
  mxl_params params{callback, 0, of_corvu_state.msgq};
  pq6_addr addr{};
  addr.family = AF_PQ6;
  std::snprintf(addr.name, sizeof addr.name, "%s", name);
  uint32_t s = openflowAgtPcb.my_slot;
  addr.slot_mask = s == 0 ? 1 : (s - 1 < 16 ? static_cast<uint16_t>(1u << (s - 1)) : 0);
  int handle = mxl_open(&addr, &params, of_corvu_state.rsm_handle);
  if (handle == -1) {
    file_printf("Failed open mxl socket");
    return OFA_E_OPEN;
  }
  *sock = handle;
  file_printf("Initialized %s socket", name);
  if (of_corvu_state.lib) {
    g_mi_read =
        thread_add_read(of_corvu_state.lib, mi_sock_read,
                        reinterpret_cast<void*>(static_cast<intptr_t>(handle)), mxl_fd(handle));
  }
  return 0;
}

int of_mxl_start() {
  if (mxl_control(of_corvu_state.mi_sock, 0, 0) < 0) {
    file_printf("Unable to activate mgr/agt sock: %s", strerror(errno));
  }
  return 0;
}

int of_mxl_process_msg(int sock) {
  pq6_addr name{};
  uint8_t control[kCtlRecv];
  iovec iov{openflow_mi_rxmsg, sizeof openflow_mi_rxmsg};
  msghdr msg{};
  for (;;) {
    std::memset(openflow_mi_rxmsg, 0, sizeof openflow_mi_rxmsg);
    name = pq6_addr{};
    mxl_cmsghdr hdr{12, SOL_PQ6, PQ6_CMSG_DONE};
    std::memset(control, 0, sizeof control);
    std::memcpy(control, &hdr, sizeof hdr);
    msg = pq6_msghdr(&name, &iov, control, sizeof control);
    ssize_t n = mxl_recvmsg(sock, &msg, sock == of_corvu_state.mi_sock ? MXL_MSG_DONTWAIT : 0);
    if (n > 0) {
      uint32_t slot = 0;
      int rc = of_get_mxl_src_slotid(&name, &slot);
      if (rc != 0) {
        file_printf("Unable to get src slot id, rc: %d", rc);
        msg_done(sock, msg, control);
        return rc;
      }
      of_corvu_state.mi.rx++;
      openflow_mi_rxsz = static_cast<uint32_t>(n);
      ofa_mi_handler_fn fn = of_corvu_state.mi_handler;
      bool open_gate = of_corvu_state.is_agent ? of_corvu_state.stage != OFA_STAGE_STANDBY
                                               : sock == of_corvu_state.mi_sock;
      if (fn && open_gate) fn(sock, slot, openflow_mi_rxmsg, openflow_mi_rxsz);
      // The datagrams taken with this one are handled now: the socket no longer shows them.
      if (mxl_pending(sock) == 0) return 0;
      continue;
    }
    if (n == 0) {
      file_printf("Eof message received");
      msg_done(sock, msg, control);
      of_corvu_state.mi.rx_eof++;
      return OFA_E_MI_RECV;
    }
    int err = errno;
    msg_done(sock, msg, control);
    switch (err) {
      case MXL_ERRNO_ERRQUEUE:
        of_process_mxl_err_queue(sock);
        file_printf("Err: %s", strerror(err));
        continue;
      case EINTR:
        file_printf("Err: %s", strerror(err));
        of_corvu_state.mi.rx_eintr++;
        continue;
      case EAGAIN:
        file_printf("Err: %s", strerror(err));
        of_corvu_state.mi.rx_eagain++;
        return 0;
      case EXDEV:
        file_printf("Err: %s", strerror(err));
        of_corvu_state.mi.rx_errno18++;
        return 0;
      default:
        of_corvu_state.mi.rx_other_err++;
        return OFA_E_MI_RECV;
    }
  }
}

int of_process_mxl_err_queue(int sock) {
  uint8_t data[kErrData];
  pq6_addr name{};
  uint8_t control[kCtlErr] = {};
  iovec iov{data, sizeof data};
  msghdr msg = pq6_msghdr(&name, &iov, control, sizeof control);
  mxl_recvmsg(sock, &msg, MXL_MSG_ERRQUEUE | MXL_MSG_DONTWAIT);
  if (msg.msg_controllen < sizeof(mxl_cmsghdr)) {
    file_printf("cmsg is NULL");
    return OFA_E_MI_RECV;
  }
  mxl_cmsghdr hdr;
  std::memcpy(&hdr, control, sizeof hdr);
  if (hdr.level != SOL_PQ6) {
    file_printf("cmsg level is not PQ6");
    return OFA_E_MI_RECV;
  }
  if (!(msg.msg_flags & MXL_MSG_ERRQUEUE)) {
    file_printf("MSG_ERRQUEUE flag not set in cmsg hdr");
    return OFA_E_MI_RECV;
  }
  // The error record behind the header; bytes the library did not fill read as zero.
  const uint8_t* rec = control + sizeof hdr;
  uint32_t code;
  pq6_addr offender;
  std::memcpy(&code, rec, sizeof code);
  std::memcpy(&offender, rec + 12, sizeof offender);
  char where[28];
  render_pq6_addr(offender, where);
  switch (code) {
    case PQ6_ERR_HIGH_THRESHOLD:
      file_printf("PQ6 Destination %s exceeded High threshold", where);
      break;
    case 5:
      break;
    case PQ6_ERR_INVALID_DEST:
      file_printf("Invalid PQ6 destination, addr = %s", where);
      break;
    default:
      file_printf("Unknown PQ6 error %d from %s", static_cast<int>(code), where);
      break;
  }
  return 0;
}

int of_get_mxl_src_slotid(const pq6_addr* addr, uint32_t* slot) {
  *slot = 0;
  if (addr->flags & (PQ6_FLAG_ACTIVE_MP | PQ6_FLAG_MP)) return 0;
  uint32_t from_one = 1;
  void* handle = nullptr;
  if (sysModInit(&handle) == 0) {
    sysCtrlGetSystemParameters(handle, &from_one);
    sysModClose(&handle);
  }
  for (uint32_t bit = 0; bit <= 10; ++bit) {
    if (addr->slot_mask & (1u << bit)) {
      *slot = bit + (from_one ? 1 : 0);
      return 0;
    }
  }
  file_printf("Unable to identify source slot in received MI msg");
  return 0;
}

int of_send_mxl_msg(int sock, int /*zero*/, const uint8_t* buffer, size_t size) {
  pq6_addr addr{};
  addr.family = AF_PQ6;
  std::snprintf(addr.name, sizeof addr.name, "%s",
                sock == of_corvu_state.mi_sock ? OFA_MI_SOCK_NAME : OFA_STATS_SOCK_NAME);
  addr.flags = of_corvu_state.is_agent ? PQ6_FLAG_ACTIVE_MP : PQ6_FLAG_ACTIVE;
  uint8_t control[16] = {};
  mxl_cmsghdr hdr{sizeof control, SOL_PQ6_SEND, PQ6_CMSG_SEND};
  std::memcpy(control, &hdr, sizeof hdr);
  iovec iov{const_cast<uint8_t*>(buffer), size};
  msghdr msg = pq6_msghdr(&addr, &iov, control, sizeof control);
  if (mxl_sendmsg(sock, &msg, MXL_MSG_DONTWAIT, size) < 0) {
    int err = errno;
    file_printf("Failed send MI message, error = %d (%s)", err, strerror(err));
    of_corvu_state.mi.tx_fail++;
    return OFA_E_MI_SEND;
  }
  of_corvu_state.mi.tx_ok++;
  return 0;
}

int ofa_send_to_mgr(uint32_t type, const uint8_t* body, size_t size) {
  if (!ofLookupSlot(openflowAgtPcb.my_slot)) {
    ofa_trace(OFAMSG, 3, 2, OFA_TR_MSG_NO_SLOT, "Failed to find my slot (%d) to send msg type %d\n",
              0, static_cast<int>(type));
    return OFA_E_BAD_OR_MISSING;
  }
  if (size > sizeof mi_txmsg - OFA_MSG_HDR_SIZE || size > 0xffff) {
    ofa_trace(OFAMSG, 3, 2, OFA_TR_MSG_TOO_LONG,
              "Msg type %d of length %d does not fit, not sent\n", static_cast<int>(type),
              static_cast<int>(size));
    return OFA_E_BAD_OR_MISSING;
  }
  std::memset(mi_txmsg, 0, sizeof mi_txmsg);
  ofa::wire::Writer w(mi_txmsg, sizeof mi_txmsg);
  w.u32(ofa_msg_hdr(type, static_cast<uint32_t>(size)));
  if (size) w.bytes({body, size});
  int rc = of_send_mxl_msg(of_corvu_state.mi_sock, 0, mi_txmsg, (size + 4) & 0xffff);
  ofa_trace(OFAMSG, 7, 3, OFA_TR_MSG_SENT, "Sent msg type %s(%d) of length %d\n",
            ofa_msg_type_name(type), static_cast<int>(type), static_cast<int>(size));
  return rc;
}

int ofa_send_register_msg() {
  int slot = static_cast<int>(openflowAgtPcb.my_slot);
  ofa_trace(OFAMSG, 5, 1, OFA_TR_REGISTER, "OFA register with OFM. My slot %d\n", slot);
  uint8_t* buf = ipc_get_buffer(8);
  if (!buf) {
    ofa_trace(OFAMSG, 3, 1, OFA_TR_REGISTER_ALLOC, "Register msg alloc NULL. My slot %d\n", slot);
    return OFA_E_BAD_OR_MISSING;
  }
  ofa::wire::Writer w(buf, 8);
  w.u32(ofa_msg_hdr(MXL_MSGTYPE_OPENFLOW_LP_REGISTER_EVENT, 4)).u32(openflowAgtPcb.my_slot);
  if (ofa_send_to_mgr(MXL_MSGTYPE_OPENFLOW_LP_REGISTER_EVENT, buf, 8) != 0) {
    ofa_trace(OFAMSG, 3, 1, OFA_TR_REGISTER_SEND, "IPC send failed: My slot %d\n", slot);
  }
  ipc_free_buffer(buf);
  return 0;
}

int of_mxl_process_stats_msg(int handle) {
  file_printf("Got stats response on handle %d", handle);
  return 0;
}

void of_mxl_close() {
  if (g_mi_read) {
    thread_cancel(g_mi_read);
    g_mi_read = nullptr;
  }
  if (of_corvu_state.mi_sock > 0) mxl_close(of_corvu_state.mi_sock);
  of_corvu_state.mi_sock = -1;
}

uint8_t* ipc_get_buffer(size_t size) {
  return static_cast<uint8_t*>(std::calloc(1, size));
}
void ipc_free_buffer(uint8_t* buf) {
  std::free(buf);
}
