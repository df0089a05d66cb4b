// Egress VLAN translation on `ard` against the fake HSL: the decisions the EVT scenarios
// (tests/integration/evt) do not reach, by the trace each draws, the result, the record left on
// the port and the translations sent, in order; the record primitives and their order.
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <tuple>
#include <vector>

#include "agent/trace.h"
#include "chip/chip_req.h"
#include "chip_env.h"
#include "codec.h"
#include "foundation/avl_tree.h"
#include "platform/evrec.h"
#include "ports/evt.h"
#include "ports/vlan_table.h"

namespace {

using ofa::test::ChipEnv;

constexpr uint32_t P = 0, V = 1, kAll = 0xFFFFFFFF;

// A message to port 5 from the manager tool's encoder.
using Msg = ofa::mgr::EvtMsg;
Msg add(uint32_t type, uint32_t in_vlan, uint32_t out_vlan, uint32_t tag_action = 1,
        uint32_t iivid = 4011) {
  return {OFM_ADD_EVT, type, in_vlan, iivid, tag_action, 0, out_vlan, 5};
}
Msg del(uint32_t type, uint32_t in_vlan, uint32_t out_vlan = 300, uint32_t iivid = 4011) {
  return {OFM_DEL_EVT, type, in_vlan, iivid, 0, 0, out_vlan, 5};
}
Msg on(Msg m, uint32_t port) {
  m.out_port = port;
  return m;
}

using Rec = std::tuple<uint32_t, uint32_t, uint32_t>;  // a record: type, tagged, out VLAN
using Row = std::tuple<uint32_t, uint32_t, uint32_t>;  // a translation: IIVID, VLAN, tagged

enum Setup { kNone, kUntaggedP, kRefused };

struct Case {
  const char* name;
  std::vector<Msg> before;
  Msg msg;
  int result;
  std::vector<uint32_t> ids;   // the decision's traces (the entry traces 16016/16019 aside)
  std::optional<Rec> rec;      // port 5's record of the message's IIVID afterwards
  std::vector<Row> rows = {};  // translations sent on port 5, in order
  Setup setup = kNone;
};
void PrintTo(const Case& c, std::ostream* os) {
  *os << c.name;
}

// VLANs 100, 200, 300 (IIVIDs 4010-4012) and ports 3 and 5 (pvid 4020) on one chip.
class Evt : public ChipEnv, public ::testing::WithParamInterface<Case> {
 protected:
  void SetUp() override {
    ChipEnv::SetUp();
    setenv("OFA_DEBUG_LOG", "off", 1);
    ASSERT_EQ(openflowAgt_trace_init(), 0);
    ofa::test::set_test_iivids();
    ASSERT_EQ(chip_up(1, 0), 0);
    ASSERT_EQ(openflow_vlan_init(), 0);
    for (auto [vlan, iivid] : {std::pair{100u, 4010u}, {200u, 4011u}, {300u, 4012u}})
      of_process_vlan_add(vlan, iivid, 0);
    for (uint16_t p : {3, 5})
      ofProcessPortAdd(ofa::platform::port_ifindex(1, p), "p", p)->pvid = 4020;
  }
  void TearDown() override {
    openflowAgt_trace_exit();
    evrec_exit();
    unsetenv("OFA_DEBUG_LOG");
    ChipEnv::TearDown();
  }
  static of_if_entry* port5() { return ofLookupIfEntrybyPortId(5); }
  static int run(const Msg& m) {
    auto body = ofa::mgr::encode_body(m).value();
    return m.sub_type == OFM_ADD_EVT ? lp_process_add_evt(body) : lp_process_del_evt(body);
  }
  static std::vector<uint32_t> ids_since(size_t from) {
    std::vector<uint32_t> ids;
    auto recs = trace_module_records(ofa_trace_handle(OFACORE));
    for (size_t i = from; i < recs.size(); ++i)
      if (recs[i].id != 16016 && recs[i].id != 16019) ids.push_back(recs[i].id);
    return ids;
  }
  // The translations of the requests: one, or the sub-requests of a bulk; all on port 5.
  static std::vector<Row> rows() {
    std::vector<Row> out;
    for (const auto& q : hsl().requests) {
      bool bulk = q.command == OF_CMD_BULK;
      size_t n = bulk ? q.word(32) >> 16 : 1;
      for (size_t k = 0; k < n; ++k) {
        size_t at = bulk ? 36 + k * OF_PORT_VLAN_XLATE_SIZE : 0;
        EXPECT_EQ(q.word(at + 28), port5()->ifIndex);
        out.push_back({q.word(at + 84), q.word(at + 88), q.word(at + 40) ? 1u : 0u});
      }
    }
    return out;
  }
};

TEST_P(Evt, DecisionTraceRecordAndRows) {
  const Case& c = GetParam();
  for (const Msg& m : c.before)
    ASSERT_EQ(run(m), 1);
  if (c.setup == kUntaggedP) {
    ASSERT_EQ(of_evt_add_entry(port5(), 4011, P, 0, 300), 0);
  }
  if (c.setup == kRefused) hsl().fail = {0};
  hsl().requests.clear();
  size_t from = trace_module_records(ofa_trace_handle(OFACORE)).size();
  EXPECT_EQ(run(c.msg), c.result);
  EXPECT_EQ(ids_since(from), c.ids);
  const of_evt_entry* r = of_lookup_evt(port5(), c.msg.iivid);
  std::optional<Rec> got;
  if (r) got = Rec{r->type, r->is_tag, r->out_vlan};
  EXPECT_EQ(got, c.rec);
  EXPECT_EQ(rows(), c.rows);
}

const Msg kP300 = add(P, 0, 300);
const Rec kRecP300{P, 1, 300}, kRecV300{V, 1, 300};

INSTANTIATE_TEST_SUITE_P(
    Tables, Evt,
    ::testing::Values(
        // First add.
        Case{"p_tagged", {}, kP300, 1, {19027}, kRecP300, {{4011, 300, 1}}},
        Case{"p_tag_action_3_is_untagged", {}, add(P, 0, 300, 3), 0, {19028}, {}},
        Case{"v_tag_action_3_is_tagged",
             {},
             add(V, 200, 300, 3),
             1,
             {19029},
             kRecV300,
             {{4011, 300, 1}}},
        Case{"untagged_out_vlan_unchecked",
             {},
             add(V, 200, 7, 2),
             1,
             {19031},
             Rec{V, 0, 7},
             {{4011, 7, 0}}},
        Case{"port_id_low_16_bits", {}, on(kP300, 0x10005), 1, {19027}, kRecP300, {{4011, 300, 1}}},
        Case{"refused_keeps_the_record",
             {},
             kP300,
             0,
             {19027, 19024},
             kRecP300,
             {{4011, 300, 1}},
             kRefused},
        // Update over a record.
        Case{"p_untagged_record_is_invalid", {}, kP300, 0, {19037}, Rec{P, 0, 300}, {}, kUntaggedP},
        Case{"other_type_silent", {kP300}, add(V, 200, 100), 0, {}, kRecP300},
        // Delete.
        Case{"del_p", {kP300}, del(P, 0), 1, {19050}, {}, {{4011, 300, 0}}},
        // Pass 1: each port's pvid (5, then 3); pass 2: every VLAN, the pseudo-VLAN first.
        Case{"del_all_iivids",
             {add(P, 0, 300, 1, kAll)},
             del(P, 0, 300, kAll),
             1,
             {19050},
             {},
             {{4020, 300, 0},
              {4020, 300, 0},
              {4005, kAll, 1},
              {4012, 300, 1},
              {4011, 200, 1},
              {4010, 100, 1}}}),
    [](const auto& info) { return std::string(info.param.name); });

// Records by IIVID, highest first; the relookup of a delete without a record; the records of a
// port go with it (the sanitizer's leak check holds that).
TEST_F(Evt, RecordPrimitives) {
  of_if_entry* p = port5();
  for (uint32_t iivid : {4011u, 4013u, 4012u})
    ASSERT_EQ(of_evt_add_entry(p, iivid, V, 1, 300), 0);
  EXPECT_EQ(of_evt_add_entry(p, 4012, V, 1, 300), -128);
  EXPECT_EQ(of_evt_upd_entry(p, nullptr, 4099, 0, 1), -128);
  std::vector<uint32_t> order;
  for (avl_node* n = avl_getfirst(p->evt_tree); n; n = avl_getnext(p->evt_tree, n))
    order.push_back(static_cast<of_evt_entry*>(n->info)->iivid);
  EXPECT_EQ(order, (std::vector<uint32_t>{4013, 4012, 4011}));
  ofa::test::TraceCapture printed;
  of_evt_entry* r = of_lookup_evt(p, 4012);
  EXPECT_EQ(of_evt_del_entry(p, nullptr, 4012), 0);
  delete r;
  EXPECT_TRUE(printed.has("relookup evt entry for iivid:4012"));
  EXPECT_EQ(of_evt_del_entry(p, nullptr, 4012), -105);
  ofProcessPortDelete(0, 5);
}

}  // namespace
