// openflowAgtd between a manager end point and ofa-chipsim: the cold start (stages, registration
// bytes, the chip's regions and default entries against the golden request log, the worker's IPC
// end point, the stop on SIGTERM) and the warm start over a simulator that still holds the chip.
// (A refused chip request is a unit case of the backend; a refused platform file is the platform
// reader's, and the exit of a refused start every program's in the ofactl integration test.)
#include "processes.h"

namespace {

using ofa::test::Child;
using ofa::test::lines;
using ofa::test::read_file;
using ofa::test::recv_within;

class AgentStart : public ofa::test::RunDir {
 protected:
  void SetUp() override {
    RunDir::SetUp();
    ASSERT_EQ(mkdir(path("pq6").c_str(), 0700), 0);
    mgr_ = ofa::test::bind_dgram(path("pq6/ofmgragt.mp"));
    ASSERT_GE(mgr_, 0);
  }
  void TearDown() override {
    agent_.kill_now();
    sim_.kill_now();
    close(mgr_);
    RunDir::TearDown();
  }
  void start_sim() {
    sim_.start(OFA_CHIPSIM_BIN, {"--no-auto-events", "--log", path("requests.jsonl")}, env_,
               path("sim.out"));
    ASSERT_TRUE(ofa::test::wait_for([&] { return ofa::test::exists(path("hsl/ctl.1")); }));
  }
  // Starts the agent and waits for its registration (its bytes are the manager socket's unit
  // test's), from when on HSL events pass its gates.
  void start_agent(const std::string& boot) {
    env_["OFA_BOOT"] = boot;
    agent_.start(OFA_AGENT_BIN, {}, env_, path("agent.out"));
    auto reg = recv_within(mgr_, 10000);
    ASSERT_TRUE(reg.has_value()) << agent_log();
  }
  void chip_up(size_t requests) {
    ASSERT_EQ(ctl("event slot-up"), "{\"ok\":true,\"sent\":1}");
    ASSERT_EQ(ctl("event chip-up"), "{\"ok\":true,\"sent\":1}");
    ASSERT_TRUE(ofa::test::wait_for([&] { return request_log().size() >= requests; }))
        << agent_log();
  }
  std::vector<std::string> request_log() const { return lines(read_file(path("requests.jsonl"))); }
  // The request count once nothing more comes for a moment.
  size_t settled_requests() const {
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    return request_log().size();
  }
  // The stages the agent walked, as its log tells them.
  std::vector<int> stages() const {
    std::vector<int> out;
    std::string l = agent_log();
    const std::string key = "Current Stage  ";
    for (size_t at = l.find(key); at != std::string::npos; at = l.find(key, at + 1))
      out.push_back(std::atoi(l.c_str() + at + key.size()));
    return out;
  }

  int mgr_ = -1;
  Child sim_, agent_;
};

TEST_F(AgentStart, Cold) {
  start_sim();
  start_agent("cold");
  ASSERT_TRUE(wait_agent_log("Current Stage  1000, Next Stage 0"));
  EXPECT_EQ(stages(), (std::vector<int>{1002, 1, 1001, 1000}));
  chip_up(10);
  EXPECT_EQ(settled_requests(), 10u);
  EXPECT_EQ(request_log(),
            lines(read_file(std::string(OFA_CHIP_FIXTURES) + "/cold_start_ard.jsonl")));
  EXPECT_FALSE(recv_within(mgr_, 50).has_value());  // one registration only

  // The worker thread answers on the IPC end point.
  int client = ofa::test::bind_dgram(path("ipc/client"));
  ASSERT_TRUE(ofa::test::send_to(client, path("ipc/IPCOPENFLOWAGT.1"), {0, 0, 0, 1, 0, 0, 0, 42}));
  auto answer = recv_within(client, 10000);
  close(client);
  ASSERT_TRUE(answer.has_value());
  EXPECT_EQ(*answer, (std::vector<uint8_t>{0xba, 0xad, 0xba, 0xbe}));

  EXPECT_EQ(agent_.stop(SIGTERM), 0);
  EXPECT_NE(agent_log().find("stopped by signal 15"), std::string::npos);
  EXPECT_FALSE(ofa::test::exists(path("pq6/ofmgragt.1")));
}

TEST_F(AgentStart, WarmDeletesTheRegionsFirstAndDropsHslEvents) {
  start_sim();
  start_agent("cold");
  chip_up(10);
  agent_.kill_now();
  start_agent("warm");
  ASSERT_TRUE(ofa::test::wait_for([&] { return request_log().size() >= 22; })) << agent_log();
  auto log = request_log();
  ASSERT_EQ(log.size(), 22u);
  EXPECT_NE(log[10].find("\"command\":\"region_delete_all\""), std::string::npos);
  EXPECT_NE(log[10].find("\"ldev\":10"), std::string::npos);
  EXPECT_NE(log[11].find("\"ldev\":23"), std::string::npos);
  for (size_t i = 0; i < 10; ++i)  // then what the cold start sent, all accepted
    EXPECT_EQ(log[12 + i].substr(log[12 + i].find(",\"chip\"")),
              log[i].substr(log[i].find(",\"chip\"")));
  ASSERT_TRUE(ofa::test::wait_for([&] { return stages().size() >= 8; })) << agent_log();
  EXPECT_EQ(stages(), (std::vector<int>{1002, 1, 1001, 1000, 1003, 2, 1001, 1000}));
  chip_up(22);
  EXPECT_EQ(settled_requests(), 22u);
}

}  // namespace
