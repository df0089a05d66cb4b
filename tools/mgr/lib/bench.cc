#include "bench.h"

#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <map>
#include <numeric>
#include <random>
#include <thread>

#include "codec.h"
#include "platform/ifindex.h"
#include "runner.h"

namespace ofa::mgr {
namespace {

using clock = std::chrono::steady_clock;

double ms_between(clock::time_point a, clock::time_point b) {
  return std::chrono::duration<double, std::milli>(b - a).count();
}

// An operation encoded before its phase starts, so that the phase times only its sending.
struct Op {
  uint32_t flow_id;
  Bytes bytes;
  uint32_t count = 1;  // operations in the datagram
};
std::vector<Op> encoded(const std::vector<FlowMsg>& msgs) {
  std::vector<Op> ops;
  ops.reserve(msgs.size());
  for (const auto& m : msgs)
    ops.push_back(Op{m.flow_id, encode(m).value()});
  return ops;
}

// One phase: keeps `window` operations in flight and matches statuses by flow id.
class Phase {
 public:
  Phase(MpEndpoint& ep, const std::string& agent, const BenchPlan& plan,
        const BenchProgress& progress, const ChipRequestCount& chip_requests)
      : ep_(ep),
        agent_(agent),
        plan_(plan),
        progress_(progress),
        chip_requests_(chip_requests),
        spin_(may_run_elsewhere()) {}

  PhaseResult run(const std::string& name, const std::vector<Op>& ops, std::string* error) {
    begin(name, ops.size());
    auto start = start_, last_report = start;
    size_t next = 0;
    while (next < ops.size() || !pending_.empty()) {
      size_t window = std::max<uint32_t>(plan_.window, 1);
      size_t room = pending_.size() < window ? window - pending_.size() : 0;
      if (next < ops.size() && room > 0) {
        size_t n = std::min(room, ops.size() - next);
        if (!send(std::span(ops).subspan(next, n), error)) return finish(start);
        next += n;
      }
      if (!await_status(plan_.timeout)) {  // nothing came for a whole timeout
        r_.missing += static_cast<uint32_t>(pending_.size() + (ops.size() - next));
        pending_.clear();
        break;
      }
      report(last_report);
    }
    return finish(start);
  }

  // Operations that draw no status (flow deletes, groups, meters): all go out back to back, then a
  // barrier, whose status says the agent has handled them. The phase runs from the first send to
  // that status.
  PhaseResult run_silent(const std::string& name, const std::vector<Op>& ops, std::string* error) {
    Op barrier{0, encode(barrier_flow(kBarrierXid)).value()};
    uint32_t total = 0;
    for (const auto& op : ops)
      total += op.count;
    begin(name, total);
    auto start = start_, last_report = start;
    uint32_t sent = 0;
    constexpr size_t kRun = 64;
    for (size_t first = 0; first < ops.size(); first += kRun) {
      auto run = std::span(ops).subspan(first, std::min(kRun, ops.size() - first));
      if (!send(run, error, false)) break;
      for (const auto& op : run)
        sent += op.count;
      r_.done = sent;
      report(last_report);
    }
    if (sent == total && send(std::span(&barrier, 1), error)) {
      while (!pending_.empty() && await_status(plan_.timeout)) {
      }
    }
    bool handled = sent == total && pending_.empty();
    r_.done = handled ? sent : 0;
    r_.missing = r_.total - r_.done;
    r_.latency_ms.clear();  // the barrier's status is none of the operations'
    r_.failed = r_.pseudo = 0;
    r_.done_ms.assign(r_.done, ms_between(start, clock::now()));
    return finish(start);
  }

 private:
  void begin(const std::string& name, size_t total) {
    r_ = PhaseResult{};
    r_.name = name;
    r_.what = plan_.kind == BenchKind::groups   ? "groups"
              : plan_.kind == BenchKind::meters ? "meters"
              : plan_.kind == BenchKind::vlans  ? "ops"
                                                : "flows";
    r_.total = static_cast<uint32_t>(total);
    r_.done_ms.reserve(total);
    r_.latency_ms.reserve(total);
    chip_base_ = chip_requests_ ? chip_requests_() : std::nullopt;
    start_ = clock::now();
  }

