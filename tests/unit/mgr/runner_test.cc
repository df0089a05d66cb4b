// The runner against a stand-in agent socket in a temporary run directory: datagrams arrive as
// encoded, expectations match statuses by flow id in any order, and a failed expectation says
// what was expected and what came.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "endpoint.h"
#include "runner.h"

namespace ofa::mgr {
namespace {

class Runner : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/ofa-mgr-test-XXXXXX";
    dir_ = mkdtemp(tmpl);
    setenv("OFA_RUN_DIR", dir_.c_str(), 1);
    auto ep = MpEndpoint::bind(mp_path());
    ASSERT_TRUE(ep.ok()) << ep.error();
    mp_ = std::move(ep.value());
    auto agent = MpEndpoint::bind(agent_path(1));  // stands in for the agent's socket
    ASSERT_TRUE(agent.ok()) << agent.error();
    agent_ = std::move(agent.value());
    out_ = std::tmpfile();
  }
  void TearDown() override {
    mp_.reset();
    agent_.reset();
    std::fclose(out_);
    std::filesystem::remove_all(dir_);
  }

  void agent_sends(const Message& m) {
    ASSERT_FALSE(agent_->send(mp_path(), encode(m).value()).has_value());
  }

  RunSummary run(const std::string& text) {
    auto sc = parse_scenario(text, "t.scn", {});
    EXPECT_TRUE(sc.ok()) << (sc.ok() ? "" : sc.error());
    RunOptions opt{agent_path(1), 0.2, false, true, out_};
    return run_steps(sc.value(), *mp_, opt);
  }

  std::string output() {
    std::fflush(out_);
    std::rewind(out_);
    std::string s;
    char buf[512];
    while (size_t n = std::fread(buf, 1, sizeof buf, out_))
      s.append(buf, n);
    return s;
  }

  std::string dir_;
  std::unique_ptr<MpEndpoint> mp_, agent_;
  FILE* out_ = nullptr;
};

StatusMsg status(uint32_t flow, uint32_t st, std::string text = "") {
  StatusMsg s;
  s.flow_id = flow;
  s.status = st;
  s.sub_type = kSubAddFlow;
  s.start_ms = 100;
  s.end_ms = 103;
  s.text = std::move(text);
  return s;
}

TEST_F(Runner, DeliversDatagramsAndMatchesStatusesByFlowId) {
  agent_sends(RegisterMsg{1});
  agent_sends(status(11, 0, "ERROR: Msg has: FLOW ID ZERO"));
  agent_sends(status(10, 1));
  agent_sends(status(12, 1, "PSEUDO_SUCCESS: nothing on this LP"));
  auto sum =
      run("wait registration\n"
          "flow add id=10 priority=5 actions=output:1\n"
          "expect status 10 success\n"
          "expect status 12 pseudo text ~ \"nothing\"\n"
          "expect status 11 failure text ~ \"FLOW ID ZERO\"\n");
  EXPECT_EQ(sum.exit_code(), 0) << output();
  EXPECT_EQ(sum.sent, 1u);
  EXPECT_EQ(sum.expectations, 4u);
  auto got = agent_->receive(1.0);
  ASSERT_TRUE(got.has_value());
  auto d = decode_datagram(*got);
  ASSERT_EQ(d.size(), 1u);
  EXPECT_EQ(std::get<FlowMsg>(std::get<Message>(d[0])).flow_id, 10u);
  EXPECT_NE(output().find("slot 1 registered"), std::string::npos) << output();
}

TEST_F(Runner, FragmentsGoOutOneDatagramEach) {
  auto sum = run("flow add id=3 fragment=1 actions=output:1,output:2\n");
  EXPECT_EQ(sum.sent, 2u);
  EXPECT_NE(output().find("(2 datagrams, 640 bytes)"), std::string::npos) << output();
  for (uint32_t more : {1u, 0u}) {
    auto got = agent_->receive(1.0);
    ASSERT_TRUE(got.has_value());
    auto d = decode_datagram(*got);
    ASSERT_EQ(d.size(), 1u);
    EXPECT_EQ(std::get<FlowMsg>(std::get<Message>(d[0])).more_fragments, more);
  }
}

