// `ard` flow handlers against the fake HSL: how a flow's match and actions become key, valid bits
// and result of its TCAM entry; where the entry is placed; which handle updates and deletes name;
// what the chip trees hold after a refusal; the statistics rows; the policer and queue counters.
#include <gtest/gtest.h>

#include "agent/flow_record.h"
#include "backends/ard/ard_flows.h"
#include "backends/ard/ard_stats.h"
#include "chip/chip_flow_tree.h"
#include "chip/chip_req.h"
#include "chip/engine_lookups.h"
#include "chip/flow_stats_batch.h"
#include "chip/queue_stats_record.h"
#include "chip_env.h"
#include "hex.h"
#include "platform/wire.h"

namespace {

using ofa::platform::port_ifindex;
using ofa::test::ChipEnv;
using ofa::test::Request;
using ofa::test::TraceCapture;

// VLAN 100: IIVID 0x1C20, flood mgid 0x3000; the all-ports VLAN floods to 0x2973. Groups: 1 ALL
// L2 (mgid 0x500), 2 ALL L3 (mgid 0x600), 3 SELECT (next hop 0x28). Meter 5 is policer 9.
bool vlan(uint32_t id, of_vlan_view* v) {
  *v = {0x1C20, 0x3000};
  return id == 100;
}
bool all_ports_vlan(of_vlan_view* v) {
  *v = {0x1C05, 0x2973};
  return true;
}
bool group(int32_t id, of_group_view* g) {
  const of_group_view groups[] = {
      {OF_LP_GROUP_ALL, 0, 0x500, 0}, {OF_LP_GROUP_ALL, 1, 0x600, 0}, {1, 0, 0, 0x28}};
  if (id < 1 || id > 3) return false;
  *g = groups[id - 1];
  return true;
}
uint32_t policer(uint32_t, uint32_t meter) {
  return meter == 5 ? 9 : OF_POLICER_UNKNOWN;
}

struct Flow {
  fd_entry f;
  of_flow_member out, grp, queue;
  of_flow_actions a;
  of_flow_hw_ref hw;
  Flow() {
    f.flow_id = 10;
    f.priority = 100;
    f.in_port_id = 3;
    f.in_vlan_id = 65535;
    f.forward_action = 1;
    f.stats_flag = 1;
    f.wildcards = OF_WC_TP_SRC | OF_WC_TP_DST | OF_WC_ICMPV4_TYPE | OF_WC_ICMPV4_CODE;
    for (of_flow_member* m : {&out, &grp, &queue}) {
      m->vlan_upbits = OF_UPBITS_NONE;
      m->nw_tos = OF_TOS_NONE;
    }
    out.out_port_id = 5;
    grp.group_id = 1;
    queue.queue_id = 3;
    hw.set(0, 21);
  }
  Flow& output(uint16_t port) {
    out.out_port_id = port;
    a.output = &out;
    return *this;
  }
  Flow& group(int32_t id) {
    grp.group_id = id;
    a.group = &grp;
    return *this;
  }
};

class ArdFlows : public ChipEnv {
 protected:
  void SetUp() override {
    ofa::test::reset_agent({.chips = 2});
    ASSERT_EQ(chip_up(1, 0), 0);
    ASSERT_EQ(chip_up(1, 1), 0);
    // Ports 3 (0x18418000) and 5 (0x18428000, own next hop 0x4D) on flat chip 0, 30 on 1.
    ofProcessPortAdd(port_ifindex(1, 3), "ethernet1/3", 3);
    ofProcessPortAdd(port_ifindex(1, 5), "ethernet1/5", 5)->of_def_nhop_id = 0x4D;
    ofProcessPortAdd(port_ifindex(1, 30), "ethernet1/30", 30);
    of_lookups = {vlan, all_ports_vlan, group, policer};
    hsl().requests.clear();
  }
  void TearDown() override {
    of_lookups = {};
    ChipEnv::TearDown();
  }
  static of_chip_entry* chip(uint32_t flat) { return ofLookupChip(flat); }
  static const Request& last() { return hsl().requests.back(); }
  static int l2_add(Flow& x, uint32_t flat = 0) {
    return ard_of_l2flow_add(chip(flat), &x.f, &x.a, &x.hw);
  }
};

// ---- key, valid bits and result, case by case ------------------------------------------------

enum class Op { l2_add, l2_upd, l3_add, l3_upd };
struct FlowCase {
  const char* name;
  Op op;
  void (*set)(Flow&);
  // "offset=hex" (a word) or "offset:width=hex" (1 or 2 bytes), by offset in the request. An L2
  // add has its valid bits at 112 and its result from 136 (destination 136, policer 144, forward
  // action 160, flags 164, QoS 168); an L3 add its valid bits at 116 and its result from 164 (next
  // hop 164, forward action 168, flags A 184, flags B 188, multicast 192); updates from 36.
  const char* fields;
  const char* log = "";
  int rc = 0;  // -128: nothing is sent
};
void PrintTo(const FlowCase& c, std::ostream* os) {
  *os << c.name;
}

const FlowCase kFlowCases[] = {
    // L2 key
    {"in_port", Op::l2_add, [](Flow&) {}, "44=18418000 112=4000 56:2=0 68=0 104=0",
     "in port_id:3 port_ifindex:18418000"},
    {"in_port_missing", Op::l2_add, [](Flow& x) { x.f.in_port_id = 7; }, "44=0 112=0",
     "Port doesn't exist !!"},
    {"vlan_untagged", Op::l2_add, [](Flow& x) { x.f.in_vlan_id = 0; },
     "56:2=1C00 112=70004100 68=0 104=100", "in_vlan_id:0"},
    {"vlan_upbit", Op::l2_add, [](Flow& x) { x.f.vlan_upbit = 5; }, "88:1=A0 112=4200",
     "fd_entry vlan_upbit:5"},
    // L2 result
    {"out_port", Op::l2_add, [](Flow& x) { x.output(5); }, "136=18428000 160:1=0 164=1 168=0",
     "out port_id:5 egr_ifindex:18428000"},
    {"out_port_missing", Op::l2_add, [](Flow& x) { x.output(9); }, "", "Out port doesn't exist !!",
     -128},
    {"out_none", Op::l2_add, [](Flow& x) { x.output(OF_PORT_NONE); }, "136=0 164=0",
     "OFA add out_port_id:65535 group_id:-255"},
    {"out_all", Op::l2_add, [](Flow& x) { x.output(OF_PORT_ALL); }, "136=2973 164=80001",
     "OFPP_ALL .... mgid:10611"},
    {"out_flood", Op::l2_add, [](Flow& x) { x.f.in_vlan_id = 100, x.output(OF_PORT_FLOOD); },
     "136=3000 164=80001", "OFPP_FLOOD .... mgid:12288"},
    {"out_flood_unknown_vlan", Op::l2_add,
     [](Flow& x) { x.f.in_vlan_id = 200, x.output(OF_PORT_FLOOD); }, "136=0 164=80001"},
    {"out_controller", Op::l2_add, [](Flow& x) { x.output(OF_PORT_CONTROLLER); }, "136=0 164=0",
     "OPENFLOW_RESERVED_PORT_STC ...."},
    {"group_all_l2", Op::l2_add, [](Flow& x) { x.group(1); }, "136=500 160:1=0 164=80001",
     "mgid type: OF_LP_GROUP_ALL_L2"},
    {"group_all_l3", Op::l2_add, [](Flow& x) { x.group(2); }, "136=0 164=0",
     "mgid type: Unexpected !! OF_LP_GROUP_ALL_L3"},
    {"group_select", Op::l2_add, [](Flow& x) { x.group(3); }, "136=0 164=0",
     "mgid type: Unexpected !! OF_LP_GROUP_SELECT or INDIRECT"},
    {"group_unknown", Op::l2_add, [](Flow& x) { x.group(99); }, "136=0 164=0", "group_id:99"},
    {"ctrl_ignores_output", Op::l2_add, [](Flow& x) { x.f.send_to_ctrl = 1, x.output(5); },
     "136=0 160:1=3 164=9"},
    {"ctrl_with_group_forwards", Op::l2_add,
     [](Flow& x) { x.f.send_to_ctrl = 1, x.output(5).group(1); }, "136=500 160:1=0 164=80009"},
    {"group_rewrites", Op::l2_add, [](Flow& x) { x.group(1).grp.vlan_upbits = 6; },
     "168=2060 164=80001", "vlan_upbits:6"},
    {"queue", Op::l2_add, [](Flow& x) { x.output(5).a.set_queue = &x.queue; }, "168=2C00",
     "queue_id:3"},
    {"meter", Op::l2_add, [](Flow& x) { x.f.meter_id = 5; }, "144=9 164=20", "policer_id:9"},
    {"update", Op::l2_upd, [](Flow& x) { x.output(5).f.stats_flag = 0; },
     "28=15 32:1=14 33:1=1 36=18428000 64=1 68=8000", "OFA modify out_port_id:5 group_id:-255"},
    // L3 key
    {"l3_in_port_missing", Op::l3_add, [](Flow& x) { x.f.in_port_id = 7; }, "",
     "Port doesn't exist !!", -128},
    {"l3_vlan_untagged", Op::l3_add, [](Flow& x) { x.f.in_vlan_id = 0; }, "56:2=0 116=800000"},
    {"l3_proto_dscp_upbit", Op::l3_add,
     [](Flow& x) { x.f.ip_protocol = 6, x.f.ip_tos = 0x12E, x.f.vlan_upbit = 5; },
     "103:1=6 80:1=2E 81:1=5 116=1C00008"},
    {"l3_icmp_code", Op::l3_add,
     [](Flow& x) { x.f.icmpv4_code = 3, x.f.icmpv4_type = 8, x.f.wildcards &= ~0x400u; },
     "112=30000 124=FF0000 108=0"},
    {"l3_src_port_replaces_icmp", Op::l3_add,
     [](Flow& x) { x.f.icmpv4_type = 8, x.f.src_port = 80, x.f.wildcards = OF_WC_TP_DST; },
     "112=500000 124=FFFF0000 108=800"},
    {"l3_dst_port", Op::l3_add, [](Flow& x) { x.f.dst_port = 443, x.f.wildcards &= ~0x80u; },
     "112=1BB 124=FFFF 108=20"},
    // L3 result
    {"l3_upd_ctrl_flags_a_only", Op::l3_upd, [](Flow& x) { x.f.send_to_ctrl = 1; },
     "28=15 40:1=0 56=218 60=0", "OFA modify priority:100 flow_id:10 handle:21"},
    {"l3_out_port", Op::l3_add, [](Flow& x) { x.output(5); }, "164=4D 184=210 188=2000 192=0",
     "OFA ADD out_port_id:5 group_id:-255"},
    {"l3_out_port_missing", Op::l3_add, [](Flow& x) { x.output(9); }, "",
     "Out port doesn't exist !!", -128},
    {"l3_out_flood_unknown_vlan", Op::l3_add, [](Flow& x) { x.output(OF_PORT_FLOOD); },
     "164=0 184=210 192=0", "OFPP_FLOOD .... mgid:0"},
    {"l3_output_over_group", Op::l3_add, [](Flow& x) { x.output(5).group(1); }, "164=4D 192=0"},
    {"l3_group_all_l2", Op::l3_add, [](Flow& x) { x.group(1); }, "184=210 192=A0280020",
     "group_type: OF_LP_GROUP_ALL_L2"},
    {"l3_group_all_l3", Op::l3_add, [](Flow& x) { x.group(2); }, "184=210 192=E0300000",
     "group_type: OF_LP_GROUP_ALL_L3"},
    {"l3_group_select", Op::l3_add, [](Flow& x) { x.group(3); }, "164=28 184=210 192=0",
     "group_type: OF_LP_GROUP_INDIRECT or SELECT"},
};

class ArdFlowCases : public ArdFlows, public ::testing::WithParamInterface<FlowCase> {};

TEST_P(ArdFlowCases, FieldsOfTheRequest) {
  const FlowCase& c = GetParam();
  Flow x;
  c.set(x);
  TraceCapture words;
  auto fn = c.op == Op::l2_add   ? ard_of_l2flow_add
            : c.op == Op::l2_upd ? ard_of_l2flow_upd
            : c.op == Op::l3_add ? ard_of_l3flow_ipv4add
                                 : ard_of_l3flow_ipv4upd;
  EXPECT_EQ(fn(chip(0), &x.f, &x.a, &x.hw), c.rc);
  EXPECT_TRUE(words.has(c.log)) << words.text();
  ASSERT_EQ(hsl().requests.size(), c.rc == 0 ? 1u : 0u);
  std::stringstream fields{c.fields};
  for (std::string f; fields >> f;) {
    size_t off = std::stoul(f), colon = f.find(':'),
           width = colon < f.find('=') ? f[colon + 1] - '0' : 4;
    uint32_t got = 0;
    for (size_t i = 0; i < width; ++i)
      got = got << 8 | last().bytes.at(off + i);
    EXPECT_EQ(got, std::stoul(f.substr(f.find('=') + 1), nullptr, 16)) << "offset " << off;
  }
}

INSTANTIATE_TEST_SUITE_P(Rules, ArdFlowCases, ::testing::ValuesIn(kFlowCases),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- placement --------------------------------------------------------------------------------

// Where entries go, over many orders, is the flow-order run's (flow/flow_order_test); here the
// neighbours one add names and its trace.
TEST_F(ArdFlows, PlacementNamesTheNeighboursOfTheChipTree) {
  int32_t handle = 101;
  for (uint32_t id : {7u, 9u}) {
    Flow x;
    x.f.priority = 7, x.f.flow_id = id;
    x.hw.set(0, handle++);
    ASSERT_EQ(l2_add(x), 0);
  }
  Flow x;
  x.f.priority = 7, x.f.flow_id = 8;
  x.hw.set(0, 200);
  TraceCapture words;
  ASSERT_EQ(l2_add(x), 0);
  EXPECT_EQ(std::pair(last().word(32), last().word(36)), std::pair(101u, 102u));
  EXPECT_TRUE(words.has("OFA Program priority:7 flow_id:8 before:101 after:102 handle:200"));
  EXPECT_NE(of_chip_avl_lookup_flow(of_flow_tree_kind::l2, chip(0), 7, 8), nullptr);
}

// ---- refusals, handles of other chips ---------------------------------------------------------

// What the engine keeps after a refusal is flow/flow_faults_test's; here the words.
TEST_F(ArdFlows, RefusedAddIsPrinted) {
  Flow x;
  hsl().fail = {0};
  TraceCapture words;
  EXPECT_EQ(l2_add(x), -106);
  EXPECT_TRUE(words.has("Unable to program l2 flow. id:10 chipid:0 hdl:21 rc:-106"));
  EXPECT_EQ(of_chip_avl_lookup_flow(of_flow_tree_kind::l2, chip(0), 100, 10), nullptr);
}

TEST_F(ArdFlows, DeleteLeavesTheTreeOnlyWhenTheChipDeleted) {
  Flow x;
  ASSERT_EQ(ard_of_l3flow_ipv4add(chip(0), &x.f, &x.a, &x.hw), 0);
  hsl().fail = {1};
  TraceCapture words;
  EXPECT_EQ(ard_of_l3flow_ipv4del(chip(0), &x.f, &x.hw), -106);
  EXPECT_NE(of_chip_avl_lookup_flow(of_flow_tree_kind::l3, chip(0), 100, 10), nullptr);
  EXPECT_EQ(ard_of_l3flow_ipv4del(chip(0), &x.f, &x.hw), 0);
  EXPECT_EQ(of_chip_avl_lookup_flow(of_flow_tree_kind::l3, chip(0), 100, 10), nullptr);
  EXPECT_TRUE(words.has("Unable to delete l3v4 flow. id:10 chipid:0 hdl:21 rc:-106"));
  EXPECT_TRUE(words.has("Deleted l3v4 flow. id:10 chipid:0 hdl:21"));
}

// An add on flat chip 1 uses the chip's own handle; its update and delete name slot 0's, which a
// port flow of chip 1 leaves at -1.
TEST_F(ArdFlows, ChipOneUpdatesAndDeletesWithTheHandleOfSlotZero) {
  Flow x;
  x.f.in_port_id = 30;
  x.hw = {};
  x.hw.set(1, 22);
  ASSERT_EQ(l2_add(x, 1), 0);
  EXPECT_EQ(std::pair(last().word(28), last().target), std::pair(22u, chip(1)->ifindex));
  EXPECT_EQ(ard_of_l2flow_upd(chip(1), &x.f, &x.a, &x.hw), 0);
  EXPECT_EQ(last().word(28), 0xFFFFFFFFu);
  x.hw.set(0, 21);
  EXPECT_EQ(ard_of_l2flow_del(chip(1), &x.f, &x.hw), 0);
  EXPECT_EQ(std::tuple(last().command, last().word(28), last().target),
            std::tuple(OF_CMD_L2FLOW_DEL, 21u, chip(1)->ifindex));
  EXPECT_EQ(of_chip_avl_lookup_flow(of_flow_tree_kind::l2, chip(1), 100, 10), nullptr);
}

// ---- statistics -------------------------------------------------------------------------------

// Which chip's counters a row keeps is the statistics tick's (stats/stats_test); here the rows
// asked for: a count beyond the bucket is cut to its rows.
TEST_F(ArdFlows, StatisticsReadAsksForTheBucketsRowsOnEveryChip) {
  std::array<of_flow_stats_row, 2> rows{};
  rows[0].handle = 0x11, rows[1].handle = 0x22;
  of_flow_stats_batch batch;
  batch.l3_count = 5;
  batch.l3_rows = rows;
  EXPECT_EQ(ard_of_get_flow_stats(&batch, 1), 0);
  ASSERT_EQ(hsl().requests.size(), 2u);  // both chips
  EXPECT_EQ(hsl().requests[0].bytes,
            ofa::test::sparse(64,
                              "0: 06270000 | 8: 00000040 00000074 | 28: 00000019 00 14 0002 0002 | "
                              "48: 00000011 0000FFFF 00000022 0000FFFF"));
}

TEST_F(ArdFlows, StatisticsClearGoesToEveryChip) {
  EXPECT_EQ(ard_of_clr_flow_stats(0x33, 0), 0);
  ASSERT_EQ(hsl().requests.size(), 2u);
  for (const Request& q : hsl().requests)
    EXPECT_EQ(q.bytes, ofa::test::sparse(56,
                                         "0: 06270001 | 8: 00000038 00000038 | "
                                         "28: 0000000C 00 14 0001 | 48: 00000033 0000FFFF"));
}

// Sums over chips and instances are the statistics tick's (stats/stats_test); here the keys asked
// for (policers 7 and 9, both instances) and a refused read that adds nothing of its reply.
TEST_F(ArdFlows, PolicerReadAsksForBothInstancesAndARefusalAddsNothing) {
  const uint32_t ids[] = {7, 9};
  std::array<uint64_t, 2> first{}, second{};
  hsl().reply = [](size_t, std::span<uint8_t> area) {
    ofa::wire::Writer w(area);
    for (uint32_t k = 0; k < 4; ++k) {
      uint32_t at = of_stats_result_offset(48, 4, OF_STATS_POLICER_RESULT_BYTES, k);
      w.u64_at(at + 8, 1 + k);
      w.u64_at(at + 24, 100 + k);
    }
  };
  hsl().fail = {0};
  EXPECT_EQ(ard_of_get_pol_stats(chip(0)->ifindex, ids, first.data(), second.data(), 2), -106);
  EXPECT_EQ(first[0] + first[1] + second[0] + second[1], 0u);
  EXPECT_EQ(hsl().requests.at(0).bytes,
            ofa::test::sparse(96,
                              "0: 06270000 | 8: 00000060 000000E4 | 28: 0000002E 00 00 0004 0004 | "
                              "48: 00000007 00000000 0000FFFF 00000007 00000001 0000FFFF "
                              "00000009 00000000 0000FFFF 00000009 00000001 0000FFFF"));
}

// Counters, and the zeros a refused read leaves, are the statistics scenario's
// (stats/chips_and_faults.scn); here the chip a port's queues are read on.
TEST_F(ArdFlows, QueueCountersAreReadOnThePortsChip) {
  of_queue_stats_record rec{30, {}};
  EXPECT_EQ(ard_of_get_queue_stats(&rec), 0);
  EXPECT_EQ(hsl().requests.at(0).target, chip(1)->ifindex);
  EXPECT_EQ(hsl().requests.at(0).word(48), port_ifindex(1, 30));
}

}  // namespace
