// TCAM placement: before/after neighbours in the chip's order, handles in use, full regions,
// update and delete, and the region table itself. (The container's own consistency is the
// model's invariant check, which the tests and the ioctl fuzzer run.)
#include <gtest/gtest.h>

#include <ostream>

#include "chipsim_test_util.h"
#include "model/status.h"

namespace ofa::chipsim::test {
namespace {

using V = std::vector<uint32_t>;

class Placement : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(status_of(m, region_add(10, 20, 5, 1, 2)), 0);
    ASSERT_EQ(status_of(m, region_add(23, 20, 5, 1, 2)), 0);
  }
  int32_t add(uint32_t h, uint32_t before, uint32_t after, bool l3 = false) {
    return status_of(m, flow_add(l3, h, 20, before, after));
  }
  Model m{config(Family::ard)};
};

TEST_F(Placement, FollowsBeforeAndAfter) {
  // 0x10000 is past the handles the region finds through its flat index.
  EXPECT_EQ(add(10, 0, 0), 0);        // first entry: both 0
  EXPECT_EQ(add(0x10000, 0, 10), 0);  // behind the last
  EXPECT_EQ(add(5, 10, 0), 0);        // ahead of the first
  EXPECT_EQ(add(7, 10, 5), 0);        // between neighbours
  EXPECT_EQ(add(8, 0x10000, 10), 0);  // between neighbours, one past the index
  EXPECT_EQ(order(m, 10, 20), (V{5, 7, 10, 8, 0x10000}));
  EXPECT_TRUE(check_invariants(m).empty());
}

struct Violation {
  const char* name;
  uint32_t handle, before, after;
  int32_t status;
  uint64_t Stats::*counter;
};
void PrintTo(const Violation& c, std::ostream* os) {
  *os << c.name;
}

class Violations : public Placement, public ::testing::WithParamInterface<Violation> {};

TEST_P(Violations, RefusedAndCounted) {
  // Order 5, 7, 10.
  ASSERT_EQ(add(10, 0, 0), 0);
  ASSERT_EQ(add(5, 10, 0), 0);
  ASSERT_EQ(add(7, 10, 5), 0);
  const Violation& v = GetParam();
  Answer a = call(m, l2_add(v.handle, 20, v.before, v.after).b);
  EXPECT_EQ(a.status, v.status) << a.log;
  EXPECT_EQ(m.stats().*v.counter, 1u);
  EXPECT_EQ(m.stats().placement_violations(), 1u);
  EXPECT_EQ(order(m, 10, 20), (V{5, 7, 10}));
}

INSTANTIATE_TEST_SUITE_P(
    All, Violations,
    ::testing::Values(
        Violation{"not_neighbours", 8, 10, 5, status::kNotNeighbours, &Stats::not_neighbours},
        Violation{"after_not_last", 8, 0, 7, status::kNotNeighbours, &Stats::not_neighbours},
        Violation{"before_not_first", 8, 7, 0, status::kNotNeighbours, &Stats::not_neighbours},
        Violation{"both_zero_in_flow_region", 8, 0, 0, status::kNotNeighbours,
                  &Stats::not_neighbours},
        Violation{"unknown_after", 8, 0, 99, status::kNotNeighbours, &Stats::unknown_neighbour},
        Violation{"unknown_before", 8, 99, 10, status::kNotNeighbours, &Stats::unknown_neighbour},
        Violation{"handle_in_use", 7, 0, 10, status::kExists, &Stats::handle_in_use}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(Placement, RegionFullAtItsSize) {
  ASSERT_EQ(add(1, 0, 0), 0);
  for (uint32_t h = 2; h <= 5; ++h)
    ASSERT_EQ(add(h, 0, h - 1), 0);
  EXPECT_EQ(add(6, 0, 5), status::kFull);
  EXPECT_EQ(m.stats().region_full, 1u);
  // The region grew from its initial size by its increment up to its size.
  EXPECT_EQ(m.chips().at(kChip).regions.at({10, 20}).capacity(), 5u);
  // A delete makes room again.
  EXPECT_EQ(status_of(m, flow_del(false, 3, 20)), 0);
  EXPECT_EQ(add(6, 0, 5), 0);
  EXPECT_EQ(order(m, 10, 20), (V{1, 2, 4, 5, 6}));
  EXPECT_TRUE(check_invariants(m).empty());
}

// (A handle is per region and device: the golden chip-up gives handle 1 to three regions.)
TEST_F(Placement, RefusedWithoutItsRegionOrWithHandleZero) {
  EXPECT_EQ(status_of(m, l2_add(1, 10, 0, 0)), status::kNoEntry);  // no region 10
  EXPECT_EQ(add(0, 0, 0), status::kInvalid);                       // handle 0 is "none"
}

TEST_F(Placement, UpdatesAndDeletesNeedTheHandle) {
  ASSERT_EQ(add(4, 0, 0, true), 0);
  EXPECT_EQ(status_of(m, Req(0x072700B9, 80).u32(28, 5).u8(32, 20).u8(33, 1)), status::kNoEntry);
  EXPECT_EQ(status_of(m, Req(0x072700B9, 80).u32(28, 4).u8(32, 20).u8(33, 2)), status::kInvalid);
  EXPECT_EQ(status_of(m, flow_del(false, 4, 20)), status::kNoEntry);  // L3 handle, L2 device
}

TEST(Regions, SizesDevicesAndTypesChecked) {
  struct Case {
    const char* name;
    uint8_t ldev, region, type;
    uint32_t size, initial;
    int32_t status;
  };
  for (const Case& c : {Case{"zero_sized_flow_region", 10, 20, 1, 0, 0, 0},
                        Case{"whole_tcam", 23, 20, 1, 2048, 128, 0},
                        Case{"above_tcam", 23, 20, 1, 2049, 128, status::kInvalid},
                        Case{"initial_above_size", 10, 10, 1, 24, 25, status::kInvalid},
                        Case{"bad_ldev", 11, 10, 1, 24, 2, status::kInvalid},
                        Case{"bad_region", 10, 15, 1, 24, 2, status::kInvalid},
                        Case{"bad_type", 10, 10, 2, 24, 2, status::kInvalid}}) {
    Model m(config(Family::ard, 2048));
    Req r = region_add(c.ldev, c.region, c.size, c.initial, 16).u8(30, c.type);
    EXPECT_EQ(status_of(m, r), c.status) << c.name;
  }
}

}  // namespace
}  // namespace ofa::chipsim::test
