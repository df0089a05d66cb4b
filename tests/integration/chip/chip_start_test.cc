// openflowAgtd against ofa-chipsim: the regions and default entries of a cold start, the warm
// start over a simulator that still holds them, failures injected into the simulator, a switch
// model outside the family table, the receive checks on real event datagrams, and the run
// directory every program refuses.
#include "chip_processes.h"

namespace {

using chipit::ChipProcesses;
using chipit::read_file;

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

size_t count(const std::string& text, const std::string& part) {
  size_t n = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    ++n;
  return n;
}

// The six regions of an `ard` chip for flow-region sizes s2 and s3, as the dump shows them.
std::vector<std::string> regions(uint32_t s2, uint32_t s3) {
  auto r = [](int ldev, int region, uint32_t size, uint32_t initial, uint32_t inc) {
    return "\"ldev\":" + std::to_string(ldev) + ",\"region\":" + std::to_string(region) +
           ",\"size\":" + std::to_string(size) + ",\"initial\":" + std::to_string(initial) +
           ",\"increment\":" + std::to_string(inc) + ",";
  };
  return {r(10, 10, 24, 2, 4), r(10, 20, s2, s2 / 16, 16), r(10, 30, 24, 1, 4),
          r(23, 10, 24, 0, 4), r(23, 20, s3, s3 / 16, 16), r(23, 30, 24, 1, 4)};
}

class ChipStart : public ChipProcesses {
 protected:
  // Cold start, then the simulator's slot-up and chip-up; waits for `n` requests.
  void cold_chip_up(size_t n) {
    start_sim();
    start_agent();
    ASSERT_EQ(ctl("event slot-up"), "{\"ok\":true,\"sent\":1}");
    ASSERT_EQ(ctl("event chip-up"), "{\"ok\":true,\"sent\":1}");
    ASSERT_TRUE(wait_requests(n)) << agent_log();
  }
  // Waits a moment for anything more that would come, then answers the request count.
  size_t settled_requests() {
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    return request_log().size();
  }
};

TEST_F(ChipStart, ColdStartMakesSixRegionsAndFourDefaultEntries) {
  cold_chip_up(10);
  EXPECT_EQ(settled_requests(), 10u);
  // The request log, byte for byte.
  auto golden = chipit::lines(read_file(std::string(OFA_CHIP_FIXTURES) + "/cold_start_ard.jsonl"));
  EXPECT_EQ(request_log(), golden);
  // The default platform's TCAMs hold 4096 entries: flow regions of 4072 starting at 254.
  std::string dump = ctl("dump");
  for (const auto& r : regions(4072, 4072))
    EXPECT_EQ(count(dump, r), 1u) << r;
  EXPECT_TRUE(
      has(dump, "{\"handle\":1,\"key\":{\"in_port\":0,\"iivid\":8188,\"iivid_mask\":8188,"));
  EXPECT_TRUE(
      has(dump, "{\"handle\":2,\"key\":{\"in_port\":0,\"iivid\":8187,\"iivid_mask\":8191,"));
  EXPECT_TRUE(has(dump,
                  "\"vpn_id\":1048065,\"valid\":2},\"result\":{\"dest\":0,\"policer\":0,"
                  "\"fwd_action\":2,\"flags\":1,"));
  EXPECT_TRUE(has(dump, "\"vpn_id\":1048066,\"l4_valid\":0,"));
  EXPECT_TRUE(has(dump, "\"fwd_action\":3,\"flags_a\":512,\"flags_b\":0,"));
  EXPECT_EQ(ctl("check"), "{\"ok\":true,\"consistent\":true,\"problems\":[]}");
  EXPECT_TRUE(has(agent_log(), "Programmed ASIC Reserved IVID-2 entry hdl: 2, reg 10"));
}

TEST_F(ChipStart, RegionSizesFollowThePlatformsTcamSizes) {
  use_platform(
      "[switch]\nmodel = 131\nhw_profile = 7\nl2_tcam_size = 2048\nl3_tcam_size = 1024\n"
      "my_slot = 1\n[ports]\ncount = 48\n[slot 1]\nchip.0.type = 1\nchip.0.ports = 1-48\n");
  cold_chip_up(10);
  std::string dump = ctl("dump");
  for (const auto& r : regions(2024, 1000))
    EXPECT_EQ(count(dump, r), 1u) << r;
}

TEST_F(ChipStart, WarmStartDeletesAllFirstAndIgnoresHslEvents) {
  cold_chip_up(10);
  agent_.kill_now();
  start_agent("warm");
  ASSERT_TRUE(wait_requests(22)) << agent_log();
  auto log = request_log();
  ASSERT_EQ(log.size(), 22u);
  EXPECT_TRUE(has(log[10], "\"command\":\"region_delete_all\"") && has(log[10], "\"ldev\":10"))
      << log[10];
  EXPECT_TRUE(has(log[11], "\"command\":\"region_delete_all\"") && has(log[11], "\"ldev\":23"))
      << log[11];
  // Then the same regions and entries as on the cold start, all accepted.
  for (size_t i = 0; i < 10; ++i) {
    std::string cold = log[i].substr(log[i].find(",\"chip\""));
    std::string warm = log[12 + i].substr(log[12 + i].find(",\"chip\""));
    EXPECT_EQ(warm, cold) << i;
  }
  std::string dump = ctl("dump");
  for (const auto& r : regions(4072, 4072))
    EXPECT_EQ(count(dump, r), 1u) << r;
  EXPECT_TRUE(has(dump, "\"errors\":0,"));
  // HSL events after a warm start are dropped.
  EXPECT_EQ(ctl("event slot-up"), "{\"ok\":true,\"sent\":1}");
  EXPECT_EQ(ctl("event chip-up"), "{\"ok\":true,\"sent\":1}");
  EXPECT_EQ(settled_requests(), 22u);
}

TEST_F(ChipStart, FailingRegionStillLeadsToTheDefaultEntries) {
  start_sim();
  ASSERT_TRUE(has(ctl("fault region_add -106 from 6"), "\"ok\":true"));
  start_agent();
  ctl("event chip-up");
  ASSERT_TRUE(wait_requests(10)) << agent_log();
  auto log = request_log();
  EXPECT_TRUE(has(log[5], "\"fault\":true")) << log[5];
  for (size_t i = 6; i < 9; ++i)
    EXPECT_TRUE(has(log[i], "\"command\":\"l2flow_add\"")) << log[i];
  EXPECT_TRUE(has(log[9], "\"command\":\"l3flow_add\"")) << log[9];
  EXPECT_TRUE(has(agent_log(), "Unable to create region ldev: 23, region: 30, size 24, rc: -106"));
  EXPECT_TRUE(has(agent_log(), "OPENFLOW Unable to add region for chip 0, rc: -106"));
}

TEST_F(ChipStart, FailingSecondDefaultEntryStopsTheRest) {
  start_sim();
  ASSERT_TRUE(has(ctl("fault l2flow_add -106 from 2"), "\"ok\":true"));
  start_agent();
  ctl("event chip-up");
  ASSERT_TRUE(wait_requests(8)) << agent_log();
  EXPECT_EQ(settled_requests(), 8u);
  auto log = request_log();
  EXPECT_TRUE(has(log[6], "\"status\":0")) << log[6];
  EXPECT_TRUE(has(log[7], "\"fault\":true")) << log[7];
  std::string dump = ctl("dump");
  EXPECT_TRUE(has(dump,
                  "\"ldev\":10,\"region\":30,\"size\":24,\"initial\":1,\"increment\":4,"
                  "\"capacity\":1,\"count\":1,"));
  EXPECT_TRUE(has(dump,
                  "\"ldev\":10,\"region\":10,\"size\":24,\"initial\":2,\"increment\":4,"
                  "\"capacity\":2,\"count\":0,"));
  EXPECT_TRUE(
      has(agent_log(), "Unable to program ASIC Reserved IVID-1 entry hdl: 1, reg 10, rc: -106"));
  EXPECT_TRUE(has(agent_log(), "Unable to add default tcam entry for chip 0, rc: -106"));
}

TEST_F(ChipStart, ModelOutsideTheFamilyTableSendsNoRequest) {
  use_platform(
      "[switch]\nmodel = 999\nhw_profile = 7\nl2_tcam_size = 2048\nl3_tcam_size = 2048\n"
      "my_slot = 1\n[ports]\ncount = 48\n[slot 1]\nchip.0.type = 1\nchip.0.ports = 1-48\n");
  start_sim();
  start_agent();
  ctl("event chip-up");
  ASSERT_TRUE(chipit::wait_for([&] { return has(agent_log(), "No default tcam entry handler"); }))
      << agent_log();
  EXPECT_EQ(settled_requests(), 0u);
  EXPECT_TRUE(has(agent_log(), "OPENFLOW no region add handler for chip: 0"));
  EXPECT_TRUE(has(agent_log(), "No default tcam entry handler for chip: 0"));
}

TEST_F(ChipStart, ReceiveChecksOnRealEventDatagrams) {
  start_sim();
  start_agent();
  struct Case {
    const char* command;
    const char* words;
  };
  const Case cases[] = {
      {"event chip-up close none", "Message length (0) sanity check failed, socket: ofHslEvent"},
      {"event chip-up close type 3", "Message type is not NLMSG_DONE, socket: ofHslEvent"},
      {"event error code -5", "Received error message, error: -5"},
      {"event chip-up class 3", nullptr},
  };
  for (const auto& c : cases) {
    EXPECT_TRUE(has(ctl(c.command), "\"ok\":true")) << c.command;
    if (c.words) {
      EXPECT_TRUE(chipit::wait_for([&] { return has(agent_log(), c.words); })) << c.command;
    }
  }
  EXPECT_EQ(settled_requests(), 0u);
  EXPECT_FALSE(has(agent_log(), "Received Chip Up"));
  // The reader is still armed: a good event goes through.
  ctl("event chip-up");
  EXPECT_TRUE(wait_requests(10));
}

// A run directory that others may write is refused by every program before it binds anything.
TEST_F(ChipStart, EveryProgramRefusesARunDirectoryOthersMayWrite) {
  ASSERT_EQ(chmod(dir_.c_str(), 0777), 0);
  // A program that wrongly accepts it would run on: `timeout` ends it with status 124.
  const std::string env = "OFA_RUN_DIR='" + dir_ + "' OFA_DEBUG_LOG=off timeout 5 ";
  for (std::string bin : {OFA_AGENT_BIN, OFA_CHIPSIM_BIN, OFA_MGR_BIN " listen"}) {
    std::string out = dir_ + "/refused.out";
    int status = std::system((env + bin + " >'" + out + "' 2>&1").c_str());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 2) << bin << ": " << status;
    EXPECT_TRUE(has(read_file(out), dir_ + ": run directory refused: writable by group or others "
                                           "(mode 0777)"))
        << bin << ": " << read_file(out);
  }
  EXPECT_FALSE(exists(dir_ + "/hsl"));
  EXPECT_FALSE(exists(dir_ + "/pq6"));
}

}  // namespace
