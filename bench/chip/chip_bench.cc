// Round trip of a chip request from the agent's transport to the simulator and back: over the
// HSL command socket to a running ofa-chipsim, and in process against the chip model library.
// Prints requests per second and microseconds per request.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <deque>
#include <memory>
#include <string>
#include <thread>

#include "adapter/chip_up.h"
#include "adapter/tcam_id_pool.h"
#include "agent/agent_globals.h"
#include "chip/chip_req.h"
#include "chip/chip_table.h"
#include "chip/hsl_transport.h"
#include "control/platform_config.h"
#include "model/model.h"
#include "platform/ifindex.h"
#include "platform/system.h"

namespace {

constexpr uint32_t kChip = 0x84400000;  // slot 1, chip 0 of the default platform: flat id 0

std::unique_ptr<ofa::chipsim::Model> g_model;

int model_ioctl(int, uint8_t* buf, uint32_t len, uint32_t cap) {
  return g_model->ioctl(std::span<uint8_t>(buf, cap), len) > 0 ? 0 : -1;
}

// The agent side of an `ard` LP in slot 1 of the default platform.
void agent_globals() {
  openflowAgtPcb.model = 131;
  openflowAgtPcb.my_slot = 1;
  openflowAgtPcb.hw.of_flags = OF_PROFILE;
  openflowAgtPcb.hw.l2tcam_size = ofa_sys_platform().l2_tcam_size;
  openflowAgtPcb.hw.l3tcam_size = ofa_sys_platform().l3_tcam_size;
  of_corvu_state.is_agent = 1;
  ofInitSlotTable();
  ofInitChipTable();
}

// Regions and default entries on the chip, as a warm chip up makes them (no module is
// registered here, so the table add alone sends nothing).
bool chip_up() {
  of_chip_entry* c = ofLookupChip(0);
  if (!c) {
    of_chip_event_record rec;
    rec.event = OF_HSL_EVENT_CHIP_UP;
    rec.slot = 1;
    rec.ifindex = kChip;
    if (ofProcessChipAdd(&rec, 0) != 0) return false;
    c = ofLookupChip(0);
  }
  if (!c) return false;
  c->l2_size = openflowAgtPcb.hw.l2tcam_size - 24;
  c->l3_size = openflowAgtPcb.hw.l3tcam_size - 24;
  ofa_region_del(c);
  return ofa_region_add(c) == 0 && ofa_setup_default_tcam_entries(c) == 0;
}

// A running ofa-chipsim on a temporary run directory, the command socket connected to it.
struct Simulator {
  pid_t pid = -1;
  std::string dir;
  bool up = false;

