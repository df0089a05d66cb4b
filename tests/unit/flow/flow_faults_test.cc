// Chip refusals on every path of a flow: what the manager is told, what the agent keeps, and
// that everything but the orphans a refused delete leaves goes back to its pool or table.
#include <gtest/gtest.h>

#include "agent/flow_record.h"
#include "chip/chip_req.h"
#include "flow_env.h"

namespace {

using ofa::mgr::FlowMsg;
using ofa::test::FlowCounts;
using ofa::test::FlowEnv;

class FlowFaults : public FlowEnv {
 protected:
  void SetUp() override {
    FlowEnv::SetUp();
    port(3, 1, 3);           // flat chip 0
    port(31, 1, 31);         // flat chip 1
    hsl().requests.clear();  // a port of an unknown chip brings that chip up
  }
  static FlowMsg generic(uint32_t id) {
    FlowMsg m = flow(id, 50, OF_PORT_NONE);
    m.wildcards |= OF_WC_IN_PORT;
    return m;
  }
};

TEST_F(FlowFaults, ARefusedAddKeepsNoFlow) {
  hsl().fail = {0};
  EXPECT_EQ(add(flow(10, 100, 3)), 0);
  EXPECT_EQ(counts(), FlowCounts{});
  hsl().fail.clear();
  EXPECT_EQ(add(flow(11, 100, 3)), 1);  // the next one lands
}

TEST_F(FlowFaults, ARefusedUpdateDeletesTheFlow) {
  ASSERT_EQ(add(flow(10, 100, 3)), 1);
  hsl().requests.clear();
  hsl().fail = {0};
  EXPECT_EQ(modify(flow(10, 100, 3)), 0);
  EXPECT_EQ(hsl().commands(), (std::vector<uint32_t>{OF_CMD_L2FLOW_UPD, OF_CMD_L2FLOW_DEL}));
  EXPECT_EQ(counts(), FlowCounts{});
}

// The agent forgets the flow; its entry stays on the chip, in the chip's tree and out of the pool.
TEST_F(FlowFaults, ARefusedDeleteOrphansTheEntry) {
  ASSERT_EQ(add(flow(10, 100, 3)), 1);
  hsl().fail = {1};
  remove(10);
  EXPECT_EQ(counts(), (FlowCounts{.l2_ids = 1, .tree_nodes = 1}));
}

// Chips are walked from the highest flat id: chip 1 keeps its entry when chip 0 refuses.
TEST_F(FlowFaults, AGenericAddRefusedOnTheSecondChipLeavesTheFirst) {
  hsl().fail = {1};
  EXPECT_EQ(add(generic(10)), 0);
  EXPECT_EQ(hsl().requests.at(0).target, hsl().requests.at(1).target + (1u << 7));
  EXPECT_EQ(counts().flows, 0u);
  EXPECT_EQ(counts().tree_nodes, 1u);
}

TEST_F(FlowFaults, AModifyOfAWaitingFragmentDeletesIt) {
  FlowMsg m = flow(10, 100, 3);
  m.more_fragments = 1;
  ASSERT_EQ(add(m), 1);
  EXPECT_EQ(modify(flow(10, 100, 3)), 0);
  EXPECT_EQ(counts(), FlowCounts{});
}

}  // namespace
