// ofa-mgr bench: a load run of flow adds (and deletes) against a running agent.
#include <unistd.h>

#include <cstdio>

#include "bench.h"
#include "cli.h"
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
  if (kv.key == "flows") return num(plan.flows, 0xffffff);
  if (kv.key == "first-id") return num(plan.first_id, 0xffffffff);
  if (kv.key == "priority") return num(plan.base_priority, 0xffffffff);
  if (kv.key == "window") return num(plan.window, 10000);
  if (kv.key == "in-port") return num(plan.in_port, kMaxPort);
  if (kv.key == "out-port") return num(plan.out_port, kMaxPort);
  if (kv.key == "seed") return num(plan.seed, 0xffffffff);
  if (kv.key == "order") {
    if (kv.value == "ascending") return (plan.order = PriorityOrder::ascending, std::nullopt);
    if (kv.value == "descending") return (plan.order = PriorityOrder::descending, std::nullopt);
    if (kv.value == "same") return (plan.order = PriorityOrder::same, std::nullopt);
    if (kv.value == "random") return (plan.order = PriorityOrder::random, std::nullopt);
    return "bench: order is ascending, descending, same or random";
  }
  return "bench: unknown setting '" + kv.key + "'";
}

void report(const PhaseResult& r) {
  std::printf(
      "%-7s %7u flows in %8.2f s  %9.1f ops/s   latency ms  p50 %7.3f  p90 %7.3f  "
      "p99 %7.3f  max %8.3f   failed %u  pseudo %u  missing %u\n",
      r.name.c_str(), r.done, r.seconds, r.ops_per_second(), percentile(r.latency_ms, 50),
      percentile(r.latency_ms, 90), percentile(r.latency_ms, 99), percentile(r.latency_ms, 100),
      r.failed, r.pseudo, r.missing);
}

}  // namespace

int bench(const Options& o, const Target& t) {
  BenchPlan plan;
  plan.timeout = o.timeout;
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
  bool tty = isatty(STDERR_FILENO);
  BenchProgress progress = [&](const PhaseResult& r) {
    if (!tty) return;
    std::fprintf(stderr, "\r  %-7s %u/%u  %.0f ops/s   ", r.name.c_str(), r.done, r.total,
                 r.ops_per_second());
    std::fflush(stderr);
  };
  std::string error;
  auto results = run_bench(*ep.value(), agent_path(t.slot), plan, progress, &error);
  if (tty) std::fprintf(stderr, "\r%60s\r", "");
  for (const auto& r : results)
    report(r);
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