  void report(clock::time_point& last) {
    if (!progress_ || ms_between(last, clock::now()) < 100) return;
    last = clock::now();
    r_.seconds = ms_between(start_, last) / 1000;
    progress_(r_);
  }

  PhaseResult finish(clock::time_point start) {
    r_.seconds = ms_between(start, clock::now()) / 1000;
    pending_.clear();
    if (chip_base_) {
      if (auto now = chip_requests_(); now && *now >= *chip_base_)
        r_.chip_requests = *now - *chip_base_;
    }
    return r_;
  }

  // Sends the operations in runs of one system call each, waiting for room between runs;
  // `awaited`: their statuses are waited for, each timed from its run's send. False when one did
  // not go (or the agent took none for a whole timeout).
  bool send(std::span<const Op> ops, std::string* error, bool awaited = true) {
    auto timeout =
        std::chrono::duration_cast<clock::duration>(std::chrono::duration<double>(plan_.timeout));
    auto deadline = clock::now() + timeout;
    size_t done = 0;
    while (done < ops.size()) {
      run_.clear();
      for (const auto& op : ops.subspan(done))
        run_.emplace_back(op.bytes);
      auto now = clock::now();
      std::optional<std::string> e;
      size_t sent = ep_.send_run(agent_, run_, &e);
      for (const auto& op : ops.subspan(done, sent))
        if (awaited) pending_[op.flow_id] = now;
      done += sent;
      if (sent > 0) deadline = clock::now() + timeout;
      if (done == ops.size()) break;
      if (!ep_.full() || clock::now() >= deadline) {
        if (error && e) *error = *e;
        return false;
      }
      ep_.wait(spin_ ? 0 : plan_.timeout, full_wake());
      while (receive(0)) {
      }
    }
    return true;
  }

  // A manager runs on a processor of its own: with a CPU to spare, the bench looks for statuses
  // and room again at once instead of sleeping, so that the agent's answers never wait for its
  // wake-up. Pinned to the agent's CPU, it sleeps, not to take that CPU from the agent.
  static bool may_run_elsewhere() {
    cpu_set_t set;
    return sched_getaffinity(0, sizeof set, &set) == 0 && CPU_COUNT(&set) > 1;
  }

  // Pinned with the agent, the bench sleeps until the agent has taken datagrams, which it takes in
  // runs, and reads the statuses then: waking for each status would cost two switches an add.
  // With many statuses held it wakes for them too, before its socket's queue fills.
  MpEndpoint::Wake full_wake() const {
    constexpr size_t kHeld = 64;
    return spin_ || pending_.size() >= kHeld ? MpEndpoint::Wake::either : MpEndpoint::Wake::room;
  }

