// `ard` regions and default entries through chip up: what goes to the chip, in which order, and
// what happens when a request fails or the family has no handler.
#include <gtest/gtest.h>

#include "../chip/chip_test_env.h"
#include "adapter/chip_ops.h"
#include "adapter/tcam_id_pool.h"
#include "backends/ard/ard_regions.h"
#include "chip/chip_req.h"

namespace {

using chiptest::byte;
using chiptest::ChipEnv;
using chiptest::fake;
using chiptest::word;

struct RegionCase {
  uint32_t l2_tcam;
  uint32_t l3_tcam;
  uint32_t s2, s2_initial, s3, s3_initial;
};
void PrintTo(const RegionCase& c, std::ostream* os) {
  *os << "tcam " << c.l2_tcam << "/" << c.l3_tcam;
}

class ArdRegions : public ChipEnv, public ::testing::WithParamInterface<RegionCase> {};

TEST_P(ArdRegions, SixRegionsInOrderWithTheirSizes) {
  const RegionCase& c = GetParam();
  openflowAgtPcb.hw.l2tcam_size = c.l2_tcam;
  openflowAgtPcb.hw.l3tcam_size = c.l3_tcam;
  auto rec = chip_rec(1, 0);
  ASSERT_EQ(ofProcessChipAdd(&rec, 0), 0);
  ASSERT_GE(fake().requests.size(), 6u);
  struct Want {
    uint32_t ldev, region, size, initial, increment;
  };
  const Want want[6] = {{10, 10, 24, 2, 4}, {10, 20, c.s2, c.s2_initial, 16}, {10, 30, 24, 1, 4},
                        {23, 10, 24, 0, 4}, {23, 20, c.s3, c.s3_initial, 16}, {23, 30, 24, 1, 4}};
  for (int i = 0; i < 6; ++i) {
    const auto& q = fake().requests[i];
    ASSERT_EQ(q.command, OF_CMD_REGION_ADD) << i;
    ASSERT_EQ(q.bytes.size(), 48u);
    EXPECT_EQ(byte(q, 28), want[i].ldev) << i;
    EXPECT_EQ(byte(q, 29), want[i].region) << i;
    EXPECT_EQ(byte(q, 30), 1u) << i;
    EXPECT_EQ(word(q, 32), 0u) << i;
    EXPECT_EQ(word(q, 36), want[i].size) << i;
    EXPECT_EQ(word(q, 40), want[i].initial) << i;
    EXPECT_EQ(word(q, 44), want[i].increment) << i;
  }
}

INSTANTIATE_TEST_SUITE_P(TcamSizes, ArdRegions,
                         ::testing::Values(RegionCase{2048, 2048, 2024, 126, 2024, 126},
                                           RegionCase{24, 1024, 0, 0, 1000, 62},
                                           RegionCase{1024, 4096, 1000, 62, 4072, 254},
                                           RegionCase{10, 24, 0, 0, 0, 0}));

class ArdDefaults : public ChipEnv {
 protected:
  of_chip_entry* UpChip() {
    auto rec = chip_rec(1, 0);
    EXPECT_EQ(ofProcessChipAdd(&rec, 0), 0);
    return ofLookupChip(0);
  }
  const chiptest::Request& req(size_t i) { return fake().requests.at(i); }
};

TEST_F(ArdDefaults, FourEntriesWithTheirKeysAndResults) {
  UpChip();
  ASSERT_EQ(fake().requests.size(), 10u);
  // 1: L2 default, handle 1 in region 30, VPN 0xFFE01 (valid bit 1), fwd_action 2, flags bit 0.
  const auto& e1 = req(6);
  EXPECT_EQ(e1.command, OF_CMD_L2FLOW_ADD);
  EXPECT_EQ(e1.bytes.size(), 184u);
  EXPECT_EQ(word(e1, 28), 1u);
  EXPECT_EQ(word(e1, 32), 0u);
  EXPECT_EQ(word(e1, 36), 0u);
  EXPECT_EQ(byte(e1, 40), 30u);
  EXPECT_EQ(byte(e1, 42), 1u);
  EXPECT_EQ(word(e1, 96), 0xFFE01u);
  EXPECT_EQ(word(e1, 112), 0x2u);
  EXPECT_EQ(byte(e1, 136 + 24), 2u);
  EXPECT_EQ(word(e1, 136 + 28), 0x1u);
  // 2 and 3: reserved IIVIDs in region 10.
  const auto& e2 = req(7);
  EXPECT_EQ(word(e2, 28), 1u);
  EXPECT_EQ(byte(e2, 40), 10u);
  EXPECT_EQ(chiptest::word(e2, 56) >> 16, 8188u);
  EXPECT_EQ(word(e2, 112), (0x1FFCu << 18) | 0x100u);
  EXPECT_EQ(byte(e2, 136 + 24), 3u);
  EXPECT_EQ(word(e2, 136 + 28), 0x1u);
  const auto& e3 = req(8);
  EXPECT_EQ(word(e3, 28), 2u);
  EXPECT_EQ(byte(e3, 40), 10u);
  EXPECT_EQ(chiptest::word(e3, 56) >> 16, 8187u);
  EXPECT_EQ(word(e3, 112), (0x1FFFu << 18) | 0x100u);
  // 4: L3 default, handle 1 in region 30, VPN 0xFFE02 (valid bit 2), fwd_action 3, flags A bit 9.
  const auto& e4 = req(9);
  EXPECT_EQ(e4.command, OF_CMD_L3FLOW_ADD);
  EXPECT_EQ(e4.bytes.size(), 208u);
  EXPECT_EQ(word(e4, 28), 1u);
  EXPECT_EQ(byte(e4, 40), 30u);
  EXPECT_EQ(word(e4, 104), 0xFFE02u);
  EXPECT_EQ(word(e4, 116), 0x4u);
  EXPECT_EQ(byte(e4, 164 + 4), 3u);
  EXPECT_EQ(word(e4, 164 + 20), 0x200u);
  EXPECT_EQ(word(e4, 164 + 24), 0u);
}

TEST_F(ArdDefaults, DefaultActionToControllerSetsOnlyTheTwoDefaultEntries) {
  g_openflow_lp.default_action = 1;
  UpChip();
  EXPECT_EQ(word(req(6), 136 + 28), 0x9u);
  EXPECT_EQ(word(req(7), 136 + 28), 0x1u);
  EXPECT_EQ(word(req(8), 136 + 28), 0x1u);
  EXPECT_EQ(word(req(9), 164 + 24), 0x80000000u);
}

TEST_F(ArdDefaults, SuccessWordsPrintHandleAndRegionFromTheReply) {
  std::string out = printed([&] { UpChip(); });
  EXPECT_NE(out.find("Created region ldev: 10, region: 20, size 2024"), std::string::npos);
  EXPECT_NE(out.find("Programmed default l2psel entry hdl: 1, reg 30"), std::string::npos);
  EXPECT_NE(out.find("Programmed ASIC Reserved IVID-1 entry hdl: 1, reg 10"), std::string::npos);
  EXPECT_NE(out.find("Programmed ASIC Reserved IVID-2 entry hdl: 2, reg 10"), std::string::npos);
}

TEST_F(ArdDefaults, FailingRegionStillLeadsToTheDefaultEntries) {
  fake().fail = {2};  // the L2 default region
  std::string out = printed([&] { UpChip(); });
  auto cmds = commands();
  ASSERT_EQ(cmds.size(), 3u + 4u);
  EXPECT_EQ(cmds[3], OF_CMD_L2FLOW_ADD);
  EXPECT_NE(out.find("Unable to create region ldev: 10, region: 30, size 24, rc: -106"),
            std::string::npos);
  EXPECT_NE(out.find("OPENFLOW Unable to add region for chip 0, rc: -106"), std::string::npos);
}

TEST_F(ArdDefaults, FailingSecondEntryKeepsTheFirstAndSendsNoMore) {
  fake().fail = {7};
  std::string out = printed([&] { UpChip(); });
  EXPECT_EQ(fake().requests.size(), 8u);
  EXPECT_NE(out.find("Unable to program ASIC Reserved IVID-1 entry hdl: 1, reg 10, rc: -106"),
            std::string::npos);
  EXPECT_NE(out.find("Unable to add default tcam entry for chip 0, rc: -106"), std::string::npos);
}

TEST_F(ArdDefaults, ChipUpAnswersTheDefaultEntriesStatus) {
  auto rec = chip_rec(1, 0);
  ofProcessChipAdd(&rec, 0);  // the table entry
  of_chip_entry* c = ofLookupChip(0);
  fake() = chiptest::FakeHsl{};
  fake().fail = {9};
  EXPECT_EQ(ofa_chip_up(c), -106);
  fake() = chiptest::FakeHsl{};
  fake().fail = {0};
  EXPECT_EQ(ofa_chip_up(c), 0);  // a region failure does not reach the answer
}

TEST_F(ArdDefaults, UpdateTouchesHandleOneOfRegionThirtyOnly) {
  of_chip_entry* c = UpChip();
  fake().requests.clear();
  ASSERT_EQ(ard_upd_def_entries(c, 1), 0);
  ASSERT_EQ(fake().requests.size(), 2u);
  const auto& l2 = req(0);
  EXPECT_EQ(l2.command, OF_CMD_L2FLOW_UPD);
  EXPECT_EQ(l2.bytes.size(), 84u);
  EXPECT_EQ(word(l2, 28), 1u);
  EXPECT_EQ(byte(l2, 32), 30u);
  EXPECT_EQ(byte(l2, 33), 1u);
  EXPECT_EQ(byte(l2, 36 + 24), 2u);
  EXPECT_EQ(word(l2, 36 + 28), 0x9u);
  const auto& l3 = req(1);
  EXPECT_EQ(l3.command, OF_CMD_L3FLOW_UPD);
  EXPECT_EQ(l3.bytes.size(), 80u);
  EXPECT_EQ(byte(l3, 36 + 4), 3u);
  EXPECT_EQ(word(l3, 36 + 20), 0x200u);
  EXPECT_EQ(word(l3, 36 + 24), 0x80000000u);
  fake().requests.clear();
  fake().fail = {0};
  std::string out = printed([&] { EXPECT_EQ(ard_upd_def_entries(c, 0), -106); });
  EXPECT_EQ(fake().requests.size(), 1u);
  EXPECT_NE(out.find("Unable to update default l2psel entry hdl: 1, reg 30, rc: -106"),
            std::string::npos);
}

TEST_F(ArdDefaults, RegionDeleteStopsAtTheFirstFailure) {
  of_chip_entry* c = UpChip();
  fake().requests.clear();
  fake().fail = {0};
  std::string out = printed([&] { EXPECT_EQ(ofa_region_del(c), -106); });
  EXPECT_EQ(fake().requests.size(), 1u);
  EXPECT_NE(out.find("Unable to delete all regions ldev: 10 rc: -106"), std::string::npos);
  EXPECT_NE(out.find("OPENFLOW Unable to delete region for chip 0, rc: -106"), std::string::npos);
}

TEST_F(ArdDefaults, ModelOutsideTheFamilyTableSendsNothing) {
  Reset(1, 999);
  auto rec = chip_rec(1, 0);
  std::string out = printed([&] { EXPECT_EQ(ofProcessChipAdd(&rec, 1), 0); });
  EXPECT_TRUE(fake().requests.empty());
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

TEST(ChipOps, FamilyColumns) {
  openflowAgtPcb.model = 131;
  EXPECT_EQ(of_chip_family(), 2u);
  EXPECT_NE(of_chip_op(of_chip_reg_add_ioctl_fn), nullptr);
  EXPECT_NE(of_chip_op(of_def_ent_upd_ioctl_fn), nullptr);
  // ard has no port catch-all slots.
  EXPECT_EQ(of_chip_op(of_port_def_ent_add_ioctl_fn), nullptr);
  EXPECT_EQ(of_chip_op(of_port_def_ent_del_ioctl_fn), nullptr);
  for (uint32_t model : {999u, 0u, 1012u}) {
    openflowAgtPcb.model = model;
    EXPECT_EQ(of_chip_family(), 4u);
    EXPECT_EQ(of_chip_op(of_chip_reg_add_ioctl_fn), nullptr);
    EXPECT_EQ(of_chip_op(of_def_ent_add_ioctl_fn), nullptr);
  }
  // Modify slots of next hops hold their add slots' handlers.
  EXPECT_EQ(of_group_mp_nhop_mod_ioctl_fn, of_group_mp_nhop_add_ioctl_fn);
  EXPECT_EQ(of_group_sp_nhop_mod_ioctl_fn, of_group_sp_nhop_add_ioctl_fn);
  for (const auto* slot : {&of_chip_reg_add_ioctl_fn, &of_chip_reg_del_ioctl_fn}) {
    EXPECT_EQ((*slot)[0], nullptr);
    EXPECT_EQ((*slot)[4], nullptr);
  }
}

// ---- TCAM id pools -------------------------------------------------------------------------

TEST(TcamIdPool, DrawsOneToLastThenZeroAndReusesFreedIdsLast) {
  of_id_list* l = create_list(OF_TCAM_ID_FIRST, OF_TCAM_ID_END);
  ASSERT_NE(l, nullptr);
  EXPECT_EQ(checkout_new_id(l), 1u);
  EXPECT_EQ(checkout_new_id(l), 2u);
  checkin_id(l, 1);
  uint32_t last = 0;
  for (int i = 0; i < 49997; ++i)
    last = checkout_new_id(l);
  EXPECT_EQ(last, 49999u);
  EXPECT_EQ(checkout_new_id(l), 1u);  // the freed id comes last
  EXPECT_EQ(checkout_new_id(l), 0u);
  EXPECT_EQ(l->free_count, 0);
  free_id_list(l);
}

TEST(TcamIdPool, CheckinOfAnIdNotInUseMovesNothingButCounts) {
  of_id_list* l = create_list(1, 4);
  EXPECT_EQ(checkout_new_id(l), 1u);
  checkin_id(l, 3);  // free, not in use
  EXPECT_EQ(l->free_count, 3);
  EXPECT_EQ(l->used_count, 0);
  EXPECT_EQ(id_list_free_len(l), 2u);
  checkin_id(l, 1);
  checkin_id(l, 1);  // a second check-in of the same id: counted, not moved twice
  EXPECT_EQ(id_list_free_len(l), 3u);
  EXPECT_EQ(id_list_free_tail(l), 1u);
  checkin_id(l, 0);  // outside the list: counted, nothing moves
  checkin_id(l, 4);
  EXPECT_EQ(id_list_free_len(l), 3u);
  EXPECT_EQ(l->free_count, 7);
  EXPECT_EQ(checkout_new_id(l), 2u);
  EXPECT_EQ(checkout_new_id(l), 3u);
  EXPECT_EQ(checkout_new_id(l), 1u);
  EXPECT_EQ(checkout_new_id(l), 0u);
  free_id_list(l);
  EXPECT_EQ(create_list(5, 5), nullptr);
}

TEST(TcamIdPool, InitMakesBothPools) {
  EXPECT_EQ(openflow_lp_init_tcam_id_pool(), 1);
  ASSERT_NE(l2flow_tcam_idpool_node, nullptr);
  ASSERT_NE(l3ipv4flow_tcam_idpool_node, nullptr);
  EXPECT_EQ(l2flow_tcam_idpool_node->free_count, 49999);
}

}  // namespace
