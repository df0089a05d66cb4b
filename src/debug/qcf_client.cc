#include "debug/qcf_client.h"

#include <cstdio>
#include <span>
#include <string>

#include "agent/agent_globals.h"
#include "agent/status.h"
#include "agent/thread.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "debug/sched_show.h"
#include "platform/qcf.h"

namespace {

constexpr int kDebugChannelFd = 0;  // the scheduler's low-priority fd slot of the debug channel

int ofa_sched_handler(std::span<const uint8_t> /*msg*/, std::string* reply) {
  *reply = ofa_show_sched(thread_stats_get(openflowAgtPcb.lib));
  return OFA_OK;
}

// The answer of each request code.
constexpr struct {
  uint32_t code;
  qcf_msg_handler_fn fn;
} kHandlers[] = {
    {OFA_QCF_SCHED, ofa_sched_handler},
};

void ofa_qcf_fault(const char* what) {
  ofa_trace(OFACORE, 5, 0, OFA_TR_QCF_CLIENT_FAULT, "%s", what);
}

int ofa_qcf_channel_read(thread* t) {
  dce_qcf_client_process(THREAD_FD(t));
  thread_add_read(t->zg, ofa_qcf_channel_read, nullptr, THREAD_FD(t));
  return OFA_OK;
}

}  // namespace

int ofa_qcf_init(int argc, char** argv) {
  int bpid = ham_get_bpid(argc, argv);
  if (bpid == -1) bpid = 0;
  char name[32];
  std::snprintf(name, sizeof name, "ofagt_p%d", bpid);
  qcf_client_set_post_to_main_thread_function(dce_qcf_client_post_msg);
  qcf_client_set_fault_function(ofa_qcf_fault);
  int fd = dce_qcf_client_init_comm_channel();
  if (fd >= 0) {
    thread_add_read(openflowAgtPcb.lib, ofa_qcf_channel_read, nullptr, fd);
    thread_set_low_priority_fd(openflowAgtPcb.lib, kDebugChannelFd, fd);
  }
  for (const auto& h : kHandlers)
    add_client_message_handler(h.code, h.fn);
  int rc = qcf_initialize_client(name);
  if (rc == 0) {
    file_printf("OF agent successfully initialized as lumen client");
  } else {
    file_printf("OF agent failed to initialize as lumen client, rc: %d", rc);
  }
  return OFA_OK;
}

void ofa_qcf_exit() {
  qcf_client_shutdown();
}
