// The statistics tick in process: the flow poll, the meter walk and the queue read, the `ard`
// handlers and the transport, with the chip model of ofa-chipsim behind the ioctl as a kernel call
// would be, and the messages counted at the agent's send (a manager that drains at once). For
// each size it runs a full pass (flows / 100 ticks, at least 4) with new traffic before each tick,
// so that every flow read is pushed and every meter has a record, and prints the worst and median
// tick, each step's share of the ticks, the model's share, and whether the meter walk ended in
// every tick. With --socket the same runs go over the command socket to the simulator's server
// in a thread of this process, as they would to ofa-chipsim (the model's share is then not
// measured). Flows: half L2 on port 3, half L3 on port 4, up to 8144 (the two flow regions of
// chip 0 full), the rest on a port of another slot (database only); 48 local ports.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "adapter/chip_up.h"
#include "adapter/tcam_id_pool.h"
#include "agent/agent_globals.h"
#include "agent/flow_record.h"
#include "agent/reset.h"
#include "agent_reset.h"
#include "chip/chip_table.h"
#include "chip/hsl_transport.h"
#include "chip/if_table.h"
#include "codec.h"
#include "control/platform_config.h"
#include "flow/flow_engine.h"
#include "groups_meters/meter.h"
#include "messages.h"
#include "model/model.h"
#include "platform/ifindex.h"
#include "platform/platform_file.h"
#include "platform/system.h"
#include "platform/wire.h"
#include "server/server.h"
#include "stats/stats.h"

