// The statistics tick against the fake HSL, two chips in slot 1: the bytes of the three messages,
// the 100-a-tick limit at 100 flows and at the table's end, the chip whose answer a flow takes,
// sends that fail, what a meter walk kept across ticks may still read, and the clear batches. The
// cursor's resumption, the meter records' batches of 25, the 50 ms limit and the queues of every
// local port at every tick are checked by tests/integration/stats/ticks.scn. What the agent pushes
// is caught at its send.
#include <string>
#include <utility>
#include <vector>

#include "agent/flow_record.h"
#include "agent/timebase.h"
#include "agent/top/openflow_agt_main.h"
#include "chip/chip_req.h"
#include "chip/chip_table.h"
#include "flow/flow_engine.h"
#include "flow/flow_list.h"
#include "flow_env.h"
#include "groups_meters/meter.h"
#include "hex.h"
#include "platform/wire.h"
#include "stats/stats.h"

namespace {

using ofa::test::sparse;
using ids = std::vector<uint32_t>;

constexpr uint32_t kRead = 0x06270000, kClear = 0x06270001, kChip0 = 0x84400000;

// What the chips count: flow handle h has h * g_traffic packets and bytes, seven times that on
// chip 0, the last of the table; each policer key has conform 1000 and exceed 200 on instance 0,
// 500 and 100 on instance 1.
uint64_t g_traffic = 1;
uint64_t g_now = 0, g_step = 0;
uint64_t clock_ms() {
  return g_now += g_step;
}
std::vector<std::vector<uint8_t>> g_sent;
int g_send_rc = 0;
int capture(const uint8_t* msg, uint32_t size) {
  g_sent.emplace_back(msg, msg + size);
  return g_send_rc;
}

void answer(size_t index, std::span<uint8_t> area) {
  ofa::wire::Reader r(area);
  if (r.u32_at(0) != kRead) return;
  uint32_t cls = r.u32_at(28), n = r.u16_at(34);
  uint64_t chip_scale = ofa::test::fake_hsl().requests[index].target == kChip0 ? 7 : 1;
  ofa::wire::Writer w(area);
  for (uint32_t k = 0; k < n; ++k) {
    if (cls == OF_STATS_CLASS_POLICER) {
      uint32_t at = of_stats_result_offset(12 * n, n, 32, k);
      w.u64_at(at + 8, k % 2 ? 500 : 1000);
      w.u64_at(at + 24, k % 2 ? 100 : 200);
    } else if (cls != OF_STATS_CLASS_QUEUE) {
      uint32_t at = of_stats_result_offset(8 * n, n, 24, k);
      w.u64_at(at + 8, r.u32_at(48 + 8 * k) * g_traffic * chip_scale);
      w.u64_at(at + 16, r.u32_at(48 + 8 * k) * g_traffic * chip_scale);
    }
  }
}

class Stats : public ofa::test::FlowEnv {
 protected:
  void SetUp() override {
    FlowEnv::SetUp();
    openflow_init_completed = 1;
    openflowAgtPcb.hw.policer_start = 1;
    ASSERT_EQ(openflow_lp_meter_init(), 1);
    ASSERT_EQ(ofa_stats_init(), 1);
    port(3, 1, 3);
    g_traffic = 1, g_now = 0, g_step = 0, g_send_rc = 0;
    ofa_stats_clock_ms = clock_ms;
    ofa_stats_send = capture;
    g_sent.clear();
    hsl().reply = answer;
  }
  void TearDown() override {
    ofa_stats_clock_ms = ofa_timebase_ms;
    ofa_stats_send = default_send_;
    FlowEnv::TearDown();
  }
  static void flows(uint32_t from, uint32_t to, uint16_t in_port = 3) {
    for (uint32_t id = from; id <= to; ++id)
      ASSERT_EQ(add(flow(id, 10, in_port)), 1);
  }
  static void meters(uint32_t from, uint32_t to, bool with_flows = true) {
    for (uint32_t id = from; id <= to; ++id) {
      ASSERT_EQ(lp_openflow_generic_add_meter({OFM_ADD_METER, id, 0, 1000, 0, 0, 0, 0, 1}), 1);
      if (with_flows) openflow_inc_meter_flow_count(id);
    }
  }
  // One tick: the flow ids pushed, each meter message's meter ids, and the keys of every read.
  struct Tick {
    ids flows, queues;
    std::vector<ids> meters;
    ids keys, classes;  // per read request
  };
  Tick tick() {
    hsl().requests.clear();
    ofa_stats_tick();
    Tick t;
    for (const auto& d : std::exchange(g_sent, {})) {
      ofa::wire::Reader r(d.data(), d.size());
      uint32_t type = r.u32_at(0) >> 22;
      if (type == 5) t.flows.push_back(r.u32_at(8));
      if (type == 6) t.queues.push_back(r.u16_at(8));
      if (type == 4) {
        t.meters.emplace_back();
        for (uint32_t i = 0; i < r.u32_at(4); ++i)
          t.meters.back().push_back(r.u32_at(8 + 64 * i));
      }
    }
    for (const auto& q : hsl().requests)
      if (q.command == kRead && q.word(28) != OF_STATS_CLASS_QUEUE && q.target == kChip0) {
        t.keys.push_back(q.word(32) & 0xffff);
        t.classes.push_back(q.word(28));
      }
    return t;
  }
  static ids range(uint32_t from, uint32_t to) {
    ids v;
    for (uint32_t i = from; i <= to; ++i)
      v.push_back(i);
    return v;
  }
  static inline auto default_send_ = ofa_stats_send;
};

// ---- the three messages, byte for byte ------------------------------------------------------

// Meter 1 sums both chips: in 2 x 1800, drop 2 x 300.
TEST_F(Stats, MessagesAreByteForByte) {
  meters(1, 1);
  ofa_push_flow_stats(10, 5, 5000000320);
  lp_openflow_sync_meter_statistics();
  of_queue_stats_record q{3, {}};
  q.queues[2] = {5, 320};
  ofa_push_queue_stats(q);
  std::string queue_text =
      "0: 0180014C 0001 0000 0003 | 100: 00000002 0000000000000140 0000000000000005";
  for (uint32_t i = 1; i < 8; ++i)
    if (i != 2)
      queue_text += " | " + std::to_string(16 + 40 * i + 4) + ": 0000000" + std::to_string(i);
  const std::vector<std::vector<uint8_t>> want = {
      sparse(32, "0: 0140001C 0001 0000 0000000A 00000000 0000000000000005 000000012A05F340"),
      sparse(1736,
             "0: 010006C4 00000001 | 8: 00000001 | 24: 0000000000000E10 | 48: 0000000000000258"),
      sparse(336, queue_text),
  };
  EXPECT_EQ(g_sent, want);
}

// ---- flows ----------------------------------------------------------------------------------

// Exactly 100 flows, on an L2 port (class 12) or an L3 one (class 25): every tick reads them all
// and the cursor stays at the table's start.
TEST_F(Stats, AHundredFlowsAreAllReadEveryTick) {
  port(30, 1, 30, true);
  for (auto [in_port, cls] : {std::pair{3, OF_STATS_CLASS_L2FLOW}, {30, OF_STATS_CLASS_L3FLOW}}) {
    openflow_delete_all_flows();
    flows(1, 100, static_cast<uint16_t>(in_port));
    for (uint64_t traffic : {1, 2}) {
      g_traffic = traffic;
      Tick t = tick();
      EXPECT_EQ(t.flows, range(1, 100)) << in_port;
      EXPECT_EQ(t.keys, (ids{100})) << in_port;
      EXPECT_EQ(t.classes, (ids{cls})) << in_port;
      EXPECT_EQ(ofa_stats_flow_cursor(), 0u) << in_port;
    }
  }
}

// A generic L2 flow has a handle on each chip; the read carries the first chip's to every chip
// and the flow takes what the last chip (chip 0) answers.
TEST_F(Stats, AFlowTakesTheLastChipsAnswer) {
  auto m = flow(21, 5, OF_PORT_NONE);
  m.rule_kind = 1;
  ASSERT_EQ(add(m), 1);
  avl_node* cursor = nullptr;
  const port_hw_data* hw = openflow_search_flow_in_list(OF_PORT_NONE, 21, 5);
  ASSERT_NE(hw, nullptr);
  uint64_t handle = hw->hw.get(ofGetFirstChip(&cursor)->chip_id);
  hsl().requests.clear();
  ofa_stats_tick();
  ids read_by;
  for (const auto& q : hsl().requests)
    if (q.command == kRead && q.word(28) == OF_STATS_CLASS_L2FLOW) {
      EXPECT_EQ(q.word(48), handle);
      read_by.push_back(q.target);
    }
  EXPECT_EQ(read_by, (ids{0x84400080, kChip0}));
  ofa::wire::Reader r(g_sent.at(0).data(), g_sent.at(0).size());
  EXPECT_EQ(std::tuple(r.u32_at(8), r.u64_at(16), r.u64_at(24)),
            std::tuple(21u, handle * 7, handle * 7));
}

// No manager bound: every send fails, yet the tick reads and tries flows, meters and the queues of
// the local ports (port 40 of slot 2 never), the cursor moves on and the next tick resumes after
// it.
TEST_F(Stats, TicksGoOnWhenSendsFail) {
  port(40, 2, 3);
  flows(1, 150);
  meters(1, 1);
  g_send_rc = -1;
  Tick t = tick();
  EXPECT_EQ(t.flows, range(1, 100));
  EXPECT_EQ(t.meters, (std::vector<ids>{{1}}));
  EXPECT_EQ(t.queues, (ids{5, 3}));
  EXPECT_EQ(ofa_stats_flow_cursor(), 100u);
  g_send_rc = 0;
  EXPECT_EQ(tick().flows, range(101, 150));
}

TEST_F(Stats, SkippedFlowsAtTheEndStillWrap) {
  port(4, 1, 4);
  flows(1, 100);
  flows(101, 110, 4);
  ofLookupIfEntrybyPortId(4)->of_hybrid = 1;
  EXPECT_EQ(tick().keys, (ids{100}));
  EXPECT_EQ(tick().keys, ids{});
  EXPECT_EQ(ofa_stats_flow_cursor(), 0u);
  g_traffic = 3;
  EXPECT_EQ(tick().flows, range(1, 100));
}

// ---- meters ---------------------------------------------------------------------------------

// A clock that moves 1 ms a look: the walk stops with meter 51 waiting in the read batch. Meter
// 51 goes (or loses its flows in a modify) before the next tick: it is never read. After an
// OpenFlow disable and enable, the same meters made again, the walk starts afresh.
TEST_F(Stats, KeptWalkNeverReadsAMeterGone) {
  enum { del, modify, disable };
  for (int what : {del, modify, disable}) {
    lp_openflow_generic_del_meter(OF_METER_ALL);
    meters(1, 60);
    g_step = 1;
    EXPECT_EQ(tick().keys, (ids{50, 50}));
    openflow_dec_meter_flow_count(51);
    if (what == modify)
      lp_openflow_generic_modify_meter({OFM_MODIFY_METER, 51, 0, 2000, 0, 0, 0, 0, 1});
    if (what == del) lp_openflow_generic_del_meter(51);
    if (what == disable) {
      openflow_destroy();
      ASSERT_EQ(openflow_init(OFA_MODE_GENERIC), 1);
      meters(1, 60);
    }
    Tick t = tick();
    if (what == disable) {
      EXPECT_EQ(t.meters, (std::vector<ids>{range(1, 25), range(26, 50)}));
      continue;
    }
    EXPECT_EQ(t.meters, (std::vector<ids>{range(52, 60)})) << what;
    EXPECT_EQ(t.keys, (ids{18})) << what;
  }
}

// A walk whose last meter is read at exactly 50 ms is complete: the next tick starts again at the
// first meter.
TEST_F(Stats, AWalkEndingAtFiftyMsIsComplete) {
  meters(1, 50);
  g_step = 1;
  EXPECT_EQ(tick().keys, (ids{50, 50}));
  EXPECT_EQ(tick().keys, (ids{50, 50}));
}

// Clears: one meter, both instances (0 and 1) of its policer in one request; all of 250 meters in
// batches of 100 ids.
TEST_F(Stats, MeterClearsInBatchesOf100) {
  meters(1, 250, false);
  auto cleared = [] {
    ids keys;
    for (const auto& q : hsl().requests)
      if (q.command == kClear && q.target == hsl().requests[0].target)
        keys.push_back(q.word(32) & 0xffff);
    return keys;
  };
  hsl().requests.clear();
  lp_openflow_generic_clear_meter_stats(1);
  EXPECT_EQ(cleared(), (ids{2}));
  const auto& q = hsl().requests.at(0);
  uint32_t p = of_meter_policer_id(1);
  EXPECT_EQ((ids{q.word(48), q.word(52), q.word(60), q.word(64)}), (ids{p, 0, p, 1}));
  hsl().requests.clear();
  lp_openflow_generic_clear_meter_stats(OF_METER_ALL);
  EXPECT_EQ(cleared(), (ids{200, 200, 100}));
}

}  // namespace
