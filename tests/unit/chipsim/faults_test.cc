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
      {FaultMode::from, 4, {0, 0, 0, -5, -5}}};
  for (const auto& [mode, n, statuses] : cases) {
    Model m(config(Family::ard));
    m.add_fault({.command = 0x07270220, .status = -5, .mode = mode, .n = n});
    std::vector<int32_t> got;  // of five region adds in a row
    for (int i = 0; i < 5; ++i)
      got.push_back(status_of(m, region_add(i < 3 ? 10 : 23, 10 * (1 + i % 3), 24, 1, 4)));
    EXPECT_EQ(got, statuses) << n;  // (that a faulted request changes nothing: the ioctl fuzzer)
  }
}

// The faulted request is still decoded for the log, which marks it.
TEST(Fault, FaultedRequestIsLoggedDecoded) {
  Model m(config(Family::ard));
  ASSERT_EQ(status_of(m, region_add(10, 10, 24, 2, 4)), 0);
  m.add_fault({.command = 0x07270050, .status = -106});
  Answer a = call(m, l2_add(1, 10, 0, 0).b);
  EXPECT_EQ(a.status, -106);
  EXPECT_NE(a.log.find(R"("handle":1,)"), std::string::npos) << a.log;
  EXPECT_NE(a.log.find(R"("fault":true)"), std::string::npos) << a.log;
}

}  // namespace
}  // namespace ofa::chipsim::test
