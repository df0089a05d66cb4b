// Ports and VLANs in process: 48 OpenFlow ports, 4094 VLANs, every port in every VLAN (196,512
// memberships), then a global disable; each message through its handler, the ports engine, the
// `ard` handlers and the transport, against a chip that accepts every request and keeps nothing.
// Prints per phase the operations, their rate and the chip requests per second; with --log, the
// same again with the debug log on.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "agent/agent_globals.h"
#include "agent/top/openflow_agt_main.h"
#include "agent/trace.h"
#include "bench_agent.h"
#include "chip/hsl_transport.h"
#include "chip/if_table.h"
#include "codec.h"
#include "manager/dispatch/dispatch.h"
#include "messages.h"
#include "platform/ifindex.h"

namespace {

using Clock = std::chrono::steady_clock;
namespace mgr = ofa::mgr;

constexpr const char* kPlatform =
    "[switch]\nmodel = 131\nhw_profile = 7\nl2_tcam_size = 2048\nl3_tcam_size = 2048\n"
    "my_slot = 1\n[resources]\nmgid_start = 8000\nmgid_end = 12186\niivid_min = 4000\n"
    "iivid_max = 8186\n[ports]\ncount = 48\n[slot 1]\nchip.0.type = 1\nchip.0.ports = 1-24\n"
    "chip.1.type = 1\nchip.1.ports = 25-48\n";
constexpr uint16_t kPorts = 48;
constexpr uint32_t kVlans = 4094;

uint64_t g_requests = 0;

int accepting_ioctl(int, uint8_t* buf, uint32_t len, uint32_t) {
  constexpr uint32_t kStatus = 72;
  if (len >= kStatus + 4) std::fill(buf + kStatus, buf + kStatus + 4, uint8_t{0});
  ++g_requests;
  return 0;
}

bool start_agent() {
  if (!bench_start_agent(kPlatform, accepting_ioctl)) return false;
  openflow_init(OFA_MODE_GENERIC);
  return true;
}

std::vector<uint8_t> body(const mgr::Message& m) {
  auto r = mgr::encode_body(m);
  return r.ok() ? r.value() : std::vector<uint8_t>{};
}

using Handler = void (*)(uint32_t, const uint8_t*, int, uint32_t);

struct Phase {
  const char* name;
  uint64_t ops = 0, requests = 0;
  double ms = 0;
};

template <typename Fn>
Phase timed(const char* name, uint64_t ops, Fn fn) {
  uint64_t r0 = g_requests;
  auto t0 = Clock::now();
  fn();
  return {name, ops, g_requests - r0,
          std::chrono::duration<double, std::milli>(Clock::now() - t0).count()};
}

void deliver(Handler h, const std::vector<std::vector<uint8_t>>& msgs) {
  for (const auto& m : msgs)
    h(static_cast<uint32_t>(m.size()), m.data(), 0, 0);
}

std::vector<Phase> run(bool with_log) {
  if (!start_agent()) {
    std::fprintf(stderr, "agent start failed\n");
    std::exit(1);
  }
  if (with_log) openflow_ofa_debug_init();  // the reset took the log's bit away
  std::vector<std::vector<uint8_t>> ports, vlans, members;
  for (uint16_t p = 1; p <= kPorts; ++p) {
    mgr::ConfigMsg m;
    m.sub_cmd = OFM_CONFIG_INTERFACE;
    m.add = 1;
    m.ports.set(p);
    m.pvid = 4004;
    m.if_name = "ethernet1/" + std::to_string(p);
    m.if_index = ofa::platform::port_ifindex(1, p);
    m.def_nhop_id = 100 + p;
    ports.push_back(body(m));
  }
  for (uint32_t v = 1; v <= kVlans; ++v)
    vlans.push_back(body(mgr::VlanMsg{OFM_ADD_VLAN, 4010 + v, v}));
  for (uint32_t v = 1; v <= kVlans; ++v)
    for (uint16_t p = 1; p <= kPorts; ++p)
      members.push_back(body(mgr::PortVlanMsg{OFM_ADD_PORT_VLAN, p, v}));
  std::vector<Phase> out;
  out.push_back(
      timed("port enable", ports.size(), [&] { deliver(openflow_lp_process_config_data, ports); }));
  out.push_back(timed("VLAN add", vlans.size(),
                      [&] { deliver(openflow_lp_process_vlan_iivid_update, vlans); }));
  out.push_back(timed("membership", members.size(),
                      [&] { deliver(openflow_lp_process_port_vlan_update, members); }));
  out.push_back(timed("openflow disable", 1, [] { openflow_destroy(); }));
  return out;
}

void print(const std::vector<Phase>& phases, const char* log) {
  double total = 0;
  for (const Phase& p : phases) {
    total += p.ms;
    std::printf("%-17s %-4s %8lu %10.1f %12.0f %10lu %12.0f\n", p.name, log,
                static_cast<unsigned long>(p.ops), p.ms, p.ops / (p.ms / 1e3),
                static_cast<unsigned long>(p.requests), p.requests / (p.ms / 1e3));
  }
  std::printf("%-17s %-4s %8s %10.1f\n", "all", log, "", total);
}

}  // namespace

int main(int argc, char** argv) {
  bool with_log = argc > 1 && std::string(argv[1]) == "--log";
  std::printf("ports and VLANs in process (ard, two chips, a chip that accepts every request)\n");
  std::printf("%-17s %-4s %8s %10s %12s %10s %12s\n", "phase", "log", "ops", "ms", "ops/s",
              "requests", "requests/s");
  print(run(false), "off");
  if (with_log) {
    std::string path = "/tmp/ofa_ports_bench_log";
    setenv("OFA_DEBUG_LOG", path.c_str(), 1);
    openflowAgt_trace_init();
    openflow_ofa_debug_init();
    print(run(true), "on");
    openflowAgt_trace_exit();
    unlink(path.c_str());
  }
  return 0;
}
