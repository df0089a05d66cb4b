// The runner and the load run against a stand-in agent socket in a temporary run directory:
// datagrams arrive as encoded, expectations match statuses by flow id in any order, a failed
// expectation says what was expected and what came; the load run's counts, latencies, window,
// priority orders and percentiles.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <set>
#include <thread>

#include "bench.h"
#include "chip_side.h"
#include "control/platform_config.h"
#include "endpoint.h"
#include "hex.h"
#include "platform/run_dir.h"
#include "processes.h"
#include "runner.h"
#include "server/server.h"

namespace ofa::mgr {
namespace {

class Runner : public ofa::test::RunDir {
 protected:
  void SetUp() override {
    RunDir::SetUp();
    auto ep = MpEndpoint::bind(mp_path());
    ASSERT_TRUE(ep.ok()) << ep.error();
    mp_ = std::move(ep.value());
    auto agent = MpEndpoint::bind(agent_path(1));  // stands in for the agent's socket
    ASSERT_TRUE(agent.ok()) << agent.error();
    agent_ = std::move(agent.value());
    out_ = std::fopen(path("out").c_str(), "w+");
  }
  void TearDown() override {
    std::fclose(out_);
    RunDir::TearDown();
  }

  void agent_sends(const Message& m) {
    ASSERT_FALSE(agent_->send(mp_path(), encode(m).value()).has_value());
  }

  RunSummary run(const std::string& text) {
    auto sc = parse_scenario(text, "t.scn", {});
    EXPECT_TRUE(sc.ok()) << (sc.ok() ? "" : sc.error());
    RunOptions opt{agent_path(1), 0.2, false, true, out_, platform::hsl_ctl_path(1), ""};
    return run_steps(sc.value(), *mp_, opt);
  }

  std::string output() {
    std::fflush(out_);
    return ofa::test::read_file(path("out"));
  }

