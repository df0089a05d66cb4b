// Flow adds in process: the flow engine, the `ard` handlers and the transport, with the chip
// model of ofa-chipsim behind the ioctl as a kernel call would be. For each size and priority
// order it prints the cost of an add (and the model's share of it), the latency percentiles, the
// agent's heap per flow (a pass against a chip that keeps nothing) and the time of DELETE_FLOWS;
// then, for the random order, what the structures whose shape is fixed cost an add: a lookup in
// the flow id table, a search of the flow table and of the chip's tree (the descent an add makes
// in each), each replayed over the flows just added, and the 289-port walk of a generic add.
// Each add reads its datagram from one receive buffer, where the socket would leave it; the copy
// there is not timed. Flows beyond the 49999 the chip holds go to a port of another slot
// (database only). Run with the debug log off unless --log-at names a size to repeat with the log
// on.
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <variant>
#include <vector>

#include "adapter/chip_up.h"
#include "adapter/tcam_id_pool.h"
#include "agent/agent_globals.h"
#include "agent/debug_log.h"
#include "agent/flow_record.h"
#include "agent/reset.h"
#include "agent/trace.h"
#include "bench_agent.h"
#include "chip/chip_flow_tree.h"
#include "chip/chip_table.h"
#include "chip/hsl_transport.h"
#include "chip/if_table.h"
#include "codec.h"
#include "control/platform_config.h"
#include "flow/flow_engine.h"
#include "flow/flow_hw.h"
#include "flow/flow_table.h"
#include "messages.h"
#include "model/model.h"
#include "platform/ifindex.h"
#include "platform/platform_file.h"
#include "platform/system.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kPlatform =
    "[switch]\nmodel = 131\nhw_profile = 7\nl2_tcam_size = 50023\nl3_tcam_size = 50023\n"
    "my_slot = 1\n[ports]\ncount = 48\n[slot 1]\nchip.0.type = 1\nchip.0.ports = 1-24\n"
    "chip.1.type = 1\nchip.1.ports = 25-48\n[slot 2]\nchip.0.type = 1\nchip.0.ports = 1-48\n";
constexpr uint32_t kOnChip = 49999;
constexpr uint16_t kLocalPort = 3;
constexpr uint16_t kRemotePort = 100;
constexpr uint16_t kOutPort = 5;

ofa::chipsim::Model* g_model = nullptr;
bool g_log_on = false;  // the debug log as the agent starts it
Clock::duration g_model_time{};

int model_ioctl(int, uint8_t* buf, uint32_t len, uint32_t cap) {
  auto t0 = Clock::now();
  size_t n = g_model->ioctl(std::span<uint8_t>(buf, cap), len);
  g_model_time += Clock::now() - t0;
  return n > 0 ? 0 : -1;
}

// Bytes the heap has handed out: what the agent keeps, whatever the allocator reuses.
size_t heap_in_use() {
  return mallinfo2().uordblks;
}

// A chip that accepts every request and keeps nothing: the memory pass counts the agent alone.
int accepting_ioctl(int, uint8_t* buf, uint32_t len, uint32_t) {
  constexpr uint32_t kStatus = 72;
  if (len >= kStatus + 4) std::fill(buf + kStatus, buf + kStatus + 4, uint8_t{0});
  return 0;
}

void port(uint16_t id, uint32_t slot, uint32_t fp) {
  of_if_entry* e = ofProcessPortAdd(ofa::platform::port_ifindex(slot, fp), "bench", id);
  if (e) e->of_enabled = 1;
}

// A fresh agent: two local chips up in the model, a local and a remote OpenFlow port.
bool start_agent(ofa::chipsim::Model** model) {
  ofa_reset_all();
  auto parsed = ofa::platform::parse_platform(kPlatform, "bench");
  auto* p = std::get_if<ofa::platform::Platform>(&parsed);
  if (!p) return false;
  ofa_sys_set(*p);
  static ofa::chipsim::Model* owned = nullptr;
  delete owned;
  owned = new ofa::chipsim::Model(ofa::chipsim::model_config(*p));
  *model = g_model = owned;
  ofNLSetIoctlHook(model_ioctl);
  openflowAgtPcb.model = 131;
  openflowAgtPcb.my_slot = 1;
  openflowAgtPcb.hw.of_flags = OF_PROFILE;
  openflowAgtPcb.hw.l2tcam_size = openflowAgtPcb.hw.l3tcam_size = 50023;
  ofInitSlotTable();
  ofInitChipTable();
  ofInitIfTable();
  openflow_modules[OF_MODULE_AGT].chip_up = ofa_chip_up;
  openflow_lp_init_tcam_id_pool();
  openflow_flow_db_init();
  g_openflow_lp.mode = OFA_MODE_GENERIC;
  if (!bench_chips_up(2)) return false;
  port(kLocalPort, 1, kLocalPort);
  port(kOutPort, 1, kOutPort);
  port(kRemotePort, 2, 4);
  return true;
}

