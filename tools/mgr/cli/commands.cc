// The sub-commands: listen, send, run, encode, decode.
#include <csignal>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <sstream>

#include "cli.h"
#include "common/json.h"
#include "endpoint.h"
#include "format.h"
#include "platform/run_dir.h"
#include "runner.h"
#include "scenario.h"
#include "syntax.h"

namespace ofa::mgr::cli {
namespace {

volatile std::sig_atomic_t g_stop = 0;
void on_signal(int) {
  g_stop = 1;
}

void catch_signals() {
  struct sigaction sa {};
  sa.sa_handler = on_signal;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGINT, &sa, nullptr);
  sigaction(SIGTERM, &sa, nullptr);
}

std::string now_text() {
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  tm t{};
  gmtime_r(&ts.tv_sec, &t);
  char buf[32];
  std::snprintf(buf, sizeof buf, "%02d:%02d:%02d.%03ld", t.tm_hour, t.tm_min, t.tm_sec,
                ts.tv_nsec / 1000000);
  return buf;
}

std::string join(const std::vector<std::string>& words) {
  std::string s;
  for (const auto& w : words)
    s += (s.empty() ? "" : " ") + w;
  return s;
}

// One decoded message or error, as a line for people or a JSON object.
void print_decoded(const Decoded& d, const Bytes& datagram, bool json, const std::string& time) {
  if (const auto* m = std::get_if<Message>(&d)) {
    if (json) {
      std::string j = to_json(*m);
      std::printf("{\"time\":\"%s\",%s\n", time.c_str(), j.c_str() + 1);
    } else {
      std::printf("%s  %s\n", time.c_str(), summary(*m).c_str());
    }
    return;
  }
  const auto& e = std::get<DecodeError>(d);
  if (json) {
    tools::JsonWriter j;
    j.begin_object().field("time", time).field("kind", "error").field("offset", uint64_t{e.offset});
    j.field("reason", e.reason).field("bytes", hex_text(datagram)).end_object();
    std::printf("%s\n", j.str().c_str());
  } else {
    std::printf("%s  BAD          %zu-byte datagram, offset %zu: %s\n", time.c_str(),
                datagram.size(), e.offset, e.reason.c_str());
  }
}

void print_rows(const Message& m) {
  auto rows = field_rows(m);
  size_t w = 0;
  for (const auto& [k, v] : rows)
    w = std::max(w, k.size());
  for (const auto& [k, v] : rows) {
    std::printf("  %-*s  %s\n", static_cast<int>(w), k.c_str(), v.c_str());
  }
}

std::unique_ptr<MpEndpoint> bind_or_exit() {
  auto ep = MpEndpoint::bind(mp_path());
  if (!ep.ok()) {
    std::fprintf(stderr, "ofa-mgr: %s\n", ep.error().c_str());
    std::exit(kFailed);
  }
  return std::move(ep.value());
}

// The flow id whose status a datagram draws at once, if it is one flow operation that does.
std::optional<uint32_t> status_flow(const Bytes& datagram) {
  auto msgs = decode_datagram(datagram);
  if (msgs.size() != 1) return std::nullopt;
  const auto* m = std::get_if<Message>(&msgs[0]);
  const auto* f = m ? std::get_if<FlowMsg>(m) : nullptr;
  if (!f) return std::nullopt;
  uint16_t s = f->sub_type;
  bool draws = (s >= kSubAddFlow && s <= kSubModifyFlowPrefix) || s == kSubAddFlowMembers;
  if (!draws || ((s == kSubAddFlow || s == kSubModifyFlow) && f->more_fragments)) {
    return std::nullopt;
  }
  return f->flow_id;
}

}  // namespace

int listen(const Options& o, const Target& t) {
  auto ep = bind_or_exit();
  catch_signals();
  std::fprintf(stderr, "ofa-mgr: listening at %s (agent of slot %u at %s)%s\n", ep->path().c_str(),
               t.slot, agent_path(t.slot).c_str(), o.count ? "" : "; Ctrl-C ends");
  uint64_t seen = 0;
  double limit = o.timeout_given ? o.timeout : -1;
  timespec start{};
  clock_gettime(CLOCK_MONOTONIC, &start);
  while (!g_stop) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    double elapsed = static_cast<double>(now.tv_sec - start.tv_sec) +
                     static_cast<double>(now.tv_nsec - start.tv_nsec) / 1e9;
    if (limit >= 0 && elapsed >= limit) break;
    double wait = limit >= 0 ? std::min(0.2, limit - elapsed) : 0.2;
    auto dg = ep->receive(wait);
    if (!dg) continue;
    std::string time = now_text();
    for (const auto& d : decode_datagram(*dg)) {
      print_decoded(d, *dg, o.json, time);
      ++seen;
    }
    std::fflush(stdout);
    if (o.count && seen >= o.count) break;
  }
  return kOk;
}

