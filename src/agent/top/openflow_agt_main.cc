// The daemon's life: command line, start-up order, the worker thread, the main loop, the exits.
#include "agent/top/openflow_agt_main.h"

#include <getopt.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "adapter/tcam_id_pool.h"
#include "agent/agent_globals.h"
#include "agent/status.h"
#include "agent/top/rsm.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "chip/hsl_transport.h"
#include "chip/if_table.h"
#include "chip/nl_module.h"
#include "debug/qcf_client.h"
#include "foundation/kprintf.h"
#include "manager/dispatch/dispatch.h"
#include "manager/msg_catalogue.h"
#include "manager/mxl.h"
#include "platform/asp.h"
#include "platform/evrec.h"
#include "platform/rsmd.h"
#include "platform/run_dir.h"
#include "platform/system.h"
#include "platform/wire.h"
#include "stats/stats.h"

namespace {

constexpr const char* kOptions = "S:s:d:v:c:m:i:g:";
constexpr uint8_t kProtocolWord = 63;

volatile sig_atomic_t g_signal = 0;
wt* g_worker = nullptr;

void on_stop_signal(int sig) {
  g_signal = sig;
  thread_master_stop(openflowAgtPcb.lib);
}

// The process name: the record's 80 bytes carry no terminator when the name fills them.
std::string pcb_name() {
  return std::string(openflowAgtPcb.name, strnlen(openflowAgtPcb.name, sizeof openflowAgtPcb.name));
}

// Copies at most `width` bytes of src and zero-fills the rest; a text that fills the field keeps no
// terminator inside it.
void copy_field(char* dst, size_t width, const char* src) {
  size_t n = strnlen(src, width);
  std::memcpy(dst, src, n);
  std::memset(dst + n, 0, width - n);
}

void parse_options(int argc, char** argv) {
  opterr = 0;
  optind = 1;
  int c;
  while ((c = getopt(argc, argv, kOptions)) != -1) {
    switch (c) {
      case 'S':
        copy_field(of_corvu_state.rsm_svc, sizeof of_corvu_state.rsm_svc, optarg);
        break;
      case 's':
        copy_field(of_corvu_state.rsm_inst, sizeof of_corvu_state.rsm_inst, optarg);
        setMySwitch(static_cast<int>(std::strtol(optarg, nullptr, 10)));
        break;
      case 'g':
        of_corvu_state.rsm_group = static_cast<int32_t>(std::strtol(optarg, nullptr, 10));
        break;
      case 'd':
        file_printf("\n ************* Executing in Debug Dev mode ******** \n");
        break;
      default:  // -v, -c, -m, -i and unknown options: accepted and ignored
        break;
    }
  }
}

int ofa_stats_timer(thread* t) {
  ofa_stats_tick();
  thread_add_timer_msec(t->zg, ofa_stats_timer, nullptr, ofa_stats_period_ms());
  std::fflush(stdout);
  return 0;
}

// Frees what start-up made; the platform's restart story does not need it, a clean stop does.
void release_all() {
  ofa_qcf_exit();
  of_mxl_close();
  for (ofNLSock* sock : {&ofHslCmdSock, &ofHslEventSock, &ofHslMgrSock}) {
    if (sock->fd >= 0) ofNLClose(sock);
  }
  rsmd_shutdown();
  ioss_destroy(openflowAgtPcb.ipc_ioss);
  ioss_destroy(openflowAgtPcb.timer_ioss);
  evio_destroy(openflowAgtPcb.evio_handle);
  openflowAgtPcb.ipc_ioss = openflowAgtPcb.timer_ioss = nullptr;
  openflowAgtPcb.evio_handle = nullptr;
  openflow_destroy();
  openflowAgt_trace_exit();
  if (of_corvu_state.lib) lib_stop(of_corvu_state.lib);
  of_corvu_state.lib = openflowAgtPcb.lib = nullptr;
  msgQDelete(of_corvu_state.msgq);
  of_corvu_state.msgq = nullptr;
}

}  // namespace

void openflowAgt_msgq_server(void* msg) {
  ofa::wire::Reader r(msg, THREAD_MSGQ_BUF_SIZE);
  file_printf("%s Message received %d \n", pcb_name().c_str(), r.u8_at(4));
}

