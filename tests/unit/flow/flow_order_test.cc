// A seeded mix of adds, replaces, modifies and deletes against the chip model: the flow region
// holds its entries in flow order (highest priority first, then highest flow id) and the model
// saw no placement it had to refuse.
#include <gtest/gtest.h>

#include <random>

#include "agent/flow_record.h"
#include "chip/chip_req.h"
#include "flow/flow_engine.h"
#include "flow/flow_table.h"
#include "flow_env.h"
#include "foundation/avl_tree.h"

namespace {

using ofa::test::FlowCounts;
using ofa::test::FlowEnv;

class FlowOrder : public FlowEnv {
 protected:
  void SetUp() override {
    start(true);
    port(3, 1, 3);
  }
  // (priority, flow id) of each entry of flat chip 0's L2 flow region, in chip order.
  std::vector<std::pair<uint32_t, uint32_t>> chip_order() {
    std::map<uint32_t, std::pair<uint32_t, uint32_t>> by_handle;
    avl_node* cursor = nullptr;
    for (of_flow_node* n = of_get_first_flow(&cursor); n; n = of_get_next_flow(&cursor))
      by_handle[static_cast<uint32_t>(n->hw->hw.get(0))] = {n->priority, n->flow_id};
    std::vector<std::pair<uint32_t, uint32_t>> out;
    for (uint32_t h : model_->region_handles(0, OF_LDEV_L2, OF_REGION_FLOW))
      out.push_back(by_handle.count(h) ? by_handle[h] : std::pair<uint32_t, uint32_t>{0, 0});
    return out;
  }
};

TEST_F(FlowOrder, ASeededMixKeepsTheRegionInFlowOrder) {
  std::mt19937 rng(20261123);
  auto priority = [&]() -> uint32_t {
    switch (rng() % 3) {
      case 0:
        return rng();  // anything
      case 1:
        return 100;  // equal priorities: flow id decides
      default:
        return 0x80000000u + rng() % 1000;  // at or above 2^31: unsigned order
    }
  };
  for (int i = 0; i < 2000; ++i) {
    uint32_t id = 1 + rng() % 400;
    uint16_t in_port = rng() % 2 ? 3 : 5;  // both on flat chip 0
    switch (rng() % 4) {
      case 0:
      case 1:
        ASSERT_EQ(add(flow(id, priority(), in_port)), 1) << i;
        break;
      case 2: {
        ofa::mgr::FlowMsg m = flow(id, 0, in_port);
        m.members[0].out_port_id = static_cast<uint16_t>(rng() % 48 + 1);
        modify(m);
        break;
      }
      default:
        remove(id);
    }
  }
  auto order = chip_order();
  EXPECT_EQ(order.size(), openflow_flow_count());
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end(), std::greater<>()));
  const auto& st = model_->model().stats();
  EXPECT_EQ(st.not_neighbours + st.unknown_neighbour + st.handle_in_use, 0u);
  EXPECT_TRUE(ofa::chipsim::check_invariants(model_->model()).empty());

  openflow_delete_all_flows();
  EXPECT_TRUE(model_->region_handles(0, OF_LDEV_L2, OF_REGION_FLOW).empty());
  EXPECT_EQ(counts(), FlowCounts{});
}

}  // namespace
