#include "debug/qcf_client.h"

#include <cstdio>
#include <span>
#include <string>

#include "agent/agent_globals.h"
#include "agent/status.h"
#include "agent/thread.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "debug/debug_handler.h"
#include "debug/sched_show.h"
#include "platform/qcf.h"

namespace {

constexpr int kDebugChannelFd = 0;  // the scheduler's low-priority fd slot of the debug channel

int ofa_sched_handler(std::span<const uint8_t> /*msg*/, std::string* reply) {
  *reply = ofa_show_sched(thread_stats_get(openflowAgtPcb.lib));
  return OFA_OK;
}

// The request's text, behind the code.
std::string request_text(std::span<const uint8_t> msg) {
  return msg.size() > 4 ? std::string(msg.begin() + 4, msg.end()) : std::string();
}

std::string debug_word() {
  char text[32];
  std::snprintf(text, sizeof text, "debugOpenflow 0x%08x", debugOpenflow);
  return text;
}

int ofa_show_handler(std::span<const uint8_t> msg, std::string* reply) {
  return ofa_debug_handler(request_text(msg).c_str(), reply);
}

int ofa_debug_text_handler(std::span<const uint8_t> msg, std::string* reply) {
  openflow_ofa_debug_handler(request_text(msg).c_str());
  *reply = debug_word();
  return OFA_OK;
}

// The connection follows the debug channel; its first answer is the debug word, so that the
// client sees whether bit 17 is on.
int ofa_follow_handler(std::span<const uint8_t> /*msg*/, std::string* reply) {
  *reply = debug_word();
  return QCF_FOLLOW;
}

// The answer of each request code.
constexpr struct {
  uint32_t code;
  qcf_msg_handler_fn fn;
} kHandlers[] = {
    {OFA_QCF_SHOW, ofa_show_handler},
    {OFA_QCF_DEBUG_TEXT, ofa_debug_text_handler},
    {OFA_QCF_FOLLOW, ofa_follow_handler},
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
  ofa_trace_set_debug_channel(qcf_client_publish);
  int rc = qcf_initialize_client(name);
  if (rc == 0) {
    file_printf("OF agent successfully initialized as lumen client");
  } else {
    file_printf("OF agent failed to initialize as lumen client, rc: %d", rc);
  }
  return OFA_OK;
}

void ofa_qcf_exit() {
  ofa_trace_set_debug_channel(nullptr);
  qcf_client_shutdown();
}