  // receive(seconds), spinning instead of sleeping when the bench may.
  bool await_status(double seconds) {
    if (!spin_) return receive(seconds);
    auto deadline = clock::now() + std::chrono::duration_cast<clock::duration>(
                                       std::chrono::duration<double>(seconds));
    do {
      if (receive(0)) return true;
    } while (clock::now() < deadline);
    return false;
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
      r_.done_ms.push_back(ms_between(start_, now));
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
  const ChipRequestCount& chip_requests_;
  const bool spin_;
  std::optional<uint64_t> chip_base_;
  std::map<uint32_t, clock::time_point> pending_;
  std::vector<std::span<const uint8_t>> run_;  // the datagrams of one send
  PhaseResult r_;
  clock::time_point start_;
};

// Milliseconds per 1000 of the operations done between numbers `from` and `to`.
double ms_per_1000_between(const PhaseResult& r, size_t from, size_t to) {
  if (to <= from || to > r.done_ms.size()) return 0;
  double begin = from == 0 ? 0 : r.done_ms[from - 1];
  return (r.done_ms[to - 1] - begin) * 1000 / static_cast<double>(to - from);
}

// Both ends of a socket pair on `cpu` (or wherever, for -1), `count` round trips of 128 bytes;
// the mean in microseconds, or a negative value when a call failed.
double round_trips(uint32_t count, int cpu) {
  int fd[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, fd) != 0) return -1;
  cpu_set_t before;
  sched_getaffinity(0, sizeof before, &before);
  auto pin = [cpu] {
    if (cpu < 0) return;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(cpu, &one);
    sched_setaffinity(0, sizeof one, &one);  // this thread only
  };
  std::thread echo([&] {
    pin();
    std::array<uint8_t, 128> buf{};
    for (uint32_t i = 0; i < count; ++i) {
      if (read(fd[1], buf.data(), buf.size()) != 128 || write(fd[1], buf.data(), 128) != 128) {
        shutdown(fd[1], SHUT_RDWR);  // lets the other end's read end
        break;
      }
    }
  });
  pin();
  std::array<uint8_t, 128> buf{};
  bool ok = true;
  auto start = clock::now();
  for (uint32_t i = 0; ok && i < count; ++i) {
    ok = write(fd[0], buf.data(), buf.size()) == 128 && read(fd[0], buf.data(), 128) == 128;
  }
  double us = ms_between(start, clock::now()) * 1000 / std::max<uint32_t>(count, 1);
  if (!ok) shutdown(fd[0], SHUT_RDWR);  // lets the echo end
  echo.join();
  close(fd[0]);
  close(fd[1]);
  sched_setaffinity(0, sizeof before, &before);
  return ok ? us : -1;
}

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

double PhaseResult::ms_per_1000() const {
  return ms_per_1000_between(*this, 0, done_ms.size());
}
double PhaseResult::ms_per_1000_first() const {
  return ms_per_1000_between(*this, 0, std::min<size_t>(1000, done_ms.size()));
}
double PhaseResult::ms_per_1000_last() const {
  size_t n = done_ms.size();
  return ms_per_1000_between(*this, n - std::min<size_t>(1000, n), n);
}

FlowMsg bench_flow(const BenchPlan& plan, uint32_t i, uint32_t priority) {
  FlowMsg f;
  f.sub_type = kSubAddFlow;
  f.flow_id = plan.first_id + i;
  f.xid = i;
  f.priority = priority;
  f.in_port_id = plan.remote_port && i >= plan.on_chip ? *plan.remote_port : plan.in_port;
  f.ether_type = 0x0800;
  f.dest_ip = 0x0a000000 | (i & 0x00ffffff);
  f.dest_ip_mask = 0xffffffff;
  f.wildcards = kWcAll & ~(kWcInPort | kWcEtherType | kWcDstIp);
  f.rule_kind = 2;
  FlowMember out;
  out.out_port_id = plan.out_port;
  f.members.push_back(out);
  f.member_count = 1;
  f.stats_flag = 1;
  f.action_key = plan.keys == KeyMode::distinct ? f.flow_id : derived_action_key(f);
  return f;
}

double percentile(std::vector<double> samples, double p) {
  if (samples.empty()) return 0;
  std::sort(samples.begin(), samples.end());
  double rank = std::ceil(p / 100.0 * static_cast<double>(samples.size()));
  size_t idx = rank < 1 ? 0 : static_cast<size_t>(rank) - 1;
  return samples[std::min(idx, samples.size() - 1)];
}

GroupMsg bench_group(const BenchPlan& plan, uint32_t i) {
  GroupMsg g;
  g.group_id = plan.first_id + i;
  g.type = plan.group_type;
  g.mgid = 10000 + i;
  g.nhopid = 0x10000000 + g.group_id;
  for (uint32_t b = 0; b < plan.buckets; ++b) {
    GroupBucket k;
    k.port_id = b % 2 ? plan.out_port : plan.in_port;
    k.mac = {0x02,
             0,
             static_cast<uint8_t>(i >> 8),
             static_cast<uint8_t>(i),
             static_cast<uint8_t>(b >> 8),
             static_cast<uint8_t>(b)};
    g.buckets.push_back(k);
  }
  return g;
}

MeterMsg bench_meter(const BenchPlan& plan, uint32_t i) {
  MeterMsg m;
  m.meter_id = plan.first_id + i;
  m.band_cnt = plan.bands;
  m.drop_rate = 1000;
  m.dscp_rate = 500;
  m.dscp_burst = 300;
  m.dscp_prec_level = 2;
  return m;
}

VlanMsg bench_vlan(uint32_t i) {
  return VlanMsg{kSubAddVlan, 7168 + i + 1, i + 1};
}

namespace {

// Ports enabled, VLANs added, memberships, global disable: each phase back to back to a barrier.
std::vector<PhaseResult> run_vlans(Phase& phase, const BenchPlan& plan, std::string* error) {
  std::vector<std::pair<std::string, std::vector<Op>>> phases(4);
  phases[0].first = "ports";
  for (uint16_t p = 1; p <= plan.ports; ++p) {
    ConfigMsg c;
    c.sub_cmd = kSubConfigInterface;
    c.add = 1;
    c.ports.set(p);
    c.pvid = 1;
    c.if_name = "ethernet" + std::to_string(plan.slot) + "/" + std::to_string(p);
    c.if_index = platform::port_ifindex(plan.slot, p);
    c.def_nhop_id = 100 + p;
    phases[0].second.push_back({0, encode(c).value()});
  }
  phases[1].first = "vlans";
  phases[2].first = "members";
  auto& members = phases[2].second;
  for (uint32_t v = 0; v < plan.flows; ++v) {
    phases[1].second.push_back({0, encode(bench_vlan(v)).value()});
    for (uint16_t p = 1; p <= plan.ports; ++p) {
      if (members.empty() || members.back().count >= std::max<uint32_t>(plan.batch, 1))
        members.push_back({0, {}, 0});
      auto m = encode(PortVlanMsg{kSubAddPortVlan, p, v + 1}).value();
      members.back().bytes.insert(members.back().bytes.end(), m.begin(), m.end());
      ++members.back().count;
    }
  }
  phases[3].first = "disable";
  phases[3].second.push_back({0, encode(ConfigMsg{}).value()});  // CONFIG_OF, add 0
  std::vector<PhaseResult> out;
  for (const auto& [name, ops] : phases) {
    out.push_back(phase.run_silent(name, ops, error));
    if (error && !error->empty()) break;
  }
  return out;
}

}  // namespace

std::vector<PhaseResult> run_bench(MpEndpoint& ep, const std::string& agent, const BenchPlan& plan,
                                   const BenchProgress& progress, std::string* error,
                                   const ChipRequestCount& chip_requests) {
  Phase phase(ep, agent, plan, progress, chip_requests);
  auto ok = [&] { return !error || error->empty(); };
  if (plan.kind == BenchKind::vlans) return run_vlans(phase, plan, error);
  if (plan.kind != BenchKind::flows) {
    std::vector<Op> adds, dels;
    for (uint32_t i = 0; i < plan.flows; ++i) {
      if (plan.kind == BenchKind::groups) {
        GroupMsg d;
        d.sub_type = kSubDeleteGroup;
        d.group_id = plan.first_id + i;
        adds.push_back({0, encode(bench_group(plan, i)).value()});
        dels.push_back({0, encode(d).value()});
      } else {
        MeterMsg d;
        d.sub_type = kSubDeleteMeter;
        d.meter_id = plan.first_id + i;
        adds.push_back({0, encode(bench_meter(plan, i)).value()});
        dels.push_back({0, encode(d).value()});
      }
    }
    std::vector<PhaseResult> out{phase.run_silent("add", adds, error)};
    if (ok()) out.push_back(phase.run_silent("delete", dels, error));
    return out;
  }
  auto prio = bench_priorities(plan);
  std::vector<FlowMsg> adds;
  adds.reserve(plan.flows);
  for (uint32_t i = 0; i < plan.flows; ++i)
    adds.push_back(bench_flow(plan, i, prio[i]));
  std::vector<PhaseResult> out{phase.run("add", encoded(adds), error)};
  if (plan.remove && ok()) {
    std::vector<FlowMsg> dels;
    dels.reserve(adds.size());
    for (const auto& a : adds) {
      FlowMsg d;
      d.sub_type = kSubDeleteFlow;
      d.flow_id = a.flow_id;
      d.xid = a.xid;
      dels.push_back(d);
    }
    out.push_back(phase.run_silent("delete", encoded(dels), error));
  }
  return out;
}

RoundTrip measure_round_trips(uint32_t count) {
  RoundTrip rt;
  rt.count = count;
  if (count == 0) return rt;
  int cpu = sched_getcpu();
  rt.pinned_us = round_trips(count, cpu < 0 ? 0 : cpu);
  rt.unpinned_us = round_trips(count, -1);
  if (rt.pinned_us < 0 || rt.unpinned_us < 0) rt.error = "socket pair round trip failed";
  return rt;
}

}  // namespace ofa::mgr