std::vector<std::vector<uint8_t>> messages(uint32_t n, const std::string& order) {
  std::mt19937 rng(7);
  std::vector<std::vector<uint8_t>> out;
  out.reserve(n);
  for (uint32_t i = 0; i < n; ++i) {
    ofa::mgr::FlowMsg m;
    m.flow_id = i + 1;
    m.in_port_id = i < kOnChip ? kLocalPort : kRemotePort;
    m.wildcards = ofa::mgr::kWcAll & ~1u & ~OF_WC_ETHER_TYPE;
    m.ether_type = 0x0800;
    m.priority = order == "ascending" ? i : order == "descending" ? n - i : rng();
    m.action_key = 0x10000 + i;
    m.stats_flag = 1;
    ofa::mgr::FlowMember out_member;
    out_member.out_port_id = kOutPort;
    m.members.push_back(out_member);
    auto r = ofa::mgr::encode_body(m);
    out.push_back(r.ok() ? r.value() : std::vector<uint8_t>{});
  }
  return out;
}

struct Figures {
  double us_per_add = 0, model_share = 0, p50 = 0, p99 = 0, bytes_per_flow = 0, delete_ms = 0;
  uint32_t failed = 0;
  // us per add: the id table, the flow table, the chip tree; us per generic add: the port walk.
  double id_table = 0, flow_table = 0, chip_tree = 0, generic_walk = 0;
};

double us_since(Clock::time_point t0) {
  return std::chrono::duration<double, std::micro>(Clock::now() - t0).count();
}

// What the fixed structures cost an add, replayed over the flows just added, in their order: a
// lookup of each id, and in each tree a search for a pair beside each flow's own (its id with the
// top bit flipped), which descends to a leaf as the add's search did. Each step's key takes a zero
// drawn from the step before, so that the steps wait for each other as the parts of one add do,
// instead of overlapping.
void structure_costs(uint32_t n, Figures* f) {
  static volatile uintptr_t zero_source = 0;
  const uintptr_t zero = zero_source;
  std::vector<fd_entry*> flows(n);
  for (uint32_t i = 0; i < n; ++i)
    flows[i] = openflow_lookup_flow_by_id(i + 1);
  uintptr_t chained = 0;  // 0, through the last answer
  auto step = [&](const void* answer) { chained = reinterpret_cast<uintptr_t>(answer) & zero; };
  auto beside = [&](const fd_entry* flow) {
    return static_cast<uint32_t>((flow->flow_id ^ 0x80000000u) + chained);
  };
  auto t0 = Clock::now();
  for (uint32_t i = 0; i < n; ++i)
    step(openflow_lookup_flow_by_id(static_cast<uint32_t>(i + 1 + chained)));
  f->id_table = us_since(t0) / n;
  t0 = Clock::now();
  for (fd_entry* flow : flows)
    step(of_lookup_flow(flow->priority, beside(flow)));
  f->flow_table = us_since(t0) / n;
  of_chip_entry* chip = ofLookupIfEntrybyPortId(kLocalPort)->chip;
  t0 = Clock::now();
  for (uint32_t i = 0; i < std::min(n, kOnChip); ++i) {
    const of_chip_flow_node *lower = nullptr, *higher = nullptr;
    of_chip_avl_lookup_neighbours(of_flow_tree_kind::l2, chip, flows[i]->priority, beside(flows[i]),
                                  &lower, &higher);
    step(lower ? lower : higher);
  }
  f->chip_tree = us_since(t0) / n;
  constexpr uint32_t kWalks = 1000;
  t0 = Clock::now();
  for (uint32_t i = 0; i < kWalks; ++i)
    of_walk_generic_ports(
        flows[i % n], [](uint16_t, fd_entry*) { return 1; }, false);
  f->generic_walk = us_since(t0) / kWalks;
}

