// ofa-mgr against the real openflowAgtd on the default platform: `listen` shows the agent's
// registration and malformed datagrams leave the agent running; `run` of the basic scenario
// delivers every datagram (the agent traces each message it receives).
#include "processes.h"

namespace {

using ofa::test::count;

const std::string kScenarios = OFA_SCENARIOS;

class AgentSession : public ofa::test::RunDir {
 protected:
  void SetUp() override {
    if (std::string(OFA_AGENT_BIN).empty()) {
      GTEST_SKIP() << "the openflowAgtd target is not part of this build";
    }
    RunDir::SetUp();
  }
  // Starts ofa-mgr with `args`, then the agent once the manager's end point is bound.
  void start(const std::vector<std::string>& args, const std::string& out) {
    mgr_.start(OFA_MGR_BIN, args, env_, path(out));
    // A run that is answered at once may be over (its end point gone) before the first look.
    ASSERT_TRUE(ofa::test::wait_for([&] {
      return ofa::test::exists(path("pq6/ofmgragt.mp")) ||
             ofa::test::read_file(path(out)).find("datagrams sent") != std::string::npos;
    }));
    if (!agent_.alive()) agent_.start(OFA_AGENT_BIN, {}, env_, path("agent.out"));
  }
  ofa::test::Child mgr_, agent_;
};

TEST_F(AgentSession, ListenShowsTheRegistrationAndMalformedInputIsSurvived) {
  start({"listen", "--json", "--count", "1", "--timeout", "30"}, "listen.out");
  ASSERT_EQ(mgr_.wait_exit(std::chrono::seconds(40)), 0);
  EXPECT_NE(ofa::test::read_file(path("listen.out"))
                .find("\"kind\":\"register\",\"type\":11,\"slot\":1}"),
            std::string::npos);
  start({"run", "--timeout", "0.3", kScenarios + "/malformed.scn"}, "malformed.out");
  int rc = mgr_.wait_exit(std::chrono::seconds(60));
  std::string run = ofa::test::read_file(path("malformed.out"));
  EXPECT_TRUE(rc == 0 || rc == 1) << rc << "\n" << run;  // 1 while port 3 is not enabled
  EXPECT_EQ(count(run, " ERROR "), 0u) << run;
  EXPECT_NE(run.find("12 datagrams sent"), std::string::npos) << run;
  ASSERT_TRUE(wait_agent_log("Invalid msg type 13")) << agent_log();
  EXPECT_NE(agent_log().find("runs past the datagram"), std::string::npos);
  EXPECT_TRUE(agent_.alive());
}

TEST_F(AgentSession, RunOfTheBasicScenarioDeliversEveryDatagram) {
  start({"run", "--timeout", "0.3", kScenarios + "/basic.scn"}, "basic.out");
  int rc = mgr_.wait_exit(std::chrono::seconds(90));
  std::string run = ofa::test::read_file(path("basic.out"));
  // 1: no chip simulator runs here, so the port flows are refused (tests/integration/scenarios
  // runs the example files with one).
  EXPECT_TRUE(rc == 0 || rc == 1) << rc << "\n" << run;
  EXPECT_NE(run.find("slot 1 registered"), std::string::npos) << run;
  EXPECT_EQ(count(run, " ERROR "), 0u) << run;
  EXPECT_EQ(count(run, "  sent  "), 22u) << run;
  ASSERT_TRUE(ofa::test::wait_for([&] { return count(agent_log(), "Received msg type") >= 22; }))
      << agent_log();
  for (const char* type :
       {"MSGTYPE_OPENFLOW_CONFIG(0) of len 3724", "MSGTYPE_OPENFLOW_SYNC_COMPLETE(1) of len 320",
        "MSGTYPE_OPENFLOW_METER_OPERATION(2) of len 44",
        "MSGTYPE_OPENFLOW_FLOW_OPERATION(7) of len 320",
        "MSGTYPE_OPENFLOW_PORT_VLAN_UPD(8) of len 20",
        "MSGTYPE_OPENFLOW_GROUP_OPERATION(9) of len 1060",
        "MSGTYPE_OPENFLOW_VLAN_IVID_UPD(10) of len 20",
        "MXL_MSGTYPE_OPENFLOW_EVT_OPERATION(12) of len 48"})
    EXPECT_NE(agent_log().find(type), std::string::npos) << type;
  EXPECT_TRUE(agent_.alive());
}

}  // namespace