  std::unique_ptr<MpEndpoint> mp_, agent_;
  FILE* out_ = nullptr;
};

// Each piece must show in the output.
void expect_in(const std::string& out, std::initializer_list<const char*> pieces) {
  for (const char* p : pieces)
    EXPECT_NE(out.find(p), std::string::npos) << p << " in:\n" << out;
}

StatusMsg status(uint32_t flow, uint32_t st, std::string text = "") {
  return {.flow_id = flow,
          .status = st,
          .sub_type = kSubAddFlow,
          .start_ms = 100,
          .end_ms = 103,
          .text = std::move(text)};
}

// Statuses are matched by flow id, in any order (the scenarios' expectations are met the same way).
TEST_F(Runner, DeliversDatagramsAndMatchesStatusesByFlowId) {
  agent_sends(RegisterMsg{1});
  agent_sends(status(11, 1, "all good"));
  agent_sends(status(10, 1));
  auto sum =
      run("wait registration\n"
          "flow add id=10 fragment=1 actions=output:1,output:2\n"
          "expect status 10 success\nexpect status 11 success text ~ \"good\"\n");
  EXPECT_EQ(sum.exit_code(), 0) << output();
  EXPECT_EQ(sum.sent, 2u);
  expect_in(output(), {"slot 1 registered", "(2 datagrams, 640 bytes)"});
  for (uint32_t more : {1u, 0u}) {  // one datagram per fragment
    auto got = agent_->receive(1.0);
    ASSERT_TRUE(got.has_value());
    auto d = decode_datagram(*got);
    ASSERT_EQ(d.size(), 1u);
    EXPECT_EQ(std::get<FlowMsg>(std::get<Message>(d[0])).flow_id, 10u);
    EXPECT_EQ(std::get<FlowMsg>(std::get<Message>(d[0])).more_fragments, more);
  }
}

TEST_F(Runner, FailedExpectationsSayWhatWasExpectedAndWhatCame) {
  agent_sends(status(10, 0, "flow entry is null"));
  agent_sends(status(7, 1, "all good"));
  agent_sends(status(5, 1));
  auto sum =
      run("expect status 10 success\nexpect status 11 failure\nwait registration\n"
          "expect status 7 success text = \"all\"\n"
          "expect no status 4 timeout=50ms\nexpect no status 5 timeout=50ms\n");
  EXPECT_EQ(sum.failed, 5u);
  EXPECT_EQ(sum.exit_code(), 1);
  expect_in(output(), {"expected: status of flow 10: success",
                       "got:      failure (ADD_FLOW, status 0) \"flow entry is null\"",
                       "got:      no status for flow 11 within 0.2 s",
                       "expected: a registration from the agent", "text is not \"all\"",
                       "none within 0.1 s",  // 50 ms, one decimal
                       "expected: no status for flow 5", "got:      success (ADD_FLOW, status 1)",
                       "1 of 6 expectations met"});
}

TEST_F(Runner, StatisticsExpectationsWaitForCountersThatMeetThem) {
  agent_sends(FlowStatsMsg{1, 10, 1, 64});
  agent_sends(FlowStatsMsg{1, 10, 5, 320});
  auto sum =
      run("expect flow-stats 10 packets>=5 bytes=320\n"
          "expect flow-stats 10 packets=9 timeout=50ms\n");
  EXPECT_EQ(sum.failed, 1u) << output();
  expect_in(output(), {"bytes 320 packets 5", "expected: packets=9",
                       "got:      bytes 64 packets 1 (the last that came)"});
}

// Ticks are cut by the quiet time between them; a tick whose kinds come out of order fails.
TEST_F(Runner, TickCutByGapAndCheckedForOrderAndIds) {
  MeterStatsMsg ms{{MeterRecord{7, 0, 1000, 0, 0, 100, 0, 0}}};
  QueueStatsMsg q{.port_id = 3};
  std::thread agent([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    for (const Message& m : std::vector<Message>{FlowStatsMsg{1, 1, 1, 64}, q, ms})
      agent_sends(m);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    for (const Message& m : std::vector<Message>{FlowStatsMsg{1, 2, 1, 64}, ms, q})
      agent_sends(m);
  });
  auto sum =
      run("expect tick gap=100ms timeout=1\n"
          "expect tick flows=2 meters=7 records=1 queues=3 gap=100ms timeout=1\n");
  agent.join();
  EXPECT_EQ(sum.failed, 1u) << output();
  expect_in(output(), {"got:      a meter message after a queue message",
                       "flows 2 meters 7 (records 1) queues 3"});
}

// A barrier sends an ADD_FLOW of flow 0 with its own xid and takes only the status with that xid.
TEST_F(Runner, ABarrierWaitsForTheStatusOfItsOwnFlowZero) {
  StatusMsg stale = status(0, 0, "ERROR: Msg has: FLOW ID ZERO"), second = stale;
  second.xid = kBarrierXid + 1;
  agent_sends(stale);
  agent_sends(second);
  auto sum = run("barrier timeout=50ms\nbarrier\n");
  EXPECT_EQ(sum.failed, 1u) << output();  // the first one's status never came
  EXPECT_EQ(sum.sent, 2u);
  expect_in(output(), {"expected: the status of the barrier (flow 0, xid 3128360960)",
                       "ok      barrier   the agent has handled everything sent before"});
}

// Chip lines against the simulator's control socket, served in a thread: what failed one-item
// checks and counter checks say, and a refused control command, which stops the run. (Counters
// since the last barrier line are what the scenarios' `expect chip requests=` lines read.)
TEST_F(Runner, ChipLinesAskTheSimulator) {
  chipsim::Model model(
      chipsim::model_config(std::get<platform::Platform>(platform::platform_from_env())));
  chipsim::Control control{model, nullptr, {1}, {}, 0};
  chipsim::Server server(model, control, chipsim::ServerOptions{1, false, 0});
  ASSERT_FALSE(server.open().has_value());
  // The partition takes VLAN 100 to IIVID 4010 on rte 0 and 1: an ioctl message (envelope,
  // routing block to chip 0x84400000, the request from 48) for each.
  for (const char* rte : {"0000", "0001"}) {
    auto msg = ofa::test::sparse(
        4096, std::string("0: 00000060 00CB | 20: 84400000 | 28: 00000010 | 40: 0000004C | "
                          "48: 04272006 | 56: 00000030 00000030 | 76: 0007 ") +
                  rte + " | 84: 00000001 00000FAA 00000064");
    model.ioctl(msg, 96);
  }
  std::atomic<bool> stop{false};
  std::thread serving([&] { server.run(stop); });
  // expect chip COUNTER=N sends a barrier of its own
  StatusMsg barrier = status(0, 0, "ERROR: Msg has: FLOW ID ZERO");
  barrier.xid = kBarrierXid;
  agent_sends(barrier);
  auto sum =
      run("expect chip vlan 100 rte0=4010 rte1=4010 mgid=-\n"
          "expect chip vlan 100 rte0=4011 pvid=1 timeout=50ms\n"
          "expect chip vlan 100 absent timeout=50ms\n"
          "chip fault partition_id -5\n"
          "chip reset\n"
          "expect chip requests=0 messages=0 vlan_count=0\n"
          "chip fault bogus -1\n"
          "expect chip requests=0\n");
  stop = true;
  serving.join();
  EXPECT_TRUE(sum.aborted);
  EXPECT_EQ(sum.failed, 3u) << output();
  EXPECT_EQ(sum.expectations, 4u);
  expect_in(output(),
            {"got:      rte0=4010, no field pvid (vlan=100 rte0=4010 rte1=4010 mgid=- flood=-)",
             "got:      present: vlan=100", "got:      no counter vlan_count",
             "t.scn:7: the simulator answers: unknown command \"bogus\""});
}

// The agent's log is read from where it ended when the run began, each match past the last.
TEST(AgentLog, MatchesInOrderFromTheRunsStart) {
  std::string path = ::testing::TempDir() + "agent_log_test.log";
  std::FILE* f = std::fopen(path.c_str(), "w");
  std::fputs("enabled openflow port: 3\n", f);
  std::fflush(f);
  ChipSide side("", path);
  std::fputs("x enabled openflow port: 3\nUnabled to enable openflow port: 5 rc: -5\n", f);
  std::fclose(f);
  for (auto [text, found] :
       std::vector<std::pair<const char*, bool>>{{"enabled openflow port: 3", true},
                                                 {"enabled openflow port: 3", false},
                                                 {"port: 5 rc: -5", true},
                                                 {"port: 5", false}}) {
    EXPECT_EQ(side.check_log({text, std::nullopt}).empty(), found) << text;
  }
  std::fclose(std::fopen(path.c_str(), "w"));  // made anew: read from its start
  f = std::fopen(path.c_str(), "a");
  std::fputs("rc: 1\n", f);
  std::fclose(f);
  EXPECT_EQ(side.check_log({"rc: 1", std::nullopt}), "");
  std::remove(path.c_str());
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
  int fd = ofa::test::bind_dgram(path);  // closed, it leaves a file nobody serves
  ASSERT_GE(fd, 0);
  ::close(fd);
  auto again = MpEndpoint::bind(path);
  EXPECT_TRUE(again.ok()) << again.error();
}

TEST(BenchPlanTest, PriorityOrders) {
  BenchPlan p;
  p.flows = 4;
  p.base_priority = 10;
  p.order = PriorityOrder::ascending;
  EXPECT_EQ(bench_priorities(p), (std::vector<uint32_t>{10, 11, 12, 13}));
  p.order = PriorityOrder::descending;
  EXPECT_EQ(bench_priorities(p), (std::vector<uint32_t>{13, 12, 11, 10}));
  p.order = PriorityOrder::same;
  EXPECT_EQ(bench_priorities(p), (std::vector<uint32_t>{10, 10, 10, 10}));
  p.order = PriorityOrder::random;
  p.flows = 100;
  auto r = bench_priorities(p);
  EXPECT_EQ(std::set<uint32_t>(r.begin(), r.end()).size(), 100u);  // a permutation
  EXPECT_FALSE(std::is_sorted(r.begin(), r.end()));  // shuffled (with the plan's seed)
}

TEST(BenchPercentile, NearestRank) {
  std::vector<double> v{5, 1, 4, 2, 3};
  EXPECT_DOUBLE_EQ(percentile(v, 50), 3);
  EXPECT_DOUBLE_EQ(percentile(v, 100), 5);
  EXPECT_DOUBLE_EQ(percentile(v, 0), 1);
  EXPECT_DOUBLE_EQ(percentile({}, 50), 0);
}

// Answers each flow operation but deletes with status 1 and its xid, except those whose id is in
// `drop`. (A whole bench run against the agent is an integration test of ofactl's.)
class StandInAgent {
 public:
  explicit StandInAgent(std::set<uint32_t> drop) : drop_(std::move(drop)) {
    ep_ = std::move(MpEndpoint::bind(agent_path(1)).value());
    thread_ = std::thread([this] { serve(); });
  }
  ~StandInAgent() {
    stop_ = true;
    thread_.join();
  }