int openflowAgt_ipc_hdlr(uint32_t /*id*/, const ipc_src* src, const uint8_t* msg, size_t len) {
  ofa::wire::Reader r(msg, len);
  file_printf("IPC: %s called val 0x%x\n", __func__, r.u32_at(4));
  uint8_t answer[4];
  ofa::wire::Writer(answer, sizeof answer).u32(0xbaadbabe);
  ipcSend(src, answer, sizeof answer);
  evrec_log2("IPC: %s called", __func__);
  return 0;
}

int openflowAgt_corvu_init() {
  const std::string name_text = pcb_name();
  const char* name = name_text.c_str();
  uint32_t model = sysconModel();
  openflowAgtPcb.model = of_corvu_state.model = model;

  lib_globals* lib = lib_create(name);
  if (!lib) {
    file_printf("OPENFLOW: KBL lib_create failed\n");
    return OFA_E_GENERIC;
  }
  openflowAgtPcb.lib = of_corvu_state.lib = lib;
  lib->protocol = kProtocolWord;
  lib->master = thread_master_create();
  if (lib_start(lib) < 0) {
    file_printf("OPENFLOW: KBL lib_start failed\n");
    return OFA_E_LIB_START;
  }
  tvr_sigdefaults("openflowagtd");
  std::signal(SIGPIPE, SIG_IGN);

  of_corvu_state.msgq = msgQCreate(16000, THREAD_MSGQ_BUF_SIZE, 0, "openflowAgt_mq");
  if (!of_corvu_state.msgq) {
    file_printf("openflowAgt_msgq_init() failed (error %d)\n", OFA_E_GENERIC);
    return OFA_E_GENERIC;
  }
  openflow_lp_init_tcam_id_pool();
  file_printf("%s:: openflow_msgq_init Done..\n", name);
  msgQSetWakeup(of_corvu_state.msgq, thread_asp_wakeup, lib);

  int rc = openflowRsmInit();
  if (rc < 0) {
    file_printf("openflowAgtRsmInit() failed (error %d)\n", rc);
    return OFA_E_GENERIC;
  }
  file_printf("%s:: openflowAgtRsmInit Done..\n", name);
  // The library's system parameters are the platform's, loaded before start-up; the printing
  // library's "%P" names ports through them.
  ksprintf_set_port_name_fn([](uint32_t port, char* name, size_t size) {
    return l3_get_ifname_from_port_num(port, name, size) == 0;
  });

  rc = ofa_get_hw_resrc_info();
  if (rc < 0) {
    ofa_trace(OFACORE, 1, 1, OFA_TR_HW_RESOURCE_FAILED,
              "OPENFLOW Agent get hw resource failed (error %d)", rc);
    return OFA_E_GENERIC;
  }
  ofa_trace(OFACORE, 7, 0, OFA_TR_HW_RESOURCE_DONE, "OPENFLOW Agent get hw resource done");

  ofNLInit();  // without a simulator this fails and the agent runs on without chips
  ofa_trace(OFACORE, 7, 0, OFA_TR_NETLINK_INIT_DONE, "OPENFLOW Agent Netlink Init done");

  rc = evio_create(&openflowAgtPcb.evio_handle);
  if (rc != 0) {
    std::fprintf(stderr, "%s: EVIO worker thread spawn failed, rc:%d\n", name, rc);
    return OFA_E_WORKER;
  }
  rc = timer_ioss_create(&openflowAgtPcb.timer_ioss, evio_wakeup, openflowAgtPcb.evio_handle);
  if (rc != 0) {
    std::fprintf(stderr, "%s: Timer IOSS initialization failed, rc:%d\n", name, rc);
    return OFA_E_WORKER;
  }
  rc = ipc_ioss_create(&openflowAgtPcb.ipc_ioss, "IPCOPENFLOWAGT", 0, ipc_max_msg_size(0), 1);
  if (rc != 0) {
    std::fprintf(stderr, "%s: IPC IOSS initialization failed, rc:%d\n", name, rc);
    return OFA_E_WORKER;
  }
  rc = evio_register(openflowAgtPcb.evio_handle, openflowAgtPcb.ipc_ioss);
  if (rc != 0) {
    std::fprintf(stderr, "%s: Failed to register IPC IOSS with EVIO, rc:%d\n", name, rc);
    return OFA_E_WORKER;
  }
  rc = evio_register(openflowAgtPcb.evio_handle, openflowAgtPcb.timer_ioss);
  if (rc != 0) {
    std::fprintf(stderr, "%s: Failed to register Timer IOSS with EVIO, rc:%d\n", name, rc);
    return OFA_E_WORKER;
  }
  ipcRegisterCB(0, openflowAgt_ipc_hdlr, nullptr);
  return 0;
}

