// The walk of a received manager datagram. Byte 0 of the input is the source slot, the rest is
// the datagram. The agent registers no handler of its own yet, so every manager-to-agent type gets
// one that copies its payload (a length past the datagram is caught there) and checks that the
// payload lies within the datagram. Traces go to the debug log in a temporary folder, which is
// started afresh every few hundred inputs so it stays small.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "agent/debug_log.h"
#include "agent/trace.h"
#include "manager/msg_catalogue.h"

namespace {

void check(bool ok) {
  if (!ok) __builtin_trap();
}

const uint8_t* g_begin = nullptr;
const uint8_t* g_end = nullptr;
uint32_t g_slot = 0;
std::vector<uint8_t> g_copy;
std::string g_dir;
std::string g_log;

void record(uint32_t len, const uint8_t* msg, int sock, uint32_t slot) {
  check(sock == 5 && slot == g_slot);
  check(msg >= g_begin && msg <= g_end && len <= static_cast<size_t>(g_end - msg));
  g_copy.assign(msg, msg + len);
}

constexpr uint32_t kManagerToAgent[] = {
    MSGTYPE_OPENFLOW_CONFIG,          MSGTYPE_OPENFLOW_SYNC_COMPLETE,
    MSGTYPE_OPENFLOW_METER_OPERATION, MSGTYPE_OPENFLOW_FLOW_OPERATION,
    MSGTYPE_OPENFLOW_PORT_VLAN_UPD,   MSGTYPE_OPENFLOW_GROUP_OPERATION,
    MSGTYPE_OPENFLOW_VLAN_IVID_UPD,   MXL_MSGTYPE_OPENFLOW_EVT_OPERATION,
};

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
  for (uint32_t type : kManagerToAgent)
    check(ofa_set_msg_handler(type, record) == 0);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static unsigned inputs = 0;
  if (++inputs % kInputsPerLog == 0) restart_log();
  if (size == 0) return 0;
  g_slot = data[0];
  g_begin = data + 1;
  g_end = data + size;
  int rc = ofa_process_mi_msg(5, g_slot, g_begin, static_cast<uint32_t>(size - 1));
  check(rc == 0 || rc == -119);
  return 0;
}
