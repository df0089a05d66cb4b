// The agent's hot paths: scheduler dispatch of events, timers and platform queue messages, the walk
// of a packed manager datagram, and the cost of a trace with and without the debug-log file.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "agent/thread.h"
#include "agent/trace.h"
#include "manager/msg_catalogue.h"
#include "platform/evrec.h"
#include "platform/msg_queue.h"
#include "platform/wire.h"

namespace {

int noop(thread*) {
  return 0;
}

struct Sched {
  lib_globals* zg = lib_create("bench");
  Sched() { zg->master = thread_master_create(); }
  ~Sched() { lib_stop(zg); }
  thread_master* m() const { return zg->master; }
  void run_one() {
    thread out{};
    if (thread_fetch(zg, &out)) thread_call(&out);
  }
};

void BM_EventDispatch(benchmark::State& state) {
  Sched s;
  for (auto _ : state) {
    thread_add_event(s.zg, noop, nullptr, 0);
    s.run_one();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_EventDispatch);

// N timers due at once, added then fired.
void BM_TimerAddAndFire(benchmark::State& state) {
  Sched s;
  const int n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    for (int i = 0; i < n; ++i)
      thread_add_timer(s.zg, noop, nullptr, 0);
    for (int i = 0; i < n; ++i)
      s.run_one();
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_TimerAddAndFire)->Arg(16)->Arg(1024);

void BM_QueueMessageDispatch(benchmark::State& state) {
  Sched s;
  MSG_Q_ID q = msgQCreate(16000, THREAD_MSGQ_BUF_SIZE, 0, "bench");
  msgQSetcb(q, 42, [](void*) {});
  msgQSetWakeup(q, thread_asp_wakeup, s.zg);
  thread_asp_start(s.zg, nullptr, q);
  uint8_t msg[20];
  msgq_message(msg, 42, 0, 0);
  for (auto _ : state) {
    msgQSend(q, msg, sizeof msg);
    s.run_one();  // the wake-up pipe's read unit or the message
    if (s.m()->queue_middle.count) s.run_one();
  }
  state.SetItemsProcessed(state.iterations());
  msgQDelete(q);
}
BENCHMARK(BM_QueueMessageDispatch);

void handler(uint32_t, const uint8_t* msg, int, uint32_t) {
  benchmark::DoNotOptimize(msg[0]);
}

// A datagram packed with N 316-byte flow operations.
void BM_DatagramWalk(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  std::vector<uint8_t> d(static_cast<size_t>(n) * 320);
  ofa::wire::Writer w(d);
  for (int i = 0; i < n; ++i)
    w.u32(ofa_msg_hdr(7, 316)).zeros(316);
  ofa_set_msg_handler(7, handler);
  uint32_t saved[OFA_TRACE_MODULES];
  for (uint32_t m = 0; m < OFA_TRACE_MODULES; ++m)
    saved[m] = openflow_agt_debug[m];
  openflow_agt_debug[OFAMSG] = 0;  // traces below the level: the word copy only
  for (auto _ : state) {
    benchmark::DoNotOptimize(ofa_process_mi_msg(1, 0, d.data(), static_cast<uint32_t>(d.size())));
  }
  for (uint32_t m = 0; m < OFA_TRACE_MODULES; ++m)
    openflow_agt_debug[m] = saved[m];
  ofa_set_msg_handler(7, nullptr);
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(d.size()));
}
BENCHMARK(BM_DatagramWalk)->Arg(1)->Arg(25);

// One emitted trace: to the ring only (0), to the ring and the debug-log file (1), or with the
// file's bit set and OFA_DEBUG_LOG=off (2), which must cost what 0 costs.
void BM_Trace(benchmark::State& state) {
  std::string path = "/tmp/ofa_bench_trace_" + std::to_string(getpid());
  setenv("OFA_DEBUG_LOG", state.range(0) == 2 ? "off" : path.c_str(), 1);
  openflowAgt_trace_init();
  debugOpenflow = state.range(0) ? OFA_DEBUG_FILE : 0;
  for (auto _ : state) {
    ofa_trace(OFAMSG, 7, 3, 10001, "Received msg type %s(%d) of len %d\n", "FLOW", 7, 320);
  }
  openflowAgt_trace_exit();
  evrec_exit();
  std::remove(path.c_str());
  unsetenv("OFA_DEBUG_LOG");
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Trace)->Arg(0)->Arg(1)->Arg(2);

}  // namespace

BENCHMARK_MAIN();