Figures run(uint32_t n, const std::string& order) {
  Figures f;
  ofa::chipsim::Model* model = nullptr;
  if (!start_agent(&model)) {
    std::fprintf(stderr, "agent start failed\n");
    std::exit(1);
  }
  if (g_log_on) {
    openflowAgt_trace_init();
    openflow_ofa_debug_init();
  }
  auto msgs = messages(n, order);
  {
    // Memory: the same adds against a chip that keeps nothing, then DELETE_FLOWS.
    ofNLSetIoctlHook(accepting_ioctl);
    size_t before = heap_in_use();
    for (const auto& m : msgs)
      openflow_generic_mode_add_flow(m);
    f.bytes_per_flow = static_cast<double>(heap_in_use() - before) / n;
    openflow_delete_all_flows();
    ofNLSetIoctlHook(model_ioctl);
  }
  std::vector<double> lat;
  lat.reserve(n);
  g_model_time = {};
  std::vector<uint8_t> rx;
  rx.reserve(4096);
  double total = 0;
  for (const auto& m : msgs) {
    rx.assign(m.begin(), m.end());
    auto a = Clock::now();
    if (openflow_generic_mode_add_flow(rx) != 1) ++f.failed;
    lat.push_back(us_since(a));
    total += lat.back();
  }
  f.us_per_add = total / n;
  f.model_share = 100.0 * std::chrono::duration<double, std::micro>(g_model_time).count() / total;
  std::sort(lat.begin(), lat.end());
  f.p50 = lat[lat.size() / 2];
  f.p99 = lat[std::min(lat.size() - 1, lat.size() * 99 / 100)];
  if (order == "random") structure_costs(n, &f);
  auto d0 = Clock::now();
  openflow_delete_all_flows();
  f.delete_ms = std::chrono::duration<double, std::milli>(Clock::now() - d0).count();
  const auto& st = model->stats();
  if (st.placement_violations() != 0)
    std::fprintf(stderr, "placement violations: %" PRIu64 "\n", st.placement_violations());
  return f;
}

std::vector<uint32_t> parse_sizes(const char* text) {
  std::vector<uint32_t> out;
  for (const char* p = text; *p;) {
    out.push_back(static_cast<uint32_t>(std::strtoul(p, const_cast<char**>(&p), 10)));
    if (*p == ',') ++p;
  }
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<uint32_t> sizes = {1000, 10000, 49999, 200000};
  std::vector<std::string> orders = {"ascending", "descending", "random"};
  std::vector<std::pair<uint32_t, Figures>> shares;
  uint32_t log_at = 0;
  for (int i = 1; i + 1 < argc; i += 2) {
    std::string a = argv[i];
    if (a == "--sizes") sizes = parse_sizes(argv[i + 1]);
    if (a == "--orders") orders = {argv[i + 1]};
    if (a == "--log-at") log_at = static_cast<uint32_t>(std::atoi(argv[i + 1]));
  }
  std::printf("flow adds in process (ard, chip model behind the ioctl, debug log off)\n");
  std::printf("%-8s %-10s %9s %9s %7s %8s %8s %9s %10s %6s\n", "flows", "order", "us/add", "adds/s",
              "model%", "p50 us", "p99 us", "B/flow", "delete ms", "failed");
  for (uint32_t n : sizes)
    for (const std::string& order : orders) {
      Figures f = run(n, order);
      std::printf("%-8u %-10s %9.2f %9.0f %6.1f%% %8.2f %8.2f %9.0f %10.1f %6u\n", n, order.c_str(),
                  f.us_per_add, 1e6 / f.us_per_add, f.model_share, f.p50, f.p99, f.bytes_per_flow,
                  f.delete_ms, f.failed);
      if (order == "random") shares.emplace_back(n, f);
    }
  std::printf(
      "\nrandom order, us per add and share of it: a lookup by flow id (4097 chains, and\n"
      "their index), a descent of the flow table and of the chip's tree (AVL trees);\n"
      "the 289-port walk of one generic add\n");
  std::printf("%-8s %9s %16s %16s %16s %12s\n", "flows", "us/add", "id table", "flow table",
              "chip tree", "port walk");
  for (const auto& [n, f] : shares)
    std::printf("%-8u %9.2f %9.3f %5.1f%% %9.3f %5.1f%% %9.3f %5.1f%% %9.3f us\n", n, f.us_per_add,
                f.id_table, 100 * f.id_table / f.us_per_add, f.flow_table,
                100 * f.flow_table / f.us_per_add, f.chip_tree, 100 * f.chip_tree / f.us_per_add,
                f.generic_walk);
  if (log_at) {
    std::string path = "/tmp/ofa_flow_bench_log";
    setenv("OFA_DEBUG_LOG", path.c_str(), 1);
    g_log_on = true;
    Figures f = run(log_at, "random");
    std::printf("%-8u %-10s %9.2f %9.0f %6.1f%% %8.2f %8.2f   (debug log on)\n", log_at, "random",
                f.us_per_add, 1e6 / f.us_per_add, f.model_share, f.p50, f.p99);
    openflowAgt_trace_exit();
    unlink(path.c_str());
  }
  return 0;
}