int openflowAgt_local_main(int argc, char** argv) {
  const std::string name_text = pcb_name();
  const char* name = name_text.c_str();
  if (ofa_qcf_init(argc, argv) == 0) {
    file_printf("OPENFLOWAG: Qcf-Client Initialized\n");
  } else {
    file_printf("OPENFLOWAG: Qcf-Client Initialization failed \n");
  }
  int rc = ASPInit(name, getMySwitch(), 0, 0, 0);
  if (rc != 0) {
    std::fprintf(stderr, "%s: ASP/IOT initialization failed, rc:%d\n", name, rc);
    return OFA_E_PROCESS;
  }
  thread_asp_start(openflowAgtPcb.lib, openflowAgt_msgq_server, of_corvu_state.msgq);
  int started = wt_exec(evio_run, openflowAgtPcb.evio_handle, &g_worker);
  if (started < 0) {
    std::fprintf(stderr, "%s: EVIO worker thread startup failed, rc:%d\n", name, started);
    return OFA_E_WORKER;
  }
  // The signals that end a run by hand are caught only once the loop can hear them.
  std::signal(SIGTERM, on_stop_signal);
  std::signal(SIGINT, on_stop_signal);
  thread unit{};
  while (thread_fetch(openflowAgtPcb.lib, &unit))
    thread_call(&unit);
  std::fprintf(stderr, "%s: Exiting\n", name);
  evio_stop(openflowAgtPcb.evio_handle);
  wt_join(g_worker);
  g_worker = nullptr;
  ASPExit();
  return started;
}

void openflowAgt_parse_command_line(int argc, char** argv) {
  openflowAgtPcb.state = &of_corvu_state;
  of_corvu_state.is_agent = 1;
  of_corvu_state.mi_sock = -1;
  of_corvu_state.rsm_handle = -1;
  const char* base = std::strrchr(argv[0], '/');
  base = base ? base + 1 : argv[0];
  copy_field(openflowAgtPcb.name, sizeof openflowAgtPcb.name, base);
  std::memcpy(of_corvu_state.rsm_atom, "openflowagt", 12);
  parse_options(argc, argv);
}

int openflow_agt_main(int argc, char** argv) {
  openflowAgt_parse_command_line(argc, argv);
  file_printf("\n ************* Begin OFA trace ******** \n");

  std::string error;
  if (ofa_sys_load(&error) != 0) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return OFA_EXIT_PLATFORM;
  }
  if (auto refused = ofa::platform::check_run_dir()) {
    std::fprintf(stderr, "%s\n", refused->c_str());
    return OFA_EXIT_PLATFORM;
  }
  int rc = openflowAgt_corvu_init();
  if (rc < 0) return rc;

  g_openflow_lp.mode = OFA_MODE_GENERIC;
  g_openflow_lp.default_action = OFA_DEFAULT_ACTION_DROP;
  openflow_init(OFA_MODE_GENERIC);
  rc = openflowAgt_trace_init();
  if (rc < 0) return rc;
  for (uint32_t m = 0; m < OFA_TRACE_MODULES; ++m)
    openflowAgtPcb.trace[m] = ofa_trace_handle(m);
  ofa_trace(OFACORE, 8, 0, OFA_TR_TRACE_INITIALIZED, "OPENFLOW Agent main: Trace Initialized");

  ofRegisterNLModule();
  of_register_mxl_module(ofa_process_mi_msg);
  ofa_register_dispatch({openflow_destroy, openflow_init});
  ofa_register_agent();
  ofInitIfTable();
  thread_add_timer_msec(openflowAgtPcb.lib, ofa_stats_timer, nullptr, ofa_stats_period_ms());

  rc = openflowAgt_local_main(argc, argv);
  if (g_signal != 0) {
    const ofa_mi_counters& mi = of_corvu_state.mi;
    file_printf(
        "openflowAgtd stopped by signal %d; manager socket: received %u, sent %u, "
        "send failures %u",
        static_cast<int>(g_signal), mi.rx, mi.tx_ok, mi.tx_fail);
    release_all();
    evrec_exit();
    return 0;
  }
  file_printf("openflowAgtd exiting with error 0x%08x", static_cast<unsigned>(rc));
  evrec_exit();
  return OFA_E_GENERIC;
}
