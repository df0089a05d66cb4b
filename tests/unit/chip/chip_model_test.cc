// The chip layer against the simulator's chip model in process: the warm start where HSL events
// are dropped and a port add for a chip nobody announced makes the chip through the warm path,
// regions deleted first, and the model ends up with one set of regions and default entries.
#include <memory>

#include "agent/top/rsm.h"
#include "chip/chip_req.h"
#include "chip_test_env.h"
#include "control/platform_config.h"
#include "model/model.h"
#include "platform/msg_queue.h"

namespace {

using chiptest::ChipEnv;

std::unique_ptr<ofa::chipsim::Model> g_model;
std::vector<std::string> g_log;

int model_ioctl(int, uint8_t* buf, uint32_t len, uint32_t cap) {
  return g_model->ioctl(std::span<uint8_t>(buf, cap), len) > 0 ? 0 : -1;
}

class ChipModel : public ChipEnv {
 protected:
  static void SetUpTestSuite() {
    q_ = msgQCreate(16, 1072, 0, "chip-model-test");
    openflowRsmReset();
    of_corvu_state.msgq = q_;
    ASSERT_EQ(openflowRsmInit(), 0);
  }
  static void TearDownTestSuite() {
    openflowRsmReset();
    msgQDelete(q_);
  }
  void SetUp() override {
    Reset(2);
    g_model = std::make_unique<ofa::chipsim::Model>(ofa::chipsim::model_config(ofa_sys_platform()));
    g_log.clear();
    g_model->set_request_log([](const std::string& l) { g_log.push_back(l); });
    ofNLSetIoctlHook(model_ioctl);
  }
  void TearDown() override {
    ChipEnv::TearDown();
    g_model.reset();
  }
  static size_t count(const std::string& text, const std::string& part) {
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
      ++n;
    return n;
  }
  static inline MSG_Q_ID q_ = nullptr;
};

TEST_F(ChipModel, AfterAWarmStartAPortAddMakesTheChipTheWarmWay) {
  // The chip was programmed in the agent's previous life.
  auto rec = chip_rec(1, 1);
  ASSERT_EQ(ofProcessChipAdd(&rec, 0), 0);
  ofResetChipTables();
  ofInitChipTable();
  g_log.clear();
  // Warm start: the chip-up event of HSL is dropped.
  openflowRsmRecover(1003);
  std::vector<uint8_t> ev(28 + OF_CHIP_EVENT_RECORD_SIZE, 0);
  ofa::wire::Writer(ev).u32_at(8, 2);
  of_chip_event_encode(rec, std::span<uint8_t>(ev).subspan(28));
  EXPECT_EQ(ofProcessHslEvent(ev.data(), static_cast<uint32_t>(ev.size()), 0, 203), 0);
  EXPECT_EQ(ofLookupChip(1), nullptr);
  EXPECT_TRUE(g_log.empty());
  // The manager configures port 30, which lies on that chip.
  ASSERT_NE(ofProcessPortAdd(ofa::platform::port_ifindex(1, 30), "ethernet1/30", 30), nullptr);
  ASSERT_NE(ofLookupChip(1), nullptr);
  ASSERT_EQ(g_log.size(), 12u);
  EXPECT_NE(g_log[0].find("\"command\":\"region_delete_all\""), std::string::npos);
  EXPECT_NE(g_log[1].find("\"command\":\"region_delete_all\""), std::string::npos);
  for (const auto& l : g_log)
    EXPECT_NE(l.find("\"status\":0"), std::string::npos) << l;
  std::string dump = g_model->dump_json();
  EXPECT_EQ(count(dump, "\"ldev\":10,\"region\":20,\"size\":2024,\"initial\":126,"), 1u);
  EXPECT_EQ(count(dump, "\"vpn_id\":1048066,"), 1u);
  EXPECT_TRUE(ofa::chipsim::check_invariants(*g_model).empty());
  openflowRsmRecover(1002);
}

TEST_F(ChipModel, TheModelAcceptsEveryRequestTheBuildersMake) {
  auto rec = chip_rec(1, 0);
  ASSERT_EQ(ofProcessChipAdd(&rec, 0), 0);
  std::array<uint8_t, 4048> sub{};
  uint32_t len;
  auto send = [&](uint32_t n) {
    uint32_t rsp = n;
    return ofCosIoctl(rec.ifindex, nullptr, n, nullptr, &rsp);
  };
  // A flow between the default entries' regions, then its update and delete.
  of_l2flow_params p;
  p.handle = 7;
  p.region = OF_REGION_FLOW;
  p.key.iivid = 5;
  p.key.valid = OF_L2_VALID_IIVID;
  EXPECT_EQ(send(of_build_l2flow_req(ofNLReqArea(), p)), 0);
  EXPECT_EQ(send(of_build_l2flow_upd_req(ofNLReqArea(), 7, OF_REGION_FLOW, {})), 0);
  EXPECT_EQ(send(of_build_flow_del_req(ofNLReqArea(), OF_CMD_L2FLOW_DEL, 7, OF_REGION_FLOW)), 0);
  // A port set up in one bulk, as a port enable sends it.
  len = of_bulk_init(ofNLReqArea(), false);
  of_port_vlan_wide_params w{ofa::platform::port_ifindex(1, 3), 4, 7, false, true, true, 4};
  of_build_port_vlan_wide(sub, w, of_req_family::ard);
  len = of_bulk_add(ofNLReqArea(), sub);
  of_build_port_vpn(sub, w.ifindex, 0xFFE01);
  len = of_bulk_add(ofNLReqArea(), sub);
  of_build_port_qos_init(sub, w.ifindex, true);
  len = of_bulk_add(ofNLReqArea(), sub);
  EXPECT_EQ(send(len), 0) << g_log.back();
  // One translation for the whole partition.
  EXPECT_EQ(send(of_build_port_vlan_partition(ofNLReqArea(), {4, 4011}, true, of_req_family::ard)),
            0)
      << g_log.back();
  // Policer, next hop, mgid and their removal.
  EXPECT_EQ(send(of_build_policer_add(ofNLReqArea(), 10, 0, 1000, 64)), 0) << g_log.back();
  EXPECT_EQ(send(of_build_policer_del(ofNLReqArea(), 10, 0)), 0) << g_log.back();
  of_nhop_path path{0, 5, {0, 1, 2, 3, 4, 5}, 0, 0};
  EXPECT_EQ(
      send(of_build_nhop_add(ofNLReqArea(), {0x10000001, OF_NHOP_KIND_SINGLE, 0, {&path, 1}})), 0)
      << g_log.back();
  EXPECT_EQ(send(of_build_nhop_del(ofNLReqArea(), 0x10000001, false)), 0) << g_log.back();
  const uint32_t ports[] = {w.ifindex};
  of_mgid_member m{0xFFFFFFFF, 5, ports};
  EXPECT_EQ(send(of_build_mgid_req(ofNLReqArea(), OF_CMD_MGID_ADD, 0x2001, {&m, 1},
                                   OF_MGID_L2_GROUP_SIZE)),
            0)
      << g_log.back();
  EXPECT_EQ(send(of_build_mgid_del(ofNLReqArea(), 0x2001)), 0) << g_log.back();
  EXPECT_TRUE(ofa::chipsim::check_invariants(*g_model).empty());
}

}  // namespace
