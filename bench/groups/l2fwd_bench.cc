// The L2 forwarding table in process: 100,000 (IIVID, MAC) keys, each used by two groups. The
// first user's add reaches both chips of the model (behind the ioctl, as a kernel call would be),
// the second user's stays in the table; the first user's delete leaves the entry to the second,
// whose delete frees it and reaches the chips. Keys go in a shuffled order (fixed seed). Prints
// per phase the operations, their rate and the model's share of the time, with the debug log off,
// then on.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "agent/agent_globals.h"
#include "agent/top/openflow_agt_main.h"
#include "agent/trace.h"
#include "bench_agent.h"
#include "chip/if_table.h"
#include "control/platform_config.h"
#include "groups_meters/l2fwd_table.h"
#include "model/model.h"
#include "platform/ifindex.h"
#include "platform/platform_file.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kPlatform =
    "[switch]\nmodel = 131\nhw_profile = 7\nl2_tcam_size = 2048\nl3_tcam_size = 2048\n"
    "my_slot = 1\n[resources]\nmgid_start = 8000\nmgid_end = 12186\niivid_min = 4000\n"
    "iivid_max = 8186\n[ports]\ncount = 48\n[slot 1]\nchip.0.type = 1\nchip.0.ports = 1-24\n"
    "chip.1.type = 1\nchip.1.ports = 25-48\n";
constexpr uint32_t kKeys = 100000;
constexpr uint16_t kPort = 5;

std::unique_ptr<ofa::chipsim::Model> g_model;
Clock::duration g_model_time{};
uint64_t g_requests = 0;

int model_ioctl(int, uint8_t* buf, uint32_t len, uint32_t cap) {
  auto t0 = Clock::now();
  size_t n = g_model->ioctl(std::span<uint8_t>(buf, cap), len);
  g_model_time += Clock::now() - t0;
  ++g_requests;
  return n > 0 ? 0 : -1;
}

bool start_agent() {
  auto parsed = ofa::platform::parse_platform(kPlatform, "bench");
  auto* p = std::get_if<ofa::platform::Platform>(&parsed);
  if (!p) return false;
  g_model = std::make_unique<ofa::chipsim::Model>(ofa::chipsim::model_config(*p));
  if (!bench_start_agent(kPlatform, model_ioctl)) return false;
  of_if_entry* e = ofProcessPortAdd(ofa::platform::port_ifindex(1, kPort), "bench", kPort);
  if (e) e->of_enabled = 1;
  openflow_init(OFA_MODE_GENERIC);
  return true;
}

struct Key {
  uint32_t iivid;
  of_mac mac;
};

struct Phase {
  const char* name;
  int want;  // the result every operation of the phase must give
  uint32_t group;
  bool add;
};

void run(const char* log) {
  if (!start_agent()) {
    std::fprintf(stderr, "agent start failed\n");
    std::exit(1);
  }
  if (std::string(log) == "on") {
    openflowAgt_trace_init();
    openflow_ofa_debug_init();
  }
  std::vector<Key> keys(kKeys);
  for (uint32_t i = 0; i < kKeys; ++i)
    keys[i] = {4000 + i % 1000, {2, 0, 0, uint8_t(i >> 16), uint8_t(i >> 8), uint8_t(i)}};
  std::shuffle(keys.begin(), keys.end(), std::mt19937(7));
  const Phase phases[] = {{"first user add", 0, 1, true},
                          {"second user add", 0, 2, true},
                          {"first user delete", OFA_E_IN_USE, 1, false},
                          {"last user delete", 0, 2, false}};
  double total_ms = 0;
  for (const Phase& ph : phases) {
    g_model_time = {};
    g_requests = 0;
    uint32_t wrong = 0;
    auto t0 = Clock::now();
    for (const Key& k : keys) {
      int rc = ph.add ? of_process_of_add_l2fwd_entry(ph.group, k.iivid, k.mac, kPort)
                      : of_process_of_del_l2fwd_entry(ph.group, k.iivid, k.mac, kPort);
      wrong += rc != ph.want;
    }
    double ms = std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
    total_ms += ms;
    double model_ms = std::chrono::duration<double, std::milli>(g_model_time).count();
    std::printf("%-18s %-4s %8u %9.1f %12.0f %8lu %6.1f%% %6u\n", ph.name, log, kKeys, ms,
                kKeys / (ms / 1e3), static_cast<unsigned long>(g_requests), 100 * model_ms / ms,
                wrong);
  }
  std::printf("%-18s %-4s %8u %9.1f %12.0f   entries left %u\n", "all", log, 4 * kKeys, total_ms,
              4 * kKeys / (total_ms / 1e3), of_get_ivid_mac_count());
  openflow_destroy();
}

}  // namespace

int main() {
  std::printf("L2 forwarding table in process (ard, two chips, chip model behind the ioctl)\n");
  std::printf("%-18s %-4s %8s %9s %12s %8s %7s %6s\n", "phase", "log", "ops", "ms", "ops/s",
              "requests", "model", "wrong");
  run("off");
  std::string path = "/tmp/ofa_l2fwd_bench_log";
  setenv("OFA_DEBUG_LOG", path.c_str(), 1);
  run("on");
  openflowAgt_trace_exit();
  struct stat st {};
  if (stat(path.c_str(), &st) == 0)
    std::printf("debug log: %ld bytes\n", static_cast<long>(st.st_size));
  unlink(path.c_str());
  return 0;
}