  Simulator() {
    char tmpl[] = "/tmp/ofa_chip_bench_XXXXXX";
    if (!mkdtemp(tmpl)) return;
    dir = tmpl;
    setenv("OFA_RUN_DIR", dir.c_str(), 1);
    pid = fork();
    if (pid == 0) {
      int null = open("/dev/null", O_WRONLY);
      dup2(null, 1);
      dup2(null, 2);
      execl(OFA_CHIPSIM_BIN, "ofa-chipsim", "--no-auto-events", static_cast<char*>(nullptr));
      _exit(127);
    }
    std::string cmd = dir + "/hsl/cmd.1";
    struct stat st {};
    for (int i = 0; i < 500 && stat(cmd.c_str(), &st) != 0; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ofNLSetIoctlHook(nullptr);
    ofNLSocketInit(&ofHslCmdSock, "ofHslCmd", nullptr);
    up = ofNLSocket(&ofHslCmdSock, OF_NL_CLIENT_CMD) == 0;
  }
  ~Simulator() {
    if (ofHslCmdSock.fd >= 0) ofNLClose(&ofHslCmdSock);
    if (pid > 0) {
      kill(pid, SIGTERM);
      waitpid(pid, nullptr, 0);
    }
    if (!dir.empty()) std::system(("rm -rf '" + dir + "'").c_str());
  }
};

using Clock = std::chrono::steady_clock;

// Requests per second and microseconds per request, by the wall clock of the whole loop.
void report(benchmark::State& state, uint64_t requests, Clock::time_point start) {
  double us = std::chrono::duration<double, std::micro>(Clock::now() - start).count();
  if (requests == 0 || us <= 0) return;
  state.counters["req_per_s"] = requests / (us / 1e6);
  state.counters["us_per_req"] = us / static_cast<double>(requests);
}

// One update of the L2 default entry per iteration: 84 bytes out, the reply in place.
void run_update(benchmark::State& state) {
  of_l2_result r;
  r.fwd_action = 2;
  r.flags = OF_L2_FLAG_ACTION_VALID;
  uint64_t n = 0;
  auto start = Clock::now();
  for (auto _ : state) {
    uint32_t len = of_build_l2flow_upd_req(ofNLReqArea(), 1, OF_REGION_DEFAULT, r);
    if (ofCosIoctl(kChip, nullptr, len, nullptr, &len) != 0) {
      state.SkipWithError("request refused");
      break;
    }
    ++n;
  }
  report(state, n, start);
}

// An L2 flow entry added and deleted again per iteration: two requests, 184 and 36 bytes.
void run_add_delete(benchmark::State& state) {
  of_l2flow_params p;
  p.handle = 100;
  p.region = OF_REGION_FLOW;
  p.key.iivid = 5;
  p.key.valid = OF_L2_VALID_IIVID;
  uint64_t n = 0;
  auto start = Clock::now();
  for (auto _ : state) {
    uint32_t len = of_build_l2flow_req(ofNLReqArea(), p);
    int rc = ofCosIoctl(kChip, nullptr, len, nullptr, &len);
    len = of_build_flow_del_req(ofNLReqArea(), OF_CMD_L2FLOW_DEL, p.handle, OF_REGION_FLOW);
    rc |= ofCosIoctl(kChip, nullptr, len, nullptr, &len);
    if (rc != 0) {
      state.SkipWithError("request refused");
      break;
    }
    n += 2;
  }
  report(state, n, start);
}

void BM_Socket_DefaultEntryUpdate(benchmark::State& state) {
  Simulator sim;
  agent_globals();
  if (!sim.up || !chip_up()) {
    state.SkipWithError("no simulator");
    return;
  }
  run_update(state);
}

void BM_Socket_FlowAddDelete(benchmark::State& state) {
  Simulator sim;
  agent_globals();
  if (!sim.up || !chip_up()) {
    state.SkipWithError("no simulator");
    return;
  }
  run_add_delete(state);
}

void in_process_model() {
  g_model = std::make_unique<ofa::chipsim::Model>(ofa::chipsim::model_config(ofa_sys_platform()));
  g_model->set_error_log([](const std::string& l) { fprintf(stderr, "%s\n", l.c_str()); });
  ofNLSetIoctlHook(model_ioctl);
  agent_globals();
}

void BM_InProcess_DefaultEntryUpdate(benchmark::State& state) {
  in_process_model();
  if (!chip_up()) {
    state.SkipWithError("chip up failed");
    return;
  }
  run_update(state);
  ofNLSetIoctlHook(nullptr);
}

void BM_InProcess_FlowAddDelete(benchmark::State& state) {
  in_process_model();
  if (!chip_up()) {
    state.SkipWithError("chip up failed");
    return;
  }
  run_add_delete(state);
  ofNLSetIoctlHook(nullptr);
}

// The cost of building a request alone, for comparison.
void BM_BuildL2FlowRequest(benchmark::State& state) {
  of_l2flow_params p;
  p.handle = 100;
  p.region = OF_REGION_FLOW;
  for (auto _ : state)
    benchmark::DoNotOptimize(of_build_l2flow_req(ofNLReqArea(), p));
}

// A TCAM id pool in steady use: 10000 handles out; each iteration gives back the oldest one and
// draws a new one (the order flows come and go in).
void BM_TcamIdPoolCheckinCheckout(benchmark::State& state) {
  of_id_list* l = create_list(OF_TCAM_ID_FIRST, OF_TCAM_ID_END);
  std::deque<uint32_t> out;
  for (int i = 0; i < 10000; ++i)
    out.push_back(checkout_new_id(l));
  for (auto _ : state) {
    checkin_id(l, out.front());
    out.pop_front();
    out.push_back(checkout_new_id(l));
  }
  free_id_list(l);
}

BENCHMARK(BM_Socket_DefaultEntryUpdate)->Unit(benchmark::kMicrosecond)->MinTime(0.5)->UseRealTime();
BENCHMARK(BM_Socket_FlowAddDelete)->Unit(benchmark::kMicrosecond)->MinTime(0.5)->UseRealTime();
BENCHMARK(BM_InProcess_DefaultEntryUpdate)
    ->Unit(benchmark::kMicrosecond)
    ->MinTime(0.5)
    ->UseRealTime();
BENCHMARK(BM_InProcess_FlowAddDelete)->Unit(benchmark::kMicrosecond)->MinTime(0.5)->UseRealTime();
BENCHMARK(BM_BuildL2FlowRequest);
BENCHMARK(BM_TcamIdPoolCheckinCheckout);

}  // namespace

BENCHMARK_MAIN();
