// Meters against the fake HSL, two chips in slot 1 walked from flat chip 1: the rate arithmetic's
// edges, what dispatch traces, the pool limits, the walks over the chips and their faults, and a
// flow's hold on its meter. The other rates, the refusals and the flow counts are checked by
// tests/integration/groups/meters_*.scn. Messages come from the manager tool's encoder; the bytes
// of the policer requests are the golden table's.
#include <string>
#include <vector>

#include "codec.h"
#include "flow_env.h"
#include "groups_meters/meter.h"
#include "manager/dispatch/dispatch.h"

namespace {

namespace mgr = ofa::mgr;
using ofa::test::TraceCapture;

// The case tables' rows print as their names.
template <typename Case>
requires requires(const Case& c) {
  c.name;
}
void PrintTo(const Case& c, std::ostream* os) {
  *os << c.name;
}

constexpr uint32_t kChip0 = 0x84400000, kChip1 = 0x84400080;

mgr::MeterMsg meter(uint16_t sub, uint32_t id, uint32_t bands = 1, uint32_t drop_rate = 1000,
                    uint32_t drop_burst = 0) {
  mgr::MeterMsg m;
  m.sub_type = sub;
  m.meter_id = id;
  m.band_cnt = bands;
  m.drop_rate = drop_rate;
  m.drop_burst = drop_burst;
  return m;
}

class Meters : public ofa::test::FlowEnv {
 protected:
  void SetUp() override {
    FlowEnv::SetUp();
    openflowAgtPcb.hw.policer_start = 1;
    ASSERT_EQ(openflow_lp_meter_init(), 1);
  }
  void TearDown() override {
    remove_all_flows();
    FlowEnv::TearDown();
  }
  // The message's body through the handler.
  static void send(const mgr::MeterMsg& m) {
    auto body = mgr::encode_body(m);
    ASSERT_TRUE(body.ok());
    openflow_lp_process_meter_operation(static_cast<uint32_t>(body.value().size()),
                                        body.value().data(), 0, 0);
  }
  static void remove_all_flows() {
    for (uint32_t id : flows_)
      remove(id);
    flows_.clear();
  }
  // The policer ids of the delete requests (instance 0), and the chips they went to.
  static std::vector<uint32_t> deleted_ids() {
    std::vector<uint32_t> ids;
    for (const auto& r : hsl().requests)
      if (r.word(36) == 0x09270003) ids.push_back(r.word(68) & 0x0fffffff);
    return ids;
  }
  static std::vector<uint32_t> targets() {
    std::vector<uint32_t> t;
    for (const auto& r : hsl().requests)
      t.push_back(r.target);
    return t;
  }
  static inline std::vector<uint32_t> flows_;
};

// ---- arithmetic ---------------------------------------------------------------------------------

struct RateCase {
  const char* name;
  mgr::MeterMsg msg;
  meter_config config;
  uint16_t policer;
};
mgr::MeterMsg two_band(uint32_t bands) {
  mgr::MeterMsg m = meter(22, 1, bands, 2000, 0);
  m.dscp_rate = 500, m.dscp_burst = 300, m.dscp_prec_level = 2;
  return m;
}

// Kilobits x 1000 >> 3; a one-band burst of 0 is 1.2 times the rate, truncated, in 32 bits.
const RateCase kRates[] = {
    {"burst_kept_to_32_bits",
     meter(22, 1, 1, 0xFFFFFFFF),
     {536870911875, static_cast<uint32_t>(644245094250), 0, 0, 0, 0},
     1},
    {"three_bands_as_two", two_band(3), {62500, 300, 0, 250000, 0, 2}, 1},
};

class MeterRates : public Meters, public ::testing::WithParamInterface<RateCase> {};

TEST_P(MeterRates, ConfigAndPolicer) {
  const RateCase& c = GetParam();
  send(c.msg);
  const meter_node* m = of_lp_retrieve_meter_from_meterbase(c.msg.meter_id);
  ASSERT_NE(m, nullptr);
  auto fields = [](const meter_config& f, uint32_t policer) {  // all but the reserved word
    return std::tuple(f.committed_rate, f.committed_burst, f.excess_rate, f.excess_burst,
                      f.excess_prec_level, policer);
  };
  EXPECT_EQ(fields(m->config, m->policer_id), fields(c.config, c.policer));
  EXPECT_EQ(of_lp_meter_band_pool_in_use(), c.msg.band_cnt);
  EXPECT_EQ(of_lp_meter_has_meter_band(c.msg.meter_id, OF_METER_BAND_DSCP_REMARK),
            c.msg.band_cnt > 1 ? 1 : 0);
  // One bulk per chip; both instances carry the committed pair.
  ASSERT_EQ(targets(), (std::vector<uint32_t>{kChip1, kChip0}));
  for (const auto& r : hsl().requests) {
    EXPECT_EQ(std::tuple(r.word(116), r.word(76) * (1ull << 32) + r.word(80), r.word(72)),
              std::tuple(c.policer, c.config.committed_rate, c.config.committed_burst));
  }
}

INSTANTIATE_TEST_SUITE_P(Messages, MeterRates, ::testing::ValuesIn(kRates),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- dispatch and the engine's refusals ---------------------------------------------------------

struct OpCase {
  const char* name;
  mgr::MeterMsg msg;
  std::string words;        // printed
  std::string absent = "";  // not printed
  size_t requests = 0;
  uint32_t meters = 1;  // meters held afterwards, meter 5 held before
  uint8_t mode = OFA_MODE_GENERIC;
};

const OpCase kOps[] = {
    {"add", meter(22, 6), "Enter ADD METER: Meter id: 6", "Exit ADD METER", 2, 2},
    {"not_enabled", meter(22, 6), "Adding Meter 6: Openflow is not enabled", "Enter ADD", 0, 1,
     OFA_MODE_NONE},
    {"clear_id_zero", meter(25, 0), "METER id: 0: ERROR_MSG", "Enter CLEAR"},
    {"unknown_sub_type_id_zero", meter(26, 0), "METER id: 0: ERROR_MSG", "Default case"},
    {"unknown_sub_type", meter(26, 5), "OPENFLOW METER IPC: Default case for Meter IPC handling"},
    {"bands_5000", meter(22, 6, 5000), "band_node is NULL, Memory allocation failed", "", 0, 1},
    {"modify_unknown", meter(23, 6), "Exit MODIFY METER id: 6 after", "", 0, 1},
    {"modify", meter(23, 5, 1, 16), "Enter MODIFY METER: Meter id: 5", "Exit MODIFY", 2},
    {"delete_unknown", meter(24, 6), "Exit DELETE METER: Meter id: 6 after", "", 0, 1},
    {"delete", meter(24, 5), "METER 5 info is removed from DB", "Exit DELETE", 2, 0},
    {"clear", meter(25, 5), "Clearing Stats for Meter 5", "Exit CLEAR", 2},  // a clear per chip
    {"clear_unknown", meter(25, 6), "Exit CLEAR STATS METER: Meter id: 6 after"},
    {"clear_all", meter(25, 0xFFFFFFFF), "lp_openflow_generic_clear_meter_stats_all success", "",
     2},
};

class MeterOps : public Meters, public ::testing::WithParamInterface<OpCase> {};

// Meter 5 (one band) exists; a refused message takes nothing from the pools and sends nothing.
TEST_P(MeterOps, TracesRequestsAndPools) {
  const OpCase& c = GetParam();
  send(meter(22, 5));
  hsl().requests.clear();
  g_openflow_lp.mode = c.mode;
  TraceCapture printed;
  send(c.msg);
  EXPECT_TRUE(printed.has(c.words)) << printed.text();
  if (!c.absent.empty()) {
    EXPECT_FALSE(printed.has(c.absent)) << printed.text();
  }
  EXPECT_EQ(hsl().requests.size(), c.requests);
  EXPECT_EQ(std::tuple(of_lp_meter_get_meter_count(), of_lp_meter_pool_in_use(),
                       of_lp_meter_band_pool_in_use()),
            std::tuple(c.meters, c.meters, c.meters));
}

INSTANTIATE_TEST_SUITE_P(Dispatch, MeterOps, ::testing::ValuesIn(kOps),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- limits -------------------------------------------------------------------------------------

TEST_F(Meters, PoolsHold3960MetersOr3960Bands) {
  for (uint32_t id = 1; id <= OF_METER_POOL_LIMIT; ++id)
    ASSERT_EQ(lp_openflow_generic_add_meter({22, id, 0, 1000, 0, 0, 0, 0, 1}), 1) << id;
  EXPECT_EQ(lp_openflow_generic_add_meter({22, 3961, 0, 1000, 0, 0, 0, 0, 1}), 0);
  EXPECT_EQ(of_lp_meter_pool_in_use(), OF_METER_POOL_LIMIT);
  hsl().requests.clear();
  EXPECT_EQ(lp_openflow_generic_del_meter(OF_METER_ALL), 1);
  EXPECT_EQ(hsl().requests.size(), 2 * OF_METER_POOL_LIMIT);  // every policer, on both chips
  EXPECT_EQ(of_lp_meter_pool_in_use(), 0u);

  for (uint32_t id = 1; id <= OF_METER_POOL_LIMIT / 2; ++id)
    ASSERT_EQ(lp_openflow_generic_add_meter({22, id, 0, 1000, 0, 50, 0, 0, 2}), 1) << id;
  EXPECT_EQ(lp_openflow_generic_add_meter({22, 1981, 0, 1000, 0, 0, 0, 0, 1}), 0);
  EXPECT_EQ(of_lp_meter_pool_in_use(), OF_METER_POOL_LIMIT / 2);
  EXPECT_EQ(of_lp_meter_band_pool_in_use(), OF_METER_POOL_LIMIT);
}

// ---- walks over the chips -----------------------------------------------------------------------

struct WalkCase {
  const char* name;
  uint16_t sub;
  int fail;  // the request the chip refuses
  std::vector<uint32_t> targets;
  uint16_t policer;                    // the meter's policer afterwards
  uint32_t meters;                     // meters held afterwards
  std::string words;                   // printed
  std::vector<uint32_t> deleted = {};  // policer ids of the deletes
};

const WalkCase kWalks[] = {
    {"add_first_chip_refuses",
     22,
     0,
     {kChip1},
     4096,
     1,
     "Unable to program flow for chip:1 policer_id:1 rc:-106"},
    {"modify_second_chip_refuses", 23, 1, {kChip1, kChip0}, 1, 1, "METER 1 modify failed"},
    {"delete_second_chip_refuses",
     24,
     1,
     {kChip1, kChip0},
     4096,
     1,
     "Unable to program flow for chip:0 policer_id:4096 rc:-106",
     {1, 4096}},
};

class MeterWalks : public Meters, public ::testing::WithParamInterface<WalkCase> {};

TEST_P(MeterWalks, ChipsInTableOrder) {
  const WalkCase& c = GetParam();
  if (c.sub != 22) send(meter(22, 1));
  hsl().requests.clear();
  hsl().fail = {static_cast<size_t>(c.fail)};
  TraceCapture printed;
  send(meter(c.sub, 1));
  EXPECT_TRUE(printed.has(c.words)) << printed.text();
  EXPECT_EQ(targets(), c.targets);
  EXPECT_EQ(deleted_ids(), c.deleted);
  EXPECT_EQ(of_lp_meter_get_meter_count(), c.meters);
  if (c.meters) {
    EXPECT_EQ(of_lp_meter_get_first_meter_node()->policer_id, c.policer);
  }
}

INSTANTIATE_TEST_SUITE_P(Chips, MeterWalks, ::testing::ValuesIn(kWalks),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- flows on meters ----------------------------------------------------------------------------

// Port 3 on flat chip 0: the flow's L2 result names the policer (bit 5 of its flags).
TEST_F(Meters, FlowsHoldTheirMeter) {
  port(3, 1, 3);
  send(meter(22, 3));
  send(meter(22, 4));
  auto on = [](uint32_t id, uint32_t meter_id) {
    mgr::FlowMsg f = flow(id, 10, 3);
    f.meter_id = meter_id;
    hsl().requests.clear();
    EXPECT_EQ(add(f), 1);
    flows_.push_back(id);
    return hsl().requests.at(0);
  };
  auto l2 = on(10, 3);
  EXPECT_EQ(l2.word(136 + 8), 3u);
  EXPECT_EQ(l2.word(136 + 28) & (1u << 5), 1u << 5);
  EXPECT_EQ(on(11, 9).word(136 + 8), 4096u);  // an unknown meter
  TraceCapture printed;
  EXPECT_EQ(lp_openflow_generic_del_meter(3), 0);
  EXPECT_TRUE(printed.has("OPENFLOW METER: Meter 3 has 1 flows associated.")) << printed.text();
}

}  // namespace
