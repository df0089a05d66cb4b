// Fault injection: a status in place of the chip's work, once, n times, or from the n-th request.
#include <gtest/gtest.h>

#include <tuple>

#include "chipsim_test_util.h"
#include "model/status.h"

namespace ofa::chipsim::test {
namespace {

TEST(Fault, FiresOnceNTimesOrFromTheNth) {
  const std::tuple<FaultMode, uint32_t, std::vector<int32_t>> cases[] = {
      {FaultMode::once, 1, {-5, 0, 0, 0, 0}},
      {FaultMode::times, 2, {-5, -5, 0, 0, 0}},
      {FaultMode::from, 2, {0, -5, -5, -5, -5}},
      {FaultMode::from, 4, {0, 0, 0, -5, -5}}};
  for (const auto& [mode, n, statuses] : cases) {
    Model m(config(Family::ard));
    m.add_fault({.command = 0x07270220, .status = -5, .mode = mode, .n = n});
    std::vector<int32_t> got;  // of five region adds in a row
    for (int i = 0; i < 5; ++i)
      got.push_back(status_of(m, region_add(i < 3 ? 10 : 23, 10 * (1 + i % 3), 24, 1, 4)));
    EXPECT_EQ(got, statuses) << n;
    // A faulted request changes nothing in the chip.
    EXPECT_EQ(m.chips().at(kChip).regions.size(), std::count(got.begin(), got.end(), 0));
  }
}

// A statistics fault aimed at class 46 leaves flow reads (class 12) alone; a slow entry answers
// the request as the chip would (its delay is the benchmarks' to see) and is spent like a fault.
TEST(Fault, StatisticsClassAndSlowAnswers) {
  Model m(config(Family::ard));
  m.add_fault({.command = 0x06270000, .status = -106, .cls = 46});
  m.add_fault({.command = 0x06270000,
               .status = 0,
               .cls = 12,
               .delay_ms = 1,
               .mode = FaultMode::times,
               .n = 2});
  auto read = [&](uint32_t cls) { return status_of(m, Req(0x06270000, 48).u32(28, cls)); };
  EXPECT_EQ((std::vector<int32_t>{read(12), read(12), read(12), read(46), read(46)}),
            (std::vector<int32_t>{0, 0, 0, -106, 0}));
  EXPECT_EQ(m.stats().faults_fired, 3u);
  EXPECT_TRUE(m.faults().empty());
}

TEST(Fault, SecondDefaultEntryFailsFirstStays) {
  Model m(config(Family::ard));
  ASSERT_EQ(status_of(m, region_add(10, 30, 24, 1, 4)), 0);
  ASSERT_EQ(status_of(m, region_add(10, 10, 24, 2, 4)), 0);
  m.add_fault({.command = 0x07270050, .status = -106, .mode = FaultMode::from, .n = 2});
  EXPECT_EQ(status_of(m, l2_add(1, 30, 0, 0)), 0);
  Answer a = call(m, l2_add(1, 10, 0, 0).b);
  EXPECT_EQ(a.status, -106);
  EXPECT_NE(a.log.find("\"fault\":true"), std::string::npos);
  // The faulted request is still decoded for the log.
  EXPECT_NE(a.log.find("\"handle\":1"), std::string::npos);
  EXPECT_EQ(order(m, 10, 30), std::vector<uint32_t>{1});
  EXPECT_TRUE(order(m, 10, 10).empty());
  EXPECT_EQ(m.stats().faults_fired, 1u);
}

TEST(Fault, InsideABulkFailsTheContainer) {
  Model m(config(Family::ard));
  m.add_fault({.command = 0x09270002, .status = -7});
  Req add0 = Req(0x09270002, 88).u32(28, 0x80000000u).u32(80, 4);
  Req add1 = Req(0x09270002, 88).u32(28, 0x80000000u).u32(76, 1u << 28).u32(80, 4);
  EXPECT_EQ(status_of(m, Req(0x00070000, 36).sub(add0).sub(add1)), -7);
  EXPECT_TRUE(m.chips().at(kChip).policers.empty());
  EXPECT_EQ(status_of(m, Req(0x00070000, 36).sub(add0).sub(add1)), 0);
  EXPECT_EQ(m.chips().at(kChip).policers.size(), 2u);
}

TEST(Fault, ClearAndOtherCommandsUntouched) {
  Model m(config(Family::ard));
  m.add_fault({.command = 0x07270220, .status = -5, .mode = FaultMode::from});
  m.add_fault({.command = 0x09270003, .status = -6, .mode = FaultMode::from});
  EXPECT_EQ(status_of(m, l2_add(1, 30, 0, 0)), status::kNoEntry);  // not faulted: no region
  m.clear_faults(0x07270220u);
  ASSERT_EQ(m.faults().size(), 1u);
  EXPECT_EQ(status_of(m, region_add(10, 30, 24, 1, 4)), 0);
  m.clear_faults();
  EXPECT_TRUE(m.faults().empty());
}

}  // namespace
}  // namespace ofa::chipsim::test