TEST_F(Runner, FailedExpectationsSayWhatWasExpectedAndWhatCame) {
  agent_sends(status(10, 0, "flow entry is null"));
  auto sum = run("expect status 10 success\nexpect status 11 failure\nwait registration\n");
  EXPECT_EQ(sum.failed, 3u);
  EXPECT_EQ(sum.exit_code(), 1);
  std::string out = output();
  EXPECT_NE(out.find("expected: status of flow 10: success"), std::string::npos) << out;
  EXPECT_NE(out.find("got:      failure (ADD_FLOW, status 0) \"flow entry is null\""),
            std::string::npos)
      << out;
  EXPECT_NE(out.find("got:      no status for flow 11 within 0.2 s"), std::string::npos) << out;
  EXPECT_NE(out.find("expected: a registration from the agent"), std::string::npos) << out;
  EXPECT_NE(out.find("0 of 3 expectations met"), std::string::npos) << out;
}

TEST_F(Runner, TextMismatchIsAFailure) {
  agent_sends(status(7, 1, "all good"));
  auto sum = run("expect status 7 success text ~ \"bad\"\n");
  EXPECT_EQ(sum.failed, 1u);
  EXPECT_NE(output().find("text does not contain \"bad\""), std::string::npos) << output();
}

TEST_F(Runner, NoStatusExpectations) {
  agent_sends(status(5, 1));
  auto sum = run("expect no status 4 timeout=50ms\nexpect no status 5 timeout=50ms\n");
  EXPECT_EQ(sum.failed, 1u);
  std::string out = output();
  EXPECT_NE(out.find("none within 0.1 s"), std::string::npos) << out;  // 50 ms, one decimal
  EXPECT_NE(out.find("expected: no status for flow 5"), std::string::npos) << out;
  EXPECT_NE(out.find("got:      success (ADD_FLOW, status 1)"), std::string::npos) << out;
}

TEST_F(Runner, StatisticsExpectationsWaitForCountersThatMeetThem) {
  agent_sends(FlowStatsMsg{1, 10, 1, 64});
  agent_sends(FlowStatsMsg{1, 10, 5, 320});
  QueueStatsMsg q;
  q.port_id = 3;
  q.queues[2] = QueueRecord{2, 640, 10};
  q.queues[5] = QueueRecord{5, 64, 1};
  agent_sends(q);
  MeterStatsMsg ms;
  ms.records = {MeterRecord{7, 0, 1000, 0, 0, 100, 0, 0}};
  agent_sends(ms);
  auto sum =
      run("expect flow-stats 10 packets>=5 bytes=320\n"
          "expect queue-stats 3 packets=11 bytes=704\n"
          "expect meter-stats 7 drop_bytes>=100 in_bytes=1000\n"
          "expect flow-stats 10 packets=9 timeout=50ms\n");
  EXPECT_EQ(sum.failed, 1u) << output();
  std::string out = output();
  EXPECT_NE(out.find("bytes 320 packets 5"), std::string::npos) << out;
  EXPECT_NE(out.find("expected: packets=9"), std::string::npos) << out;
  EXPECT_NE(out.find("got:      bytes 64 packets 1 (the last that came)"), std::string::npos)
      << out;
}

TEST_F(Runner, QueueStatisticsOfOneQueue) {
  QueueStatsMsg q;
  q.port_id = 4;
  q.queues[1] = QueueRecord{1, 128, 2};
  q.queues[6] = QueueRecord{6, 64, 1};
  agent_sends(q);
  EXPECT_EQ(run("expect queue-stats 4 queue=1 packets=2 bytes=128\n").failed, 0u) << output();
}

TEST_F(Runner, AMissingAgentStopsTheRun) {
  agent_.reset();  // its socket file goes with it
  auto sum = run("vlan add vlan=1 iivid=2\nvlan add vlan=2 iivid=3\n");
  EXPECT_TRUE(sum.aborted);
  EXPECT_EQ(sum.sent, 0u);
  EXPECT_EQ(sum.exit_code(), 1);
  EXPECT_NE(output().find("t.scn:1: no agent at"), std::string::npos) << output();
}

TEST_F(Runner, TheEndPointIsNotShared) {
  auto second = MpEndpoint::bind(mp_path());
  ASSERT_FALSE(second.ok());
  EXPECT_NE(second.error().find("another manager is bound there"), std::string::npos);
}

TEST_F(Runner, AStaleSocketFileIsReplaced) {
  std::string path = mp_path();
  mp_.reset();
  int fd = ::socket(AF_UNIX, SOCK_DGRAM, 0);  // leaves a file nobody serves
  sockaddr_un a{};
  a.sun_family = AF_UNIX;
  std::snprintf(a.sun_path, sizeof a.sun_path, "%s", path.c_str());
  ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
  ::close(fd);
  auto again = MpEndpoint::bind(path);
  EXPECT_TRUE(again.ok()) << again.error();
}

}  // namespace
}  // namespace ofa::mgr
