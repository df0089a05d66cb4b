// `ard` regions and default entries through chip up: what goes to the chip, in which order, and
// what happens when a request fails or the family has no handler.
#include <gtest/gtest.h>

#include "adapter/chip_up.h"
#include "adapter/tcam_id_pool.h"
#include "backends/ard/ard_regions.h"
#include "chip/chip_req.h"
#include "chip_env.h"
#include "hex.h"

namespace {

using ofa::test::ChipEnv;

// The flow regions (the second of each set) take what the TCAM leaves, nothing when it holds no
// more than the others; the golden request log of a cold start holds the six regions of the
// default platform byte for byte.
TEST_F(ChipEnv, ArdFlowRegionSizes) {
  const struct {
    uint32_t l2_tcam, l3_tcam, s2, s2_initial, s3, s3_initial;
  } cases[] = {{24, 1024, 0, 0, 1000, 62}, {10, 24, 0, 0, 0, 0}};
  for (const auto& c : cases) {
    ofa::test::reset_agent();
    openflowAgtPcb.hw.l2tcam_size = c.l2_tcam;
    openflowAgtPcb.hw.l3tcam_size = c.l3_tcam;
    ASSERT_EQ(chip_up(1, 0), 0);
    const auto& q = hsl().requests;
    ASSERT_GE(q.size(), 6u);
    EXPECT_EQ((std::vector<uint32_t>{q[1].word(36), q[1].word(40), q[4].word(36), q[4].word(40)}),
              (std::vector<uint32_t>{c.s2, c.s2_initial, c.s3, c.s3_initial}))
        << c.l2_tcam;
  }
}

class ArdDefaults : public ChipEnv {
 protected:
  of_chip_entry* UpChip() {
    EXPECT_EQ(chip_up(1, 0), 0);
    return ofLookupChip(0);
  }
  const ofa::test::Request& req(size_t i) { return hsl().requests.at(i); }
};

TEST_F(ArdDefaults, DefaultActionToControllerSetsOnlyTheTwoDefaultEntries) {
  g_openflow_lp.default_action = 1;
  UpChip();
  EXPECT_EQ(std::tuple(req(6).word(164), req(7).word(164), req(8).word(164), req(9).word(188)),
            std::tuple(0x9u, 0x1u, 0x1u, 0x80000000u));
}

TEST_F(ArdDefaults, SuccessWordsPrintHandleAndRegionFromTheReply) {
  std::string out = printed([&] { UpChip(); });
  EXPECT_NE(out.find("Created region ldev: 10, region: 20, size 2024"), std::string::npos);
  EXPECT_NE(out.find("Programmed default l2psel entry hdl: 1, reg 30"), std::string::npos);
  EXPECT_NE(out.find("Programmed ASIC Reserved IVID-1 entry hdl: 1, reg 10"), std::string::npos);
  EXPECT_NE(out.find("Programmed ASIC Reserved IVID-2 entry hdl: 2, reg 10"), std::string::npos);
}

TEST_F(ArdDefaults, FailingRegionStillLeadsToTheDefaultEntries) {
  hsl().fail = {2};  // the L2 default region
  std::string out = printed([&] { UpChip(); });
  EXPECT_EQ(hsl().commands().size(), 7u);
  EXPECT_EQ(hsl().commands().at(3), OF_CMD_L2FLOW_ADD);
  EXPECT_NE(out.find("Unable to create region ldev: 10, region: 30, size 24, rc: -106"),
            std::string::npos);
  EXPECT_NE(out.find("OPENFLOW Unable to add region for chip 0, rc: -106"), std::string::npos);
}

TEST_F(ArdDefaults, FailingSecondEntryKeepsTheFirstAndSendsNoMore) {
  hsl().fail = {7};
  std::string out = printed([&] { UpChip(); });
  EXPECT_EQ(hsl().requests.size(), 8u);
  EXPECT_NE(out.find("Unable to program ASIC Reserved IVID-1 entry hdl: 1, reg 10, rc: -106"),
            std::string::npos);
  EXPECT_NE(out.find("Unable to add default tcam entry for chip 0, rc: -106"), std::string::npos);
}

TEST_F(ArdDefaults, ChipUpAnswersTheDefaultEntriesStatus) {
  chip_up(1, 0);  // the table entry
  of_chip_entry* c = ofLookupChip(0);
  hsl() = ofa::test::FakeHsl{};
  hsl().fail = {9};
  EXPECT_EQ(ofa_chip_up(c), -106);
  hsl() = ofa::test::FakeHsl{};
  hsl().fail = {0};
  EXPECT_EQ(ofa_chip_up(c), 0);  // a region failure does not reach the answer
}

TEST_F(ArdDefaults, UpdateTouchesHandleOneOfRegionThirtyOnly) {
  of_chip_entry* c = UpChip();
  hsl().requests.clear();
  ASSERT_EQ(ard_upd_def_entries(c, 1), 0);
  ASSERT_EQ(hsl().requests.size(), 2u);
  EXPECT_EQ(req(0).bytes, ofa::test::sparse(84,
                                            "0: 07270051 | 8: 00000054 00000054 | "
                                            "28: 00000001 1E01 | 60: 02 | 64: 00000009"));
  EXPECT_EQ(req(1).bytes, ofa::test::sparse(80,
                                            "0: 072700B9 | 8: 00000050 00000050 | "
                                            "28: 00000001 1E01 | 40: 03 | 56: 00000200 80000000"));
  hsl().requests.clear();
  hsl().fail = {0};
  ofa::test::TraceCapture words;
  EXPECT_EQ(ard_upd_def_entries(c, 0), -106);
  EXPECT_TRUE(words.has("Unable to update default l2psel entry hdl: 1, reg 30, rc: -106"));
}

TEST_F(ArdDefaults, RegionDeleteStopsAtTheFirstFailure) {
  of_chip_entry* c = UpChip();
  hsl().requests.clear();
  hsl().fail = {0};
  std::string out = printed([&] { EXPECT_EQ(ofa_region_del(c), -106); });
  EXPECT_EQ(hsl().requests.size(), 1u);
  EXPECT_NE(out.find("Unable to delete all regions ldev: 10 rc: -106"), std::string::npos);
  EXPECT_NE(out.find("OPENFLOW Unable to delete region for chip 0, rc: -106"), std::string::npos);
}

TEST_F(ArdDefaults, ModelOutsideTheFamilyTableSendsNothing) {
  ofa::test::reset_agent({.model = 999});
  std::string out = printed([&] { EXPECT_EQ(chip_up(1, 0, 1), 0); });
  EXPECT_TRUE(hsl().requests.empty());
  of_chip_entry* c = ofLookupChip(0);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->l2_size, 2048u);  // nothing held back for an unknown family
  EXPECT_NE(out.find("OPENFLOW no region delete handler for chip: 0"), std::string::npos);
  EXPECT_NE(out.find("OPENFLOW no region add handler for chip: 0"), std::string::npos);
  EXPECT_NE(out.find("No default tcam entry handler for chip: 0"), std::string::npos);
  EXPECT_EQ(ofa_region_add(c), -126);
  EXPECT_EQ(ofa_region_del(c), -126);
  EXPECT_EQ(ofa_setup_default_tcam_entries(c), 0);
}

// ---- TCAM id pools -------------------------------------------------------------------------

// Ids from the first to the last, then 0; a freed id comes after the others.
TEST(TcamIdPool, CheckinOfAnIdNotInUseMovesNothingButCounts) {
  of_id_list* l = create_list(1, 4);
  EXPECT_EQ(checkout_new_id(l), 1u);
  checkin_id(l, 3);  // free, not in use
  EXPECT_EQ(l->used_count, 0);
  checkin_id(l, 1);
  checkin_id(l, 1);  // a second check-in of the same id: counted, not moved twice
  checkin_id(l, 0);  // outside the list: counted, nothing moves
  checkin_id(l, 4);
  EXPECT_EQ(std::pair(id_list_free_len(l), l->free_count), std::pair(3u, 7));
  EXPECT_EQ(checkout_new_id(l), 2u);
  EXPECT_EQ(checkout_new_id(l), 3u);
  EXPECT_EQ(checkout_new_id(l), 1u);
  EXPECT_EQ(checkout_new_id(l), 0u);
  free_id_list(l);
  EXPECT_EQ(create_list(5, 5), nullptr);
}

}  // namespace