 private:
  void serve() {
    while (!stop_) {
      auto dg = ep_->receive(0.05);
      if (!dg) continue;
      for (auto& d : decode_datagram(*dg)) {
        const auto* m = std::get_if<Message>(&d);
        const auto* fp = m ? std::get_if<FlowMsg>(m) : nullptr;
        if (!fp || drop_.contains(fp->flow_id) || fp->sub_type == kSubDeleteFlow) continue;
        StatusMsg s{.flow_id = fp->flow_id,
                    .xid = fp->xid,
                    .status = 1,
                    .sub_type = fp->sub_type,
                    .text = ""};
        ep_->send(mp_path(), encode(s).value());
      }
    }
  }
  std::set<uint32_t> drop_;
  std::unique_ptr<MpEndpoint> ep_;
  std::thread thread_;
  std::atomic<bool> stop_{false};
};

TEST_F(Runner, BenchMissingStatusesEndThePhaseAfterTheTimeout) {
  agent_.reset();
  StandInAgent agent({3, 0});
  BenchPlan plan;
  plan.flows = 5;
  plan.timeout = 0.2;
  plan.remove = true;
  std::string error;
  auto r = run_bench(*mp_, agent_path(1), plan, nullptr, &error);
  ASSERT_EQ(r.size(), 2u);
  // Adds: flows 1 and 2 done; flow 3 never answers and holds the window, so 3 is in flight and 4
  // and 5 are never sent. Deletes: the barrier (flow 0) is never answered.
  EXPECT_EQ((std::vector<uint32_t>{r[0].done, r[0].missing, r[1].done, r[1].missing}),
            (std::vector<uint32_t>{2, 3, 0, 5}));
}

}  // namespace
}  // namespace ofa::mgr
