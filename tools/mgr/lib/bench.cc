#include "bench.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>
#include <numeric>
#include <random>

#include "codec.h"

namespace ofa::mgr {
namespace {

using clock = std::chrono::steady_clock;

double ms_between(clock::time_point a, clock::time_point b) {
  return std::chrono::duration<double, std::milli>(b - a).count();
}

// One phase: keeps `window` operations in flight and matches statuses by flow id.
class Phase {
 public:
  Phase(MpEndpoint& ep, const std::string& agent, const BenchPlan& plan,
        const BenchProgress& progress)
      : ep_(ep), agent_(agent), plan_(plan), progress_(progress) {}

  PhaseResult run(const std::string& name, const std::vector<FlowMsg>& ops, std::string* error) {
    r_ = PhaseResult{};
    r_.name = name;
    r_.total = static_cast<uint32_t>(ops.size());
    auto start = clock::now(), last_report = start;
    size_t next = 0;
    while (next < ops.size() || !pending_.empty()) {
      while (next < ops.size() && pending_.size() < std::max<uint32_t>(plan_.window, 1)) {
        if (!send(ops[next], error)) return finish(start);
        pending_[ops[next].flow_id] = clock::now();
        ++next;
      }
      if (!receive(plan_.timeout)) {  // nothing came for a whole timeout
        r_.missing += static_cast<uint32_t>(pending_.size() + (ops.size() - next));
        pending_.clear();
        break;
      }
      if (progress_ && ms_between(last_report, clock::now()) >= 100) {
        last_report = clock::now();
        r_.seconds = ms_between(start, last_report) / 1000;
        progress_(r_);
      }
    }
    return finish(start);
  }

 private:
  PhaseResult finish(clock::time_point start) {
    r_.seconds = ms_between(start, clock::now()) / 1000;
    pending_.clear();
    return r_;
  }

  bool send(const FlowMsg& op, std::string* error) {
    auto bytes = encode(op).value();
    auto deadline = clock::now() + std::chrono::duration_cast<clock::duration>(
                                       std::chrono::duration<double>(plan_.timeout));
    auto e = ep_.send(agent_, bytes);
    while (e && ep_.full() && clock::now() < deadline) {
      receive(0.001);  // let the agent's answers out while its queue drains
      e = ep_.send(agent_, bytes);
    }
    if (e && error) *error = *e;
    return !e;
  }

  // Takes the statuses of one datagram; false when none came within `seconds`.
  bool receive(double seconds) {
    auto dg = ep_.receive(seconds);
    if (!dg) return false;
    auto now = clock::now();
    for (const auto& d : decode_datagram(*dg)) {
      const auto* m = std::get_if<Message>(&d);
      const auto* s = m ? std::get_if<StatusMsg>(m) : nullptr;
      if (!s) continue;
      auto it = pending_.find(s->flow_id);
      if (it == pending_.end()) continue;
      r_.latency_ms.push_back(ms_between(it->second, now));
      pending_.erase(it);
      ++r_.done;
      if (s->status == 0) {
        ++r_.failed;
      } else if (s->text.starts_with(kPseudoPrefix)) {
        ++r_.pseudo;
      }
    }
    return true;
  }

  MpEndpoint& ep_;
  const std::string& agent_;
  const BenchPlan& plan_;
  const BenchProgress& progress_;
  std::map<uint32_t, clock::time_point> pending_;
  PhaseResult r_;
};

}  // namespace

std::vector<uint32_t> bench_priorities(const BenchPlan& plan) {
  std::vector<uint32_t> p(plan.flows);
  for (uint32_t i = 0; i < plan.flows; ++i) {
    switch (plan.order) {
      case PriorityOrder::ascending:
      case PriorityOrder::random:
        p[i] = plan.base_priority + i;
        break;
      case PriorityOrder::descending:
        p[i] = plan.base_priority + plan.flows - 1 - i;
        break;
      case PriorityOrder::same:
        p[i] = plan.base_priority;
        break;
    }
  }
  if (plan.order == PriorityOrder::random) {
    std::mt19937 rng(plan.seed);
    std::shuffle(p.begin(), p.end(), rng);
  }
  return p;
}

FlowMsg bench_flow(const BenchPlan& plan, uint32_t i, uint32_t priority) {
  FlowMsg f;
  f.sub_type = kSubAddFlow;
  f.flow_id = plan.first_id + i;
  f.xid = i;
  f.priority = priority;
  f.in_port_id = plan.in_port;
  f.ether_type = 0x0800;
  f.dest_ip = 0x0a000000 | (i & 0x00ffffff);
  f.dest_ip_mask = 0xffffffff;
  f.wildcards = kWcAll & ~(kWcInPort | kWcEtherType | kWcDstIp);
  f.rule_kind = 2;
  FlowMember out;
  out.out_port_id = plan.out_port;
  f.members.push_back(out);
  f.member_count = 1;
  return f;
}

double percentile(std::vector<double> samples, double p) {
  if (samples.empty()) return 0;
  std::sort(samples.begin(), samples.end());
  double rank = std::ceil(p / 100.0 * static_cast<double>(samples.size()));
  size_t idx = rank < 1 ? 0 : static_cast<size_t>(rank) - 1;
  return samples[std::min(idx, samples.size() - 1)];
}

std::vector<PhaseResult> run_bench(MpEndpoint& ep, const std::string& agent, const BenchPlan& plan,
                                   const BenchProgress& progress, std::string* error) {
  auto prio = bench_priorities(plan);
  std::vector<FlowMsg> adds;
  adds.reserve(plan.flows);
  for (uint32_t i = 0; i < plan.flows; ++i)
    adds.push_back(bench_flow(plan, i, prio[i]));
  Phase phase(ep, agent, plan, progress);
  std::vector<PhaseResult> out{phase.run("add", adds, error)};
  if (plan.remove && (!error || error->empty())) {
    std::vector<FlowMsg> dels;
    for (const auto& a : adds) {
      FlowMsg d;
      d.sub_type = kSubDeleteFlow;
      d.flow_id = a.flow_id;
      d.xid = a.xid;
      dels.push_back(d);
    }
    out.push_back(phase.run("delete", dels, error));
  }
  return out;
}

}  // namespace ofa::mgr
