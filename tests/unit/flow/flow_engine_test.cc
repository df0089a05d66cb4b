// The flow engine against the `ard` handlers and the fake HSL: what each kind of flow answers,
// which chip requests it draws, and that every flow leaves the databases as it found them. The
// answers that draw no request are checked by tests/integration/scenarios/flows/statuses.scn.
#include <gtest/gtest.h>

#include <functional>

#include "agent/flow_record.h"
#include "chip/chip_req.h"
#include "flow/flow_engine.h"
#include "flow_env.h"

namespace {

using ofa::mgr::FlowMsg;
using ofa::test::FlowCounts;
using ofa::test::FlowEnv;

constexpr uint32_t L2ADD = OF_CMD_L2FLOW_ADD, L2UPD = OF_CMD_L2FLOW_UPD, L2DEL = OF_CMD_L2FLOW_DEL;
constexpr uint32_t L3ADD = OF_CMD_L3FLOW_ADD, STATS_CLR = OF_CMD_STATS_CLEAR;
using Cmds = std::vector<uint32_t>;

// Every chip of the chip table takes a generic flow and a counter clear: the two of slot 1 and
// the one of slot 2 that port 100 brought into the table.
class FlowEngine : public FlowEnv {
 protected:
  void SetUp() override {
    FlowEnv::SetUp();
    port(3, 1, 3);                  // L2, flat chip 0
    port(30, 1, 30, true);          // L3, flat chip 1
    port(100, 2, 4);                // on the LP of slot 2
    port(101, 2, 5, false, false);  // the same, not OpenFlow
    hsl().requests.clear();         // a port of an unknown chip brings that chip up
  }
};

struct AddCase {
  const char* name;
  std::function<void(FlowMsg&)> shape;
  int result;
  const char* reply;
  Cmds add_cmds = {};
  Cmds del_cmds = {};
};
void PrintTo(const AddCase& c, std::ostream* os) {
  *os << c.name;
}

// A generic flow: no in port, and its wildcard set.
void generic(FlowMsg& m) {
  m.in_port_id = OF_PORT_NONE;
  m.wildcards |= OF_WC_IN_PORT;
}

class FlowAdds : public FlowEngine, public ::testing::WithParamInterface<AddCase> {};

// Each kind of flow: its status and reason, its requests; its delete leaves nothing behind.
TEST_P(FlowAdds, AnswerRequestsAndCleanDelete) {
  const AddCase& c = GetParam();
  FlowMsg m = flow(10, 100, 3);
  c.shape(m);
  EXPECT_EQ(add(m), c.result);
  EXPECT_EQ(reply(), c.reply);
  EXPECT_EQ(commands(), c.add_cmds);
  hsl().requests.clear();
  remove(10);
  EXPECT_EQ(commands(), c.del_cmds);
  EXPECT_EQ(counts(), FlowCounts{});
}

const AddCase kAdds[] = {
    {"l2_port", [](FlowMsg&) {}, 1, "", {L2ADD}, {L2DEL}},
    {"l3_port", [](FlowMsg& m) { m.in_port_id = 30; }, 1, "", {L3ADD}, {OF_CMD_L3FLOW_DEL}},
    {"generic_with_ports", generic, 1, "SUCCESS", {L2ADD, L2ADD, L2ADD}, {L2DEL, L2DEL, L2DEL}},
    {"generic_rule_kind_programs_yet_answers_pseudo",
     [](FlowMsg& m) {
       generic(m);
       m.rule_kind = 1;
     },
     1,
     "PSEUDO_SUCCESS: No openflow ports on the LP.",
     {L2ADD, L2ADD, L2ADD},
     {L2DEL, L2DEL, L2DEL}},
    {"remote_port_not_openflow", [](FlowMsg& m) { m.in_port_id = 101; }, 1,
     "PSEUDO_SUCCESS: IN Port: 101 NOT in LP, no MVID, NO LP Prog."},
    {"port_without_entry", [](FlowMsg& m) { m.in_port_id = 200; }, 0,
     "Openflow not enabled in: 200 (200)"},
    {"member_past_the_message",
     [](FlowMsg& m) {
       m.member_count = 3;
       m.member_count_override = true;
     },
     0, "Error - openflow_generic_mode_copy_flow: Copy Flow Action Failed"},
};
INSTANTIATE_TEST_SUITE_P(Kinds, FlowAdds, ::testing::ValuesIn(kAdds),
                         [](const auto& i) { return std::string(i.param.name); });

TEST_F(FlowEngine, AnAddReplacesTheFlowOfItsId) {
  ASSERT_EQ(add(flow(10, 100, 3)), 1);
  ASSERT_EQ(add(flow(10, 200, 3)), 1);
  EXPECT_EQ(commands(), (Cmds{L2ADD, L2DEL, L2ADD}));
  EXPECT_EQ(counts().flows, 1u);
  const fd_entry* f = openflow_lookup_flow_by_id(10);
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(f->priority, 200u);
}

TEST_F(FlowEngine, AFragmentWaitsWithoutHardwareAndTheNextAddReplacesIt) {
  FlowMsg first = flow(10, 100, 3);
  first.more_fragments = 1;
  EXPECT_EQ(add(first), 1);
  EXPECT_EQ(commands(), Cmds{});
  EXPECT_EQ(counts().flows, 1u);
  EXPECT_EQ(add(flow(10, 100, 3)), 1);
  EXPECT_EQ(commands(), Cmds{L2ADD});
  EXPECT_EQ(counts().hw_records, 1u);
}

struct ModCase {
  const char* name;
  uint32_t meter_before, meter_after;
  uint32_t keep_counters;
  const char* reply;
  Cmds cmds;
};
void PrintTo(const ModCase& c, std::ostream* os) {
  *os << c.name;
}
class FlowMods : public FlowEngine, public ::testing::WithParamInterface<ModCase> {};

// The same key, forward action and nonzero meter change nothing on the chip.
TEST_P(FlowMods, SameKeyShortcut) {
  const ModCase& c = GetParam();
  FlowMsg m = flow(10, 100, 3);
  m.meter_id = c.meter_before;
  ASSERT_EQ(add(m), 1);
  hsl().requests.clear();
  m.meter_id = c.meter_after;
  m.keep_counters = c.keep_counters;
  EXPECT_EQ(modify(m), 1);
  EXPECT_EQ(reply(), c.reply);
  EXPECT_EQ(commands(), c.cmds);
  EXPECT_EQ(counts().flows, 1u);
}
const ModCase kMods[] = {
    {"meter_5_clears_counters",
     5,
     5,
     0,
     "PSEUDO_SUCCESS:Mod Flow(10) has same old action key, NO LP Prog.",
     {STATS_CLR, STATS_CLR, STATS_CLR}},
    {"meter_change_reprograms", 3, 4, 0, "", {L2UPD}},
};
INSTANTIATE_TEST_SUITE_P(Shortcut, FlowMods, ::testing::ValuesIn(kMods),
                         [](const auto& i) { return std::string(i.param.name); });

TEST_F(FlowEngine, PrefixFlowsShareTheChainOfTheirKey) {
  FlowMsg full = flow(10, 100, 3);
  ASSERT_EQ(add(full), 1);
  FlowMsg prefix = flow(11, 90, 3);
  prefix.action_key = full.action_key;
  prefix.members.clear();
  ASSERT_EQ(add_prefix(prefix), 1);
  const fd_entry* a = openflow_lookup_flow_by_id(10);
  const fd_entry* b = openflow_lookup_flow_by_id(11);
  ASSERT_TRUE(a && b);
  EXPECT_EQ(b->members, a->members);
  EXPECT_EQ(b->member_count, 1u);
  EXPECT_EQ(std::pair(counts().chains, counts().member_lists), std::pair(1u, 1u));
  remove(10);
  EXPECT_EQ(counts().chains, 1u);  // the prefix flow still holds it
  remove(11);
  EXPECT_EQ(counts(), FlowCounts{});
}

TEST_F(FlowEngine, APrefixFlowWithoutChainIsProgrammedWithoutMembers) {
  FlowMsg prefix = flow(11, 90, 3);
  prefix.members.clear();
  EXPECT_EQ(add_prefix(prefix), 1);
  EXPECT_EQ(commands(), Cmds{L2ADD});
  const fd_entry* f = openflow_lookup_flow_by_id(11);
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(f->members, nullptr);
  EXPECT_EQ(counts().chains, 0u);
}

// A second full add with a key keeps its own list; both lists go with their flows.
TEST_F(FlowEngine, TwoFullAddsOfOneKeyLoseNoList) {
  FlowMsg a = flow(10, 100, 3);
  FlowMsg b = flow(11, 90, 3);
  b.action_key = a.action_key;
  b.members[0].vlan_upbits = 3;
  ASSERT_EQ(add(a), 1);
  ASSERT_EQ(add(b), 1);
  EXPECT_EQ(std::pair(counts().chains, counts().member_lists), std::pair(1u, 2u));
  remove(10);
  remove(11);
  EXPECT_EQ(counts(), FlowCounts{});
}

TEST_F(FlowEngine, DeleteFlowsEmptiesEverything) {
  for (uint32_t id = 1; id <= 20; ++id) {
    FlowMsg m = flow(id, id % 3, id % 2 ? 3 : 30);
    ASSERT_EQ(add(m), 1) << id;
  }
  FlowMsg m = flow(21, 5, OF_PORT_NONE);
  generic(m);
  ASSERT_EQ(add(m), 1);
  EXPECT_GT(openflow_delete_all_flows(), 0);
  EXPECT_EQ(counts(), FlowCounts{});
}
}  // namespace
