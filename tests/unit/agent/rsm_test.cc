// Stages, registration with the stage driver, warm recovery of chips, hardware resources.
#include "agent/top/rsm.h"

#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

#include "agent/agent_globals.h"
#include "agent/top/openflow_agt_main.h"
#include "backends/chip_family.h"
#include "chip/chip_table.h"
#include "platform/platform_file.h"
#include "platform/rsmd.h"
#include "platform/system.h"

namespace {

ofa::platform::Platform load(const std::string& name) {
  auto r = ofa::platform::load_platform(std::string(OFA_EXAMPLES_DIR) + "/" + name);
  auto* p = std::get_if<ofa::platform::Platform>(&r);
  EXPECT_NE(p, nullptr);
  return p ? *p : ofa::platform::Platform{};
}

class Rsm : public ::testing::Test {
 protected:
  void use(const ofa::platform::Platform& p) {
    ofa_sys_set(p);
    openflowAgtPcb = openflow_agt_pcb{};
    of_corvu_state = of_corvu_state_t{};
    of_corvu_state.mi_sock = -1;
    openflowAgtPcb.model = sysconModel();
    ASSERT_EQ(ofa_get_hw_resrc_info(), 0);
    openflowRsmReset();
    ofResetChipTables();
    ofInitSlotTable();
    ASSERT_EQ(ofInitChipTable(), 0);
  }
  void TearDown() override {
    ofResetChipTables();
    rsmd_shutdown();
    openflowRsmReset();
    ofa_sys_set(load("ard.conf"));
  }
};

// Each stage received from Active: the answer, the agent's stage and the driver's stage after it.
TEST_F(Rsm, RecoverAnswersAndSetsStage) {
  const struct {
    uint32_t received, answer, stage, rsm_stage;
  } rows[] = {{1002, 1, 0, 1002},    {1003, 2, 1, 1003},    {1, 1001, 2, 1},
              {2, 1001, 3, 2},       {1001, 1000, 4, 1001}, {1000, 0, 5, 1001},
              {1005, 1000, 6, 1005}, {1004, 1000, 7, 1004}, {999, 0, 12, 1001}};
  auto p = load("ard.conf");
  p.hw_profile = 5;  // dormant: no registration on the way
  for (const auto& r : rows) {
    use(p);
    openflowRsmRecover(RSM_STAGE_ACTIVE);
    EXPECT_EQ(openflowRsmRecover(r.received), r.answer) << r.received;
    EXPECT_EQ(of_corvu_state.stage, r.stage) << r.received;
    EXPECT_EQ(openflowRsmStageGet(), r.rsm_stage) << r.received;
  }
}

TEST_F(Rsm, BootModeAndNames) {
  use(load("ard.conf"));
  EXPECT_EQ(openflowRsmBootmodeGet(), 1);  // boot mode 0 before any stage
  openflowRsmRecover(RSM_STAGE_COLD);
  EXPECT_EQ(openflowRsmBootmodeGet(), 0);
  EXPECT_STREQ(openflowRsmStageName(3), "Warm Client Initialization");
  EXPECT_STREQ(openflowRsmStageName(8), "Unknown");
}

// Registration and the stage walk of both boots: tests/integration/agent.

std::vector<std::string> g_show;
void show_line(const char* line) {
  g_show.emplace_back(line);
}
// The three lines of the show.
std::vector<std::string> shown() {
  g_show.clear();
  openflow_rsm_show(show_line);
  EXPECT_EQ(g_show.size(), 3u);
  return g_show;
}

TEST_F(Rsm, ShowNamesTheStageAndStartup) {
  auto p = load("ard.conf");
  p.hw_profile = 5;
  use(p);
  EXPECT_EQ(shown(), (std::vector<std::string>{"OPENFLOW Corvu State Synchronization summary:\n",
                                               "    RSM HA Enabled\n", "    Stage: Unknown\n"}));
  openflowRsmRecover(RSM_STAGE_WARM);
  openflowRsmRecover(RSM_STAGE_ACTIVE);
  EXPECT_EQ(shown().at(2), "    Stage: Active, Startup: Warm\n");
  openflowRsmRecover(RSM_STAGE_STANDBY);
  EXPECT_EQ(shown().at(2), "    Stage: Standby\n");
}

TEST_F(Rsm, DumpEndsWithTwoStatuses) {
  use(load("ard.conf"));
  of_corvu_state.rsm_handle = 1;
  uint32_t before = rsmd_status_count();
  EXPECT_EQ(openflowRsmSendDump(nullptr, 1, 2), 0);
  EXPECT_EQ(rsmd_status_count(), before + 2);
}

TEST_F(Rsm, WarmRecoveryZimMakesEveryChip) {
  use(load("zim.conf"));
  ASSERT_EQ(openflowAgtPcb.hw.slot_params.chip_count, 3u);
  ofa_process_warm_recovery();
  for (uint32_t c = 0; c < 3; ++c) {
    of_chip_entry* e = ofLookupChip(c);  // slot 2 is the first slot of the chip table
    ASSERT_NE(e, nullptr) << c;
    EXPECT_EQ((std::vector<uint32_t>{e->local_chip_id, e->ifindex, e->chip_type, e->is_local}),
              (std::vector<uint32_t>{c, 0x84800000u + 0x80 * c, 3, 1}));
  }
}

TEST_F(Rsm, HardwareResourcesFromThePlatform) {
  use(load("ard.conf"));
  const ofa_hw_resources& hw = openflowAgtPcb.hw;
  EXPECT_EQ(hw.of_flags & OF_PROFILE, OF_PROFILE);
  EXPECT_EQ(
      (std::vector<uint32_t>{hw.l2tcam_size, hw.iivid_min, hw.dflt_iivid, hw.dflt_mgid,
                             hw.all_ports_iivid, hw.all_ports_mgid, hw.policer_end, hw.nhop_start,
                             openflowAgtPcb.my_slot, hw.slot_params.chip_count}),
      (std::vector<uint32_t>{4096, 7168, 7172, 8004, 7173, 8005, 3960, 0x10000000, 1, 1}));
}

TEST_F(Rsm, OtherHardwareProfileIsDormant) {
  auto p = load("ard.conf");
  p.hw_profile = 3;
  use(p);
  EXPECT_EQ(openflowAgtPcb.hw.of_flags & OF_PROFILE, 0);
  EXPECT_EQ(openflowAgtPcb.hw.all_ports_iivid, 0u);
  openflowRsmRecover(RSM_STAGE_ACTIVE);
  EXPECT_EQ(of_corvu_state.mi.tx_ok + of_corvu_state.mi.tx_fail, 0u);
}

TEST(Family, IndexFromModel) {
  std::vector<uint32_t> got;
  for (uint32_t model : {131, 155, 164, 1004, 1011, 1012, 0})
    got.push_back(of_family_index(model));
  EXPECT_EQ(got, (std::vector<uint32_t>{OF_FAMILY_ARD, OF_FAMILY_ARD, OF_FAMILY_ARD2, OF_FAMILY_ZIM,
                                        OF_FAMILY_ZIM, OF_FAMILY_NONE, OF_FAMILY_NONE}));
}

}  // namespace
