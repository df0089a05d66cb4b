// Whole sequences as a chip sees them at chip up: the region tables of the three families and the
// default entries of ard, as the dump then shows them.
#include <gtest/gtest.h>

#include <ostream>

#include "chipsim_test_util.h"

namespace ofa::chipsim::test {
namespace {

struct RegionRow {
  uint8_t ldev, region;
  uint32_t size, initial, increment;
};

struct FamilyCase {
  const char* name;
  Family family;
  uint32_t tcam;
  std::vector<RegionRow> rows;
};
void PrintTo(const FamilyCase& c, std::ostream* os) {
  *os << c.name;
}

class ChipUpRegions : public ::testing::TestWithParam<FamilyCase> {};

TEST_P(ChipUpRegions, SixRegionsInTheDump) {
  const FamilyCase& c = GetParam();
  Model m(config(c.family, c.tcam));
  for (const auto& r : c.rows) {
    ASSERT_EQ(status_of(m, region_add(r.ldev, r.region, r.size, r.initial, r.increment)), 0);
  }
  std::string dump = m.dump_json();
  size_t at = 0;
  for (const auto& r : c.rows) {
    std::string piece =
        "\"ldev\":" + std::to_string(r.ldev) + ",\"region\":" + std::to_string(r.region) +
        ",\"size\":" + std::to_string(r.size) + ",\"initial\":" + std::to_string(r.initial) +
        ",\"increment\":" + std::to_string(r.increment);
    at = dump.find(piece, at);
    ASSERT_NE(at, std::string::npos) << piece;  // and in (ldev, region) order
  }
  EXPECT_EQ(m.chips().at(kChip).regions.size(), 6u);
}

// Sizes as the three families compute them: S = TCAM less the held-back amount.
INSTANTIATE_TEST_SUITE_P(Families, ChipUpRegions,
                         ::testing::Values(FamilyCase{"ard_4096",
                                                      Family::ard,
                                                      4096,
                                                      {{10, 10, 24, 2, 4},
                                                       {10, 20, 4072, 254, 16},
                                                       {10, 30, 24, 1, 4},
                                                       {23, 10, 24, 0, 4},
                                                       {23, 20, 4072, 254, 16},
                                                       {23, 30, 24, 1, 4}}},
                                           FamilyCase{"ard_24_empty_flow_regions",
                                                      Family::ard,
                                                      24,
                                                      {{10, 10, 24, 2, 4},
                                                       {10, 20, 0, 0, 16},
                                                       {10, 30, 24, 1, 4},
                                                       {23, 10, 24, 0, 4},
                                                       {23, 20, 0, 0, 16},
                                                       {23, 30, 24, 1, 4}}},
                                           FamilyCase{"ard2_2048",
                                                      Family::ard2,
                                                      2048,
                                                      {{10, 10, 145, 0, 4},
                                                       {10, 20, 1903, 118, 29},
                                                       {10, 30, 145, 16, 4},
                                                       {23, 10, 145, 0, 4},
                                                       {23, 20, 1903, 118, 16},
                                                       {23, 30, 145, 16, 4}}},
                                           FamilyCase{"zim_2048",
                                                      Family::zim,
                                                      2048,
                                                      {{10, 10, 96, 2, 4},
                                                       {10, 20, 1952, 122, 16},
                                                       {10, 30, 96, 8, 4},
                                                       {23, 10, 96, 0, 4},
                                                       {23, 20, 1952, 122, 30},
                                                       {23, 30, 96, 8, 4}}}),
                         [](const auto& info) { return std::string(info.param.name); });

// The four default entries of ard after its six regions, with default action 1.
TEST(ArdDefaultEntries, KeysAndResultsInTheDump) {
  Model m(config(Family::ard));
  for (auto r : {region_add(10, 10, 24, 2, 4), region_add(10, 20, 4072, 254, 16),
                 region_add(10, 30, 24, 1, 4), region_add(23, 10, 24, 0, 4),
                 region_add(23, 20, 4072, 254, 16), region_add(23, 30, 24, 1, 4)})
    ASSERT_EQ(status_of(m, r), 0);
  // 1: VPN 0xFFE01, valid bit 1; fwd_action 2; flags bits 0 and 3.
  ASSERT_EQ(
      status_of(m, l2_add(1, 30, 0, 0).u32(96, 0xFFE01).u32(112, 0x2).u8(160, 2).u32(164, 0x9)), 0);
  // 2 and 3: reserved IIVIDs under their masks, valid bit 8; fwd_action 3; flags bit 0.
  ASSERT_EQ(status_of(m, l2_add(1, 10, 0, 0)
                             .u16(56, 8188)
                             .u32(112, (0x1FFCu << 18) | 0x100)
                             .u8(160, 3)
                             .u32(164, 1)),
            0);
  ASSERT_EQ(status_of(m, l2_add(2, 10, 0, 0)
                             .u16(56, 8187)
                             .u32(112, (0x1FFFu << 18) | 0x100)
                             .u8(160, 3)
                             .u32(164, 1)),
            0);
  // 4: VPN 0xFFE02, valid bit 2; fwd_action 3; flags A bit 9; flags B bit 31.
  ASSERT_EQ(status_of(m, l3_add(1, 30, 0, 0)
                             .u32(104, 0xFFE02)
                             .u32(116, 0x4)
                             .u8(168, 3)
                             .u32(184, 0x200)
                             .u32(188, 0x80000000u)),
            0);
  std::string dump = m.dump_json();
  for (
      const char* piece :
      {R"("handle":1,"key":{"in_port":0,"iivid":0,"iivid_mask":0)",
       R"("vpn_id":1048065,"valid":2},"result":{"dest":0,"policer":0,"fwd_action":2,"flags":9,"qos":0})",
       R"("iivid":8188,"iivid_mask":8188)", R"("iivid":8187,"iivid_mask":8191)",
       R"("vpn_id":1048066,"l4_valid":0)",
       R"("result":{"nhop":0,"fwd_action":3,"flags_a":512,"flags_b":2147483648)"})
    EXPECT_NE(dump.find(piece), std::string::npos) << piece;
  EXPECT_EQ(order(m, 10, 10), (std::vector<uint32_t>{1, 2}));
  // Changing the default action updates handle 1 of both default regions only.
  ASSERT_EQ(status_of(m, Req(0x07270051, 84).u32(28, 1).u8(32, 30).u8(33, 1).u8(60, 2).u32(64, 1)),
            0);
  ASSERT_EQ(
      status_of(m, Req(0x072700B9, 80).u32(28, 1).u8(32, 30).u8(33, 1).u8(40, 3).u32(56, 0x200)),
      0);
  const ChipState& c = m.chips().at(kChip);
  EXPECT_EQ(c.regions.at({10, 30}).entries.front().l2res.flags, 1u);
  EXPECT_EQ(c.regions.at({23, 30}).entries.front().l3res.flags_b, 0u);
  EXPECT_EQ(c.regions.at({10, 10}).entries.front().updates, 0u);
  // A warm start: delete-all of both devices first, then everything again.
  for (uint32_t ldev : {10u, 23u})
    ASSERT_EQ(status_of(m, Req(0x07270229, 36).u32(28, (ldev << 24) | 0x00C00000u)), 0);
  EXPECT_TRUE(c.regions.empty());
  EXPECT_EQ(status_of(m, region_add(10, 30, 24, 1, 4)), 0);
  EXPECT_EQ(status_of(m, l2_add(1, 30, 0, 0)), 0);
}

}  // namespace
}  // namespace ofa::chipsim::test
