// ofa-mgr bench: a load run of flow adds (and deletes), or of group or meter adds and deletes,
// against a running agent, after an optional setup scenario, with a bare socket round trip
// measured in the same run for comparison.
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "bench.h"
#include "chip_side.h"
#include "cli.h"
#include "common/json.h"
#include "common/line_client.h"
#include "platform/run_dir.h"
#include "runner.h"
#include "syntax.h"

namespace ofa::mgr::cli {
namespace {

std::optional<std::string> plan_word(BenchPlan& plan, const std::string& word) {
  auto kv = syntax::split_key(word);
  auto num = [&](auto& field, uint64_t max) -> std::optional<std::string> {
    auto n = syntax::number(kv.value, max, kv.key);
    if (!n.ok()) return n.error();
    field = static_cast<std::remove_reference_t<decltype(field)>>(n.value());
    return std::nullopt;
  };
  if (!kv.has_value) {
    if (kv.key == "delete") return (plan.remove = true, std::nullopt);
    return "bench: unknown word '" + word + "'";
  }
  if (kv.key == "flows" || kv.key == "groups" || kv.key == "meters" || kv.key == "vlans") {
    plan.kind = kv.key == "flows"    ? BenchKind::flows
                : kv.key == "groups" ? BenchKind::groups
                : kv.key == "vlans"  ? BenchKind::vlans
                                     : BenchKind::meters;
    return num(plan.flows, 0xffffff);
  }
  if (kv.key == "ports") return num(plan.ports, kMaxPort);
  if (kv.key == "batch") return num(plan.batch, 256);
  if (kv.key == "buckets") return num(plan.buckets, kMaxLongBuckets);
  if (kv.key == "bands") return num(plan.bands, 0xffffffff);
  if (kv.key == "type") {
    for (auto [name, t] : {std::pair{"all", kGroupAll},
                           {"select", kGroupSelect},
                           {"indirect", kGroupIndirect},
                           {"ff", kGroupFf}})
      if (kv.value == name) return (plan.group_type = t, std::nullopt);
    return num(plan.group_type, 0xffffffff);
  }
  if (kv.key == "first-id") return num(plan.first_id, 0xffffffff);
  if (kv.key == "priority") return num(plan.base_priority, 0xffffffff);
  if (kv.key == "window") return num(plan.window, 10000);
  if (kv.key == "in-port") return num(plan.in_port, kMaxPort);
  if (kv.key == "remote-port") return num(plan.remote_port.emplace(), kMaxPort);
  if (kv.key == "on-chip") return num(plan.on_chip, 0xffffff);
  if (kv.key == "out-port") return num(plan.out_port, kMaxPort);
  if (kv.key == "seed") return num(plan.seed, 0xffffffff);
  if (kv.key == "round-trips") return num(plan.round_trips, 10000000);
  if (kv.key == "keys") {
    if (kv.value == "shared") return (plan.keys = KeyMode::shared, std::nullopt);
    if (kv.value == "distinct") return (plan.keys = KeyMode::distinct, std::nullopt);
    return "bench: keys is shared or distinct";
  }
  if (kv.key == "order") {
    if (kv.value == "ascending") return (plan.order = PriorityOrder::ascending, std::nullopt);
    if (kv.value == "descending") return (plan.order = PriorityOrder::descending, std::nullopt);
    if (kv.value == "same") return (plan.order = PriorityOrder::same, std::nullopt);
    if (kv.value == "random") return (plan.order = PriorityOrder::random, std::nullopt);
    return "bench: order is ascending, descending, same or random";
  }
  return "bench: unknown setting '" + kv.key + "'";
}

// Per-operation figures exist for phases whose operations each drew a status.
bool per_op(const PhaseResult& r) {
  return !r.latency_ms.empty();
}

// "%9.3f", or a dash where the phase has no such figure.
std::string cell(bool has, double v, int width, int decimals) {
  char buf[32];
  if (has) {
    std::snprintf(buf, sizeof buf, "%*.*f", width, decimals, v);
  } else {
    std::snprintf(buf, sizeof buf, "%*s", width, "-");
  }
  return buf;
}

double chip_requests_per_second(const PhaseResult& r) {
  return r.chip_requests && r.seconds > 0 ? static_cast<double>(*r.chip_requests) / r.seconds : 0;
}

void report_text(const std::vector<PhaseResult>& phases, const RoundTrip& rt) {
  std::printf("%-7s %8s %9s %10s %9s %9s %9s %8s %8s %8s %9s %7s %7s %8s %9s %10s\n", "phase",
              phases.empty() ? "flows" : phases[0].what.c_str(), "seconds", "ops/s", "ms/1000",
              "first1k", "last1k", "p50 ms", "p90 ms", "p99 ms", "max ms", "failed", "pseudo",
              "missing", "requests", "requests/s");
  for (const auto& r : phases) {
    bool op = per_op(r), chip = r.chip_requests.has_value();
    std::printf(
        "%-7s %8u %9.3f %10.1f %s %s %s %s %s %s %s %7u %7u %8u %s %s\n", r.name.c_str(), r.done,
        r.seconds, r.ops_per_second(), cell(r.done > 0, r.ms_per_1000(), 9, 3).c_str(),
        cell(op, r.ms_per_1000_first(), 9, 3).c_str(), cell(op, r.ms_per_1000_last(), 9, 3).c_str(),
        cell(op, percentile(r.latency_ms, 50), 8, 3).c_str(),
        cell(op, percentile(r.latency_ms, 90), 8, 3).c_str(),
        cell(op, percentile(r.latency_ms, 99), 8, 3).c_str(),
        cell(op, percentile(r.latency_ms, 100), 9, 3).c_str(), r.failed, r.pseudo, r.missing,
        cell(chip, static_cast<double>(r.chip_requests.value_or(0)), 9, 0).c_str(),
        cell(chip, chip_requests_per_second(r), 10, 1).c_str());
  }
  if (rt.count == 0) return;
  if (!rt.error.empty()) {
    std::printf("round trip: %s\n", rt.error.c_str());
    return;
  }
  std::printf(
      "round trip (AF_UNIX SEQPACKET, 128 bytes, %u times): pinned %.2f us, unpinned %.2f us\n",
      rt.count, rt.pinned_us, rt.unpinned_us);
  if (!phases.empty() && phases[0].done > 0 && phases[0].what == "flows") {
    double add_us = phases[0].ms_per_1000();
    std::printf("an add costs %.2f round trips pinned, %.2f unpinned\n", add_us / rt.pinned_us,
                add_us / rt.unpinned_us);
  }
}

std::string fixed(double v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.3f", v);
  return buf;
}

void report_json(const BenchPlan& plan, const std::vector<PhaseResult>& phases,
                 const RoundTrip& rt) {
  tools::JsonWriter j;
  j.begin_object().field(phases.empty() ? "flows" : phases[0].what, plan.flows);
  j.field("window", plan.window);
  j.field("keys", plan.keys == KeyMode::shared ? "shared" : "distinct");
  j.key("phases").begin_array();
  for (const auto& r : phases) {
    bool op = per_op(r);
    j.begin_object().field("name", r.name).field("done", r.done).field("failed", r.failed);
    j.field("pseudo", r.pseudo).field("missing", r.missing);
    j.key("seconds").raw(fixed(r.seconds)).key("ops_per_s").raw(fixed(r.ops_per_second()));
    j.key("ms_per_1000").raw(fixed(r.ms_per_1000()));
    if (r.chip_requests) {
      j.field("chip_requests", *r.chip_requests);
      j.key("chip_requests_per_s").raw(fixed(chip_requests_per_second(r)));
    }
    if (op) {
      j.key("ms_per_1000_first").raw(fixed(r.ms_per_1000_first()));
      j.key("ms_per_1000_last").raw(fixed(r.ms_per_1000_last()));
      for (auto [name, p] :
           {std::pair{"p50_ms", 50}, {"p90_ms", 90}, {"p99_ms", 99}, {"max_ms", 100}})
        j.key(name).raw(fixed(percentile(r.latency_ms, p)));
    }
    j.end_object();
  }
  j.end_array();
  if (rt.count && rt.error.empty()) {
    j.key("round_trip").begin_object().field("count", rt.count);
    j.key("pinned_us").raw(fixed(rt.pinned_us)).key("unpinned_us").raw(fixed(rt.unpinned_us));
    j.end_object();
  }
  j.end_object();
  std::printf("%s\n", j.str().c_str());
}

// The setup scenario, run on the bench's own end point. False when it could not be read or did
// not go through.
bool run_setup(const Options& o, const Target& t, MpEndpoint& ep) {
  std::ifstream in(*o.setup);
  if (!in) {
    std::fprintf(stderr, "%s:0: cannot read the file\n", o.setup->c_str());
    return false;
  }
  std::stringstream text;
  text << in.rdbuf();
  auto sc = parse_scenario(text.str(), *o.setup, t.context());
  if (!sc.ok()) {
    std::fprintf(stderr, "%s\n", sc.error().c_str());
    return false;
  }
  RunOptions ro{agent_path(t.slot),
                o.timeout,
                o.verbose,
                true,
                o.json ? stderr : stdout,
                platform::hsl_ctl_path(t.slot),
                o.agent_log,
                t.slot};
  return run_steps(sc.value(), ep, ro).exit_code() == kOk;
}

}  // namespace

int bench(const Options& o, const Target& t) {
  BenchPlan plan;
  plan.timeout = o.timeout;
  plan.slot = t.slot;
  for (const auto& w : o.args) {
    if (auto e = plan_word(plan, w)) {
      std::fprintf(stderr, "ofa-mgr %s\n", e->c_str());
      return kUsage;
    }
  }
  auto ep = MpEndpoint::bind(mp_path());
  if (!ep.ok()) {
    std::fprintf(stderr, "ofa-mgr bench: %s\n", ep.error().c_str());
    return kFailed;
  }
  if (o.setup && !run_setup(o, t, *ep.value())) {
    std::fprintf(stderr, "ofa-mgr bench: the setup %s did not go through\n", o.setup->c_str());
    return kFailed;
  }
  // The run talks to this one agent: connected, its statuses never wait for room in our queue.
  if (auto e = ep.value()->connect(agent_path(t.slot))) {
    std::fprintf(stderr, "ofa-mgr bench: %s\n", e->c_str());
    return kFailed;
  }
  bool tty = isatty(STDERR_FILENO);
  BenchProgress progress = [&](const PhaseResult& r) {
    if (!tty) return;
    std::fprintf(stderr, "\r  %-7s %u/%u  %.0f ops/s   ", r.name.c_str(), r.done, r.total,
                 r.ops_per_second());
    std::fflush(stderr);
  };
  // Requests per phase from the simulator's counters, when one answers on this slot's socket.
  ChipRequestCount chip_requests = [ctl = platform::hsl_ctl_path(t.slot)] {
    auto a = tools::ask_line(ctl, "stats", 1.0);
    auto c = a.ok() ? chip_counters(a.value()) : std::nullopt;
    return c && c->contains("requests") ? std::optional<uint64_t>(c->at("requests")) : std::nullopt;
  };
  std::string error;
  auto results = run_bench(*ep.value(), agent_path(t.slot), plan, progress, &error, chip_requests);
  if (tty) std::fprintf(stderr, "\r%60s\r", "");
  RoundTrip rt = measure_round_trips(plan.round_trips);
  if (o.json) {
    report_json(plan, results, rt);
  } else {
    report_text(results, rt);
  }
  if (!error.empty()) {
    std::fprintf(stderr, "ofa-mgr bench: %s\n", error.c_str());
    return kFailed;
  }
  for (const auto& r : results) {
    if (r.missing || r.failed) return kFailed;
  }
  return kOk;
}

}  // namespace ofa::mgr::cli