int send(const Options& o, const Target& t) {
  if (o.args.empty()) {
    std::fprintf(stderr, "ofa-mgr send: which operation? (ofa-mgr send --help)\n");
    return kUsage;
  }
  std::string text = join(o.args);
  auto step = parse_step(text, t.context());
  if (!step.ok()) {
    std::fprintf(stderr, "ofa-mgr send: %s\n", step.error().c_str());
    return kUsage;
  }
  if (!step.value()) return kOk;
  auto bound = MpEndpoint::bind(mp_path());
  std::unique_ptr<MpEndpoint> ep;
  const auto* send_step = std::get_if<SendStep>(&*step.value());
  if (bound.ok()) {
    ep = std::move(bound.value());
  } else if (send_step) {
    std::fprintf(stderr, "ofa-mgr send: %s; sending without it, replies go there\n",
                 bound.error().c_str());
    ep = std::move(MpEndpoint::unbound().value());
  } else {
    std::fprintf(stderr, "ofa-mgr send: %s\n", bound.error().c_str());
    return kFailed;
  }
  Scenario sc{"", {Step{1, text, *step.value()}}};
  RunOptions ro{agent_path(t.slot), o.timeout, true, false, stdout, platform::hsl_ctl_path(t.slot),
                o.agent_log,        t.slot};
  RunSummary sum = run_steps(sc, *ep, ro);
  if (sum.exit_code() != kOk || !send_step || !ep->bound()) return sum.exit_code();
  // Show what the agent answers: the status of a flow operation, or whatever comes shortly.
  Inbox inbox(*ep, ro);
  if (auto id = status_flow(send_step->datagrams.back().bytes())) {
    auto m = inbox.take(o.timeout, [&](const Message& x) {
      const auto* s = std::get_if<StatusMsg>(&x);
      return s && s->flow_id == *id;
    });
    if (!m) std::printf("%5s  %-7s no status for flow %u within %.1f s\n", "", "", *id, o.timeout);
  } else {
    inbox.collect(o.timeout_given ? o.timeout : 0.3);
  }
  return kOk;
}

int run(const Options& o, const Target& t) {
  if (o.args.size() != 1) {
    std::fprintf(stderr, "ofa-mgr run: one scenario file, please (ofa-mgr run --help)\n");
    return kUsage;
  }
  const std::string& file = o.args[0];
  std::ifstream in(file);
  if (!in) {
    std::fprintf(stderr, "%s:0: cannot read the file\n", file.c_str());
    return kUsage;
  }
  std::stringstream text;
  text << in.rdbuf();
  auto sc = parse_scenario(text.str(), file, t.context());
  if (!sc.ok()) {
    std::fprintf(stderr, "%s\n", sc.error().c_str());
    return kUsage;
  }
  if (o.dry_run) {
    for (const auto& step : sc.value().steps) {
      const auto* send = std::get_if<SendStep>(&step.action);
      std::printf("%5d  %-7s %s%s\n", step.line, send ? "would" : "then", step.source.c_str(),
                  send ? ("   (" + std::to_string(send->bytes()) + " bytes)").c_str() : "");
      for (size_t i = 0; send && o.verbose && i < send->datagrams.size(); ++i) {
        std::printf("%5s  %-7s %s\n", "", "", hex_text(send->datagrams[i].bytes()).c_str());
      }
    }
    std::printf("%s: %zu steps, nothing sent\n", file.c_str(), sc.value().steps.size());
    return kOk;
  }
  auto ep = bind_or_exit();
  RunOptions ro{
      agent_path(t.slot), o.timeout, o.verbose, true, stdout, platform::hsl_ctl_path(t.slot),
      o.agent_log,        t.slot};
  return run_steps(sc.value(), *ep, ro).exit_code();
}

int encode(const Options& o, const Target& t) {
  auto step = parse_step(join(o.args), t.context());
  if (!step.ok()) {
    std::fprintf(stderr, "ofa-mgr encode: %s\n", step.error().c_str());
    return kUsage;
  }
  const auto* s = step.value() ? std::get_if<SendStep>(&*step.value()) : nullptr;
  if (!s) {
    std::fprintf(stderr, "ofa-mgr encode: only messages have bytes\n");
    return kUsage;
  }
  for (const auto& dg : s->datagrams) {  // one line per datagram
    std::printf("%s\n", hex_text(dg.bytes()).c_str());
    if (!o.verbose) continue;
    for (const auto& d : decode_datagram(dg.bytes())) {
      if (const auto* m = std::get_if<Message>(&d)) print_rows(*m);
    }
  }
  return kOk;
}

int decode(const Options& o) {
  auto bytes = syntax::hex_bytes(join(o.args));
  if (!bytes.ok()) {
    std::fprintf(stderr, "ofa-mgr decode: %s\n", bytes.error().c_str());
    return kUsage;
  }
  int rc = kOk;
  for (const auto& d : decode_datagram(bytes.value())) {
    if (o.json || std::holds_alternative<DecodeError>(d)) {
      print_decoded(d, bytes.value(), o.json, now_text());
      if (std::holds_alternative<DecodeError>(d)) rc = kFailed;
      continue;
    }
    const auto& m = std::get<Message>(d);
    std::printf("%s\n", summary(m).c_str());
    print_rows(m);
  }
  return rc;
}

}  // namespace ofa::mgr::cli
