// The walk of a received manager datagram. Byte 0 of the input is the source slot, the rest is
// the datagram. The agent registers no handler of its own yet, so every manager-to-agent type gets
// one that copies its payload (a length past the datagram is caught there) and checks that the
// payload lies within the datagram. The calls must be exactly the whole messages in front of the
// first bad type or cut message, in order, and -119 must mean a bad type. Traces go to the debug
// log in a temporary folder, which is started afresh every few hundred inputs so it stays small.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

#include "agent/debug_log.h"
#include "agent/trace.h"
#include "manager/msg_catalogue.h"
#include "platform/wire.h"
#include "tool_checks.h"

namespace {

using ofa::fuzz::check;

const uint8_t* g_begin = nullptr;
const uint8_t* g_end = nullptr;
uint32_t g_slot = 0;
std::vector<uint8_t> g_copy;
std::string g_dir;
std::string g_log;

struct Call {
  uint32_t type;
  size_t offset;  // of the payload in the datagram
  uint32_t len;
  bool operator==(const Call&) const = default;
};
std::vector<Call> g_calls;

template <uint32_t Type>
void record(uint32_t len, const uint8_t* msg, int sock, uint32_t slot) {
  check(sock == 5 && slot == g_slot);
  check(msg >= g_begin && msg <= g_end && len <= static_cast<size_t>(g_end - msg));
  g_copy.assign(msg, msg + len);
  g_calls.push_back({Type, static_cast<size_t>(msg - g_begin), len});
}

// The calls a datagram must give, and the walk's result.
int expected_calls(std::span<const uint8_t> d, std::vector<Call>& out) {
  ofa::wire::Reader r(d);
  while (r.remaining() > 0) {
    if (!r.has(OFA_MSG_HDR_SIZE)) return 0;
    uint32_t hdr = r.u32();
    uint32_t type = ofa_msg_hdr_type(hdr);
    uint32_t len = ofa_msg_hdr_len(hdr);
    if (type > OFA_MSGTYPE_MAX) return -119;
    if (!r.has(len)) return 0;
    if (ofa_msg_handlers[type].handler) out.push_back({type, r.offset(), len});
    r.skip(len);
  }
  return 0;
}

template <uint32_t... Types>
void set_handlers() {
  (check(ofa_set_msg_handler(Types, record<Types>) == 0), ...);
}

void cleanup() {
  openflowAgt_trace_exit();
  std::remove(g_log.c_str());
  rmdir(g_dir.c_str());
}

// A fresh debug log (and its head) in the temporary folder.
void restart_log() {
  ofa_debug_log_close();
  std::remove(g_log.c_str());
  check(ofa_debug_log_open(g_log) == 0);
}

constexpr unsigned kInputsPerLog = 256;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  char tmpl[] = "/tmp/ofa_mi_walk_fuzz_XXXXXX";
  check(mkdtemp(tmpl) != nullptr);
  g_dir = tmpl;
  g_log = g_dir + "/log";
  setenv("OFA_DEBUG_LOG", g_log.c_str(), 1);
  check(openflowAgt_trace_init() == 0);
  std::atexit(cleanup);
  set_handlers<MSGTYPE_OPENFLOW_CONFIG, MSGTYPE_OPENFLOW_SYNC_COMPLETE,
               MSGTYPE_OPENFLOW_METER_OPERATION, MSGTYPE_OPENFLOW_FLOW_OPERATION,
               MSGTYPE_OPENFLOW_PORT_VLAN_UPD, MSGTYPE_OPENFLOW_GROUP_OPERATION,
               MSGTYPE_OPENFLOW_VLAN_IVID_UPD, MXL_MSGTYPE_OPENFLOW_EVT_OPERATION>();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static unsigned inputs = 0;
  if (++inputs % kInputsPerLog == 0) restart_log();
  if (size == 0) return 0;
  g_slot = data[0];
  g_begin = data + 1;
  g_end = data + size;
  g_calls.clear();
  int rc = ofa_process_mi_msg(5, g_slot, g_begin, static_cast<uint32_t>(size - 1));
  std::vector<Call> want;
  check(rc == expected_calls(std::span<const uint8_t>(g_begin, g_end), want));
  check(g_calls == want);
  return 0;
}