namespace {

using Clock = std::chrono::steady_clock;
using ms = std::chrono::duration<double, std::milli>;

constexpr const char* kPlatform =
    "[switch]\nmodel = 131\nhw_profile = 7\nl2_tcam_size = 4096\nl3_tcam_size = 4096\n"
    "my_slot = 1\n[resources]\npolicer_start = 1\npolicer_end = 3960\n[ports]\ncount = 96\n"
    "[slot 1]\nchip.0.type = 1\nchip.0.ports = 1-24\nchip.1.type = 1\nchip.1.ports = 25-48\n"
    "[slot 2]\nchip.0.type = 1\nchip.0.ports = 1-48\n";
constexpr uint32_t kOnChip = 8144;
constexpr uint16_t kL2Port = 3, kL3Port = 4, kRemotePort = 60, kOutPort = 5;

ofa::chipsim::Model* g_model = nullptr;
Clock::duration g_model_time{};
uint32_t g_records = 0, g_messages = 0;

int model_ioctl(int, uint8_t* buf, uint32_t len, uint32_t cap) {
  auto t0 = Clock::now();
  size_t n = g_model->ioctl(std::span<uint8_t>(buf, cap), len);
  g_model_time += Clock::now() - t0;
  return n > 0 ? 0 : -1;
}

int count_send(const uint8_t* msg, uint32_t size) {
  ofa::wire::Reader r(msg, size);
  ++g_messages;
  if (r.u32_at(0) >> 22 == 4) g_records += r.u32_at(4);
  return 0;
}

bool start_agent() {
  ofa::test::reset_agent({.chips = 2});
  auto parsed = ofa::platform::parse_platform(kPlatform, "bench");
  auto* p = std::get_if<ofa::platform::Platform>(&parsed);
  if (!p) return false;
  ofa_sys_set(*p);  // the test platform's chips, with larger TCAMs and policers from 1
  static ofa::chipsim::Model* owned = nullptr;
  delete owned;
  owned = g_model = new ofa::chipsim::Model(ofa::chipsim::model_config(*p));
  ofNLSetIoctlHook(model_ioctl);
  openflowAgtPcb.hw.l2tcam_size = openflowAgtPcb.hw.l3tcam_size = 4096;
  openflowAgtPcb.hw.policer_start = 1;
  openflow_lp_init_tcam_id_pool();
  openflow_flow_db_init();
  if (!openflow_lp_meter_init() || !ofa_stats_init()) return false;
  openflow_init_completed = 1;
  g_openflow_lp.mode = OFA_MODE_GENERIC;
  if (ofa::test::chip_up(1, 0) != 0 || ofa::test::chip_up(1, 1) != 0) return false;
  for (uint16_t id = 1; id <= 48; ++id) {
    of_if_entry* e = ofProcessPortAdd(ofa::platform::port_ifindex(1, id), "bench", id);
    if (!e) return false;
    e->of_enabled = 1;
    e->of_l3_type = e->l3_mode = id == kL3Port ? 1 : 0;
  }
  if (of_if_entry* e = ofProcessPortAdd(ofa::platform::port_ifindex(2, 12), "bench", kRemotePort))
    e->of_enabled = 1;
  ofa_stats_send = count_send;
  return true;
}

bool add_flow(uint32_t i) {
  ofa::mgr::FlowMsg m;
  m.flow_id = i + 1;
  m.in_port_id = i >= kOnChip ? kRemotePort : i % 2 ? kL3Port : kL2Port;
  m.wildcards = ofa::mgr::kWcAll & ~1u & ~OF_WC_ETHER_TYPE;
  m.ether_type = 0x0800;
  m.priority = i;
  m.action_key = 0x10000 + i;
  m.stats_flag = 1;
  ofa::mgr::FlowMember out;
  out.out_port_id = kOutPort;
  m.members.push_back(out);
  auto r = ofa::mgr::encode_body(m);
  return r.ok() && openflow_generic_mode_add_flow(r.value()) == 1;
}

struct Figures {
  uint32_t ticks = 0, failed = 0, records = 0, messages = 0;
  double worst = 0, median = 0, flows = 0, meters = 0, queues = 0, model = 0;
  bool meters_in_one_tick = true;
};

// The simulator's server over the model, in a thread, and the agent's command socket to it.
struct SocketChip {
  explicit SocketChip(ofa::chipsim::Model& m)
      : control{m, nullptr, {1}, {}, 0}, server(m, control, {1, false, 0}) {}
  bool start() {
    if (server.open()) return false;
    thread = std::thread([this] { server.run(stop); });
    ofNLSetIoctlHook(nullptr);
    uint32_t size = 0;
    ofNLSocketInit(&ofHslCmdSock, "ofHslCmd", &size);
    return ofNLSocket(&ofHslCmdSock, OF_NL_CLIENT_CMD) == 0;
  }
  ~SocketChip() {
    if (ofHslCmdSock.fd >= 0) ofNLClose(&ofHslCmdSock);
    stop = true;
    if (thread.joinable()) thread.join();
  }
  ofa::chipsim::Control control;
  ofa::chipsim::Server server;
  std::atomic<bool> stop{false};
  std::thread thread;
};

bool g_socket = false;

Figures run(uint32_t flows, uint32_t meters) {
  Figures f;
  if (!start_agent()) {
    std::fprintf(stderr, "agent start failed\n");
    std::exit(1);
  }
  for (uint32_t id = 1; id <= meters; ++id) {
    if (!lp_openflow_generic_add_meter({OFM_ADD_METER, id, 0, 1000, 0, 0, 0, 0, 1})) ++f.failed;
    openflow_inc_meter_flow_count(id);
  }
  for (uint32_t i = 0; i < flows; ++i)
    if (!add_flow(i)) ++f.failed;
  std::optional<SocketChip> socket;
  if (g_socket && !socket.emplace(*g_model).start()) {
    std::fprintf(stderr, "no command socket to the simulator\n");
    std::exit(1);
  }
  f.ticks = std::max<uint32_t>(4, (flows + 99) / 100);
  std::vector<double> ticks;
  double total = 0, model_ms = 0;
  for (uint32_t t = 0; t < f.ticks; ++t) {
    g_model->traffic_all(1, 64);
    g_model_time = {};
    g_records = 0;
    uint32_t out = 0;
    auto t0 = Clock::now();
    lp_openflow_poll_stats_counters(100, &out);
    auto t1 = Clock::now();
    lp_openflow_sync_meter_statistics();
    auto t2 = Clock::now();
    openflow_ofa_sync_queue_stats();
    auto t3 = Clock::now();
    f.flows += ms(t1 - t0).count();
    f.meters += ms(t2 - t1).count();
    f.queues += ms(t3 - t2).count();
    model_ms += ms(g_model_time).count();
    ticks.push_back(ms(t3 - t0).count());
    total += ticks.back();
    if (g_records != meters) f.meters_in_one_tick = false;
  }
  f.records = g_records;
  f.messages = g_messages / f.ticks;
  g_messages = 0;
  std::sort(ticks.begin(), ticks.end());
  f.worst = ticks.back();
  f.median = ticks[ticks.size() / 2];
  f.flows *= 100 / total, f.meters *= 100 / total, f.queues *= 100 / total;
  f.model = 100 * model_ms / total;
  openflow_delete_all_flows();
  return f;
}

}  // namespace

int main(int argc, char** argv) {
  g_socket = argc > 1 && std::string(argv[1]) == "--socket";
  char dir[] = "/tmp/ofa_stats_bench_XXXXXX";
  if (g_socket && (!mkdtemp(dir) || setenv("OFA_RUN_DIR", dir, 1) != 0)) return 1;
  std::printf("statistics tick (ard, two chips, 48 ports, chip model %s)\n",
              g_socket ? "over the command socket" : "behind the ioctl");
  std::printf("%-7s %-7s %6s %9s %9s %7s %7s %7s %7s %8s %9s %6s\n", "flows", "meters", "ticks",
              "worst ms", "median", "flows%", "meters%", "queues%", "model%", "msgs/tk",
              "walk in 1", "failed");
  for (uint32_t meters : {0u, 3960u})
    for (uint32_t flows : {0u, 1000u, 8144u, 65536u}) {
      Figures f = run(flows, meters);
      std::printf("%-7u %-7u %6u %9.3f %9.3f %6.1f%% %6.1f%% %6.1f%% %6.1f%% %8u %9s %6u\n", flows,
                  meters, f.ticks, f.worst, f.median, f.flows, f.meters, f.queues, f.model,
                  f.messages, f.meters_in_one_tick ? "yes" : "no", f.failed);
    }
  if (g_socket) std::filesystem::remove_all(dir);
  return 0;
}
