// The load run against a stand-in agent that answers every flow operation with a status (or
// leaves some out): counts, latencies, the window, the priority orders and the percentiles.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <thread>

#include "bench.h"
#include "codec.h"

namespace ofa::mgr {
namespace {

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
  EXPECT_NE(r, bench_priorities(BenchPlan{.flows = 100, .base_priority = 10}));
}

TEST(BenchPlanTest, FlowsAreDistinctAndEncodable) {
  BenchPlan p;
  p.first_id = 100;
  FlowMsg a = bench_flow(p, 0, 5), b = bench_flow(p, 1, 6);
  EXPECT_EQ(a.flow_id, 100u);
  EXPECT_EQ(b.flow_id, 101u);
  EXPECT_NE(a.dest_ip, b.dest_ip);
  EXPECT_EQ(encode(a).value().size(), 4u + 316);
}

TEST(BenchPercentile, NearestRank) {
  std::vector<double> v{5, 1, 4, 2, 3};
  EXPECT_DOUBLE_EQ(percentile(v, 50), 3);
  EXPECT_DOUBLE_EQ(percentile(v, 100), 5);
  EXPECT_DOUBLE_EQ(percentile(v, 0), 1);
  EXPECT_DOUBLE_EQ(percentile({}, 50), 0);
}

// Answers each flow operation with status 1, except those whose id is in `drop`.
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
  size_t received() const { return received_; }

 private:
  void serve() {
    while (!stop_) {
      auto dg = ep_->receive(0.05);
      if (!dg) continue;
      for (auto& d : decode_datagram(*dg)) {
        const auto& f = std::get<FlowMsg>(std::get<Message>(d));
        ++received_;
        if (drop_.contains(f.flow_id)) continue;
        StatusMsg s;
        s.flow_id = f.flow_id;
        s.status = 1;
        s.sub_type = f.sub_type;
        ep_->send(mp_path(), encode(s).value());
      }
    }
  }
  std::set<uint32_t> drop_;
  std::unique_ptr<MpEndpoint> ep_;
  std::thread thread_;
  std::atomic<bool> stop_{false};
  std::atomic<size_t> received_{0};
};

class Bench : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/ofa-mgr-bench-XXXXXX";
    dir_ = mkdtemp(tmpl);
    setenv("OFA_RUN_DIR", dir_.c_str(), 1);
    mp_ = std::move(MpEndpoint::bind(mp_path()).value());
  }
  void TearDown() override {
    mp_.reset();
    std::filesystem::remove_all(dir_);
  }
  std::string dir_;
  std::unique_ptr<MpEndpoint> mp_;
};

TEST_F(Bench, AddAndDeleteEveryFlowWithAWindow) {
  StandInAgent agent({});
  BenchPlan plan;
  plan.flows = 200;
  plan.window = 8;
  plan.remove = true;
  plan.timeout = 2;
  size_t progress_calls = 0;
  std::string error;
  auto r = run_bench(
      *mp_, agent_path(1), plan, [&](const PhaseResult&) { ++progress_calls; }, &error);
  EXPECT_EQ(error, "");
  ASSERT_EQ(r.size(), 2u);
  for (const auto& phase : r) {
    EXPECT_EQ(phase.done, 200u) << phase.name;
    EXPECT_EQ(phase.latency_ms.size(), 200u);
    EXPECT_EQ(phase.missing + phase.failed + phase.pseudo, 0u);
    EXPECT_GT(phase.ops_per_second(), 0);
  }
  EXPECT_EQ(r[0].name, "add");
  EXPECT_EQ(r[1].name, "delete");
  EXPECT_EQ(agent.received(), 400u);
}

TEST_F(Bench, MissingStatusesEndThePhaseAfterTheTimeout) {
  StandInAgent agent({3});
  BenchPlan plan;
  plan.flows = 5;
  plan.timeout = 0.2;
  std::string error;
  auto r = run_bench(*mp_, agent_path(1), plan, nullptr, &error);
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].done, 2u);     // flows 1 and 2; flow 3 never answers and holds the window
  EXPECT_EQ(r[0].missing, 3u);  // 3 in flight, 4 and 5 never sent
}

TEST_F(Bench, NoAgentIsAnError) {
  BenchPlan plan;
  plan.flows = 1;
  std::string error;
  auto r = run_bench(*mp_, agent_path(1), plan, nullptr, &error);
  EXPECT_NE(error.find("no agent at"), std::string::npos) << error;
  EXPECT_EQ(r[0].done, 0u);
}

}  // namespace
}  // namespace ofa::mgr
