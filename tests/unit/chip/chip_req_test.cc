// The agent's side of the golden chip requests (the bytes each builder gives, nothing written
// behind them) and the limits of the builders.
#include "chip/chip_req.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "golden_requests.h"

namespace {

using ofa::test::GoldenRequest;

constexpr uint8_t kPoison = 0xA5;

class ChipReqGolden : public ::testing::TestWithParam<GoldenRequest> {};

TEST_P(ChipReqGolden, Bytes) {
  const GoldenRequest& g = GetParam();
  std::array<uint8_t, 4048> area;
  area.fill(kPoison);
  ASSERT_EQ(g.build(area), g.length);
  std::vector<uint8_t> want = ofa::test::sparse(g.extent, g.bytes);
  EXPECT_EQ(std::vector<uint8_t>(area.begin(), area.begin() + g.extent), want);
  for (size_t i = g.extent; i < g.extent + 64; ++i)
    ASSERT_EQ(area[i], kPoison) << g.name << " wrote behind its extent at " << i;
}

INSTANTIATE_TEST_SUITE_P(AllRecords, ChipReqGolden,
                         ::testing::ValuesIn(ofa::test::golden_requests()),
                         [](const auto& info) { return info.param.name; });

// ---- limits -----------------------------------------------------------------------------------

TEST(ChipReqLimits, AreaTooSmallSendsNothing) {
  std::array<uint8_t, 100> small;
  small.fill(kPoison);
  EXPECT_EQ(ofa::test::golden_request("l2flow").build(small), 0u);
  EXPECT_EQ(of_build_port_vlan_wide(small, {}, of_req_family::ard), 0u);
  for (uint8_t b : small)
    EXPECT_EQ(b, kPoison);
  std::array<uint8_t, 36> exact_short;
  // The short zim delete declares 36 bytes but its id stands at 36: the area must hold 40.
  EXPECT_EQ(of_build_nhop_del(exact_short, 1, true), 0u);
}

TEST(ChipReqLimits, BatchAndPathCounts) {
  std::array<uint8_t, 4048> area{};
  std::vector<of_vlan_pair> pairs(251, {1, 2});
  EXPECT_EQ(of_build_port_vlan_batch(area, 1, pairs, true, of_req_family::ard), 0u);
  pairs.resize(250);
  EXPECT_EQ(of_build_port_vlan_batch(area, 1, pairs, true, of_req_family::ard), 2084u);
  std::vector<of_nhop_path> paths(9);
  EXPECT_EQ(of_build_nhop_add(area, {1, OF_NHOP_KIND_MULTI, 0, paths}), 0u);
  paths.resize(8);
  EXPECT_EQ(of_build_nhop_add(area, {1, OF_NHOP_KIND_MULTI, 0, paths}), 196u);
}

TEST(ChipReqLimits, BulkRefusesWhatDoesNotFitAndStaysUnchanged) {
  std::array<uint8_t, 120> area{};
  std::array<uint8_t, 64> sub{};
  of_bulk_init(area, false);
  of_build_mgid_del(sub, 1);
  EXPECT_EQ(of_bulk_add(area, sub), 72u);
  EXPECT_EQ(of_bulk_add(area, sub), 108u);
  EXPECT_EQ(of_bulk_add(area, sub), 0u);  // 144 > 120
  of_cos_hdr h;
  ASSERT_TRUE(of_cos_hdr_read(area, &h));
  EXPECT_EQ(h.req_len, 108u);
  EXPECT_EQ(ofa::wire::Reader(area).u16_at(32), 2u);
  // A sub-request whose header claims more than it holds is refused.
  std::array<uint8_t, 28> lying{};
  of_cos_hdr_init(sub, OF_CMD_MGID_DEL, 36, 36);
  std::copy_n(sub.begin(), 28, lying.begin());
  std::array<uint8_t, 200> big{};
  of_bulk_init(big, false);
  EXPECT_EQ(of_bulk_add(big, lying), 0u);
}

TEST(ChipReqLimits, BulkSubRequestTakesTheLargerLength) {
  std::array<uint8_t, 600> area{};
  std::array<uint8_t, 200> sub{};
  of_bulk_init(area, false);
  of_cos_hdr_init(sub, OF_CMD_STATS_READ, 56, 120);
  EXPECT_EQ(of_bulk_add(area, sub), 156u);
  // Built in place and committed.
  uint32_t at = of_bulk_next_offset(area);
  EXPECT_EQ(at, 156u);
  of_build_port_vpn(std::span<uint8_t>(area).subspan(at), 5, 6);
  EXPECT_EQ(of_bulk_commit(area), 200u);
}

TEST(ChipReqLimits, CheckedLengths) {
  EXPECT_TRUE(of_cos_lengths_ok(28, 28));
  EXPECT_FALSE(of_cos_lengths_ok(24, 28));        // request not above 27
  EXPECT_FALSE(of_cos_lengths_ok(30, 32));        // not a multiple of 4
  EXPECT_FALSE(of_cos_lengths_ok(28, 0x100004));  // reply over the limit
  EXPECT_TRUE(of_cos_lengths_ok(0x100000, 0x100000));
}

TEST(ChipReqLimits, StatsResultOffsetStepsOverKeysAndBitSet) {
  // One flow key: 48 + 8 + 4 (bit set of one word); the second result 24 bytes further.
  EXPECT_EQ(of_stats_result_offset(8, 1, OF_STATS_FLOW_RESULT_BYTES, 0), 60u);
  EXPECT_EQ(of_stats_result_offset(8, 1, OF_STATS_FLOW_RESULT_BYTES, 1), 84u);
  // 33 wanted results take two bit-set words.
  EXPECT_EQ(of_stats_result_offset(33 * 8, 33, OF_STATS_FLOW_RESULT_BYTES, 0), 320u);
}

}  // namespace
