// Show requests in process, as the main loop runs them: "flow all" over 1000 and 5000 flows (and
// over 6000, past the cap), "flow_tree", "chip all" and "vlan all" over an LP of two chips, 48
// OpenFlow ports and 100 VLANs of 48 members. Prints for each request the median time of the
// handler over several runs (the time the loop is held) and the reply's bytes. The chip behind
// the ioctl is the tests' fake, which accepts every request.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "adapter/tcam_id_pool.h"
#include "agent/agent_globals.h"
#include "agent/flow_record.h"
#include "agent_reset.h"
#include "chip/chip_table.h"
#include "chip/if_table.h"
#include "codec.h"
#include "debug/debug_handler.h"
#include "flow/flow_engine.h"
#include "platform/ifindex.h"
#include "ports/vlan_table.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr uint16_t kPorts = 48;
constexpr uint32_t kVlans = 100;
constexpr int kRuns = 7;

void setup() {
  ofa::test::reset_agent({.chips = 2});
  ofa::test::set_test_iivids();
  openflow_lp_init_tcam_id_pool();
  openflow_flow_db_init();
  openflow_vlan_init();
  g_openflow_lp.mode = OFA_MODE_GENERIC;
  for (uint32_t local : {0u, 1u})
    ofa::test::chip_up(1, local);
  std::vector<of_if_entry*> ports;
  for (uint16_t p = 1; p <= kPorts; ++p) {
    std::string name = "ethernet1/" + std::to_string(p);
    ports.push_back(ofProcessPortAdd(ofa::platform::port_ifindex(1, p), name.c_str(), p));
    ports.back()->of_enabled = 1;
  }
  for (uint32_t v = 1; v <= kVlans; ++v) {
    of_vlan_entry* vlan = of_process_vlan_add(v, 4010 + v, 8010 + v);
    for (of_if_entry* p : ports)
      of_process_add_port_to_vlan(p, vlan);
  }
}

// Flows up to `n`, each on one of the ports with two outputs and an exact MAC and IP match.
void grow_flows(uint32_t n) {
  for (uint32_t id = openflow_flow_count() + 1; id <= n; ++id) {
    ofa::mgr::FlowMsg m;
    m.flow_id = id;
    m.priority = id % 1000;
    m.in_port_id = static_cast<uint16_t>(1 + id % kPorts);
    m.wildcards = ofa::mgr::kWcAll & ~1u & ~OF_WC_ETHER_TYPE & ~0x8u & ~0x20000000u;
    m.ether_type = 0x0800;
    m.dst_mac = {0, 1, 2, 3, 4, static_cast<uint8_t>(id)};
    m.dest_ip = 0x0a000000 + id;
    m.dest_ip_mask = 0xffffffff;
    m.action_key = 0x10000 + id;
    for (uint16_t out : {uint16_t(1 + (id + 1) % kPorts), OF_PORT_CONTROLLER}) {
      ofa::mgr::FlowMember member;
      member.out_port_id = out;
      m.members.push_back(member);
    }
    auto body = ofa::mgr::encode_body(m);
    if (!body.ok() || openflow_generic_mode_add_flow(body.value()) != 1)
      std::fprintf(stderr, "flow %u not added\n", id);
  }
}

void measure(const char* request, const std::string& what) {
  std::vector<double> ms;
  std::string reply;
  for (int i = 0; i < kRuns; ++i) {
    auto t0 = Clock::now();
    ofa_debug_handler(request, &reply);
    ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - t0).count());
  }
  std::sort(ms.begin(), ms.end());
  std::printf("%-22s %-22s %10.3f %10zu\n", request, what.c_str(), ms[ms.size() / 2], reply.size());
}

}  // namespace

int main() {
  setup();
  std::printf("show requests in process (two chips, %u ports, %u VLANs of %u members)\n", kPorts,
              kVlans, kPorts);
  std::printf("%-22s %-22s %10s %10s\n", "request", "tables", "loop ms", "bytes");
  const std::string lp = std::to_string(kVlans + 1) + " VLANs";
  measure("chip all", "2 chips");
  measure("vlan all", lp);
  measure("port all", std::to_string(kPorts) + " ports");
  for (uint32_t n : {1000u, 5000u, 6000u}) {
    grow_flows(n);
    const std::string flows = std::to_string(n) + " flows";
    measure("flow all", flows);
    measure("flow_tree", flows);
  }
  return 0;
}
