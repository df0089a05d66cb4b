#include "runner.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "chip_side.h"
#include "client.h"
#include "expectations.h"
#include "format.h"

namespace ofa::mgr {
namespace {

using clock = std::chrono::steady_clock;

clock::time_point after(double seconds) {
  return clock::now() +
         std::chrono::duration_cast<clock::duration>(std::chrono::duration<double>(seconds));
}

double seconds_left(clock::time_point deadline) {
  return std::max(0.0, std::chrono::duration<double>(deadline - clock::now()).count());
}

std::string describe(const StatusMsg& s) {
  return status_outcome(s) + " (" + std::string(sub_type_name(s.sub_type)) + ", status " +
         std::to_string(s.status) + ") \"" + s.text + "\"";
}

void line(const RunOptions& opt, int no, const char* tag, const std::string& source,
          const std::string& detail = "") {
  std::fprintf(opt.out, "%5d  %-7s %s%s%s\n", no, tag, source.c_str(), detail.empty() ? "" : "   ",
               detail.c_str());
}

void more(const RunOptions& opt, const std::string& text) {
  std::fprintf(opt.out, "%5s  %-7s %s\n", "", "", text.c_str());
}

std::string secs(double t) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.1f s", t);
  return buf;
}

// Sends one datagram. A full queue means the agent has not read the last ones yet: wait for room,
// reading what it sends meanwhile so that its answers are not lost either.
std::optional<std::string> send_one(MpEndpoint& ep, Inbox& inbox, const RunOptions& opt,
                                    const Bytes& bytes) {
  auto deadline = after(opt.timeout);
  auto e = ep.send(opt.agent, bytes);
  while (e && ep.full() && seconds_left(deadline) > 0) {
    ep.wait(0.002);  // until the agent answers something (or 2 ms), not the whole 2 ms
    inbox.collect(0);
    e = ep.send(opt.agent, bytes);
  }
  if (e && ep.full()) *e += " for " + secs(opt.timeout) + "; datagram not sent";
  return e;
}

void abort_on(const Scenario& sc, const Step& step, const RunOptions& opt, const std::string& e,
              RunSummary& sum) {
  line(opt, step.line, "ERROR", step.source);
  more(opt, (sc.file.empty() ? "" : sc.file + ":" + std::to_string(step.line) + ": ") + e);
  sum.aborted = true;
}

// Looks until `look` finds nothing amiss or the time is up, reading what the agent sends
// meanwhile; answers the last look's finding.
std::string poll(Inbox& inbox, double seconds, const std::function<std::string()>& look) {
  auto deadline = after(seconds);
  for (;;) {
    std::string found = look();
    if (found.empty() || seconds_left(deadline) <= 0) return found;
    inbox.collect(std::min(0.05, seconds_left(deadline)));
  }
}

// What is amiss with the agent's answer to the show request; "" when nothing is.
std::string check_show(const ExpectShowStep& s, const std::string& scenario,
                       const RunOptions& opt) {
  auto answer = ofactl::ask(opt.slot, ofactl::kCodeShow, s.request, 1.0);
  if (const auto* f = std::get_if<ofactl::Failure>(&answer)) return f->message;
  const std::string& text = std::get<ofactl::Reply>(answer).text;
  if (!s.file) return text.find(s.text) != std::string::npos ? "" : "\"" + text + "\"";
  std::filesystem::path path = s.text;
  if (path.is_relative()) path = std::filesystem::path(scenario).parent_path() / path;
  std::ifstream in(path);
  if (!in) return path.string() + ": cannot read the file";
  std::stringstream want;
  want << in.rdbuf();
  if (text == want.str()) return "";
  size_t at = 0;
  while (at < text.size() && at < want.str().size() && text[at] == want.str()[at])
    ++at;
  size_t from = text.rfind('\n', at);
  from = from == std::string::npos ? 0 : from + 1;
  return "differs from " + path.string() + " at byte " + std::to_string(at) + ", line \"" +
         text.substr(from, text.find('\n', at) - from) + "\"";
}

}  // namespace

void Inbox::accept(const Bytes& datagram) {
  for (auto& d : decode_datagram(datagram)) {
    if (auto* err = std::get_if<DecodeError>(&d)) {
      std::fprintf(opt_.out, "%5s  %-7s datagram of %zu bytes, at offset %zu: %s\n", "", "BAD",
                   datagram.size(), err->offset, err->reason.c_str());
      continue;
    }
    auto& m = std::get<Message>(d);
    if (opt_.verbose) std::fprintf(opt_.out, "%5s  %-7s %s\n", "", "recv", summary(m).c_str());
    pending_.push_back({std::move(m), clock::now()});
  }
}

void Inbox::collect(double seconds) {
  auto deadline = after(seconds);
  while (auto dg = ep_.receive(seconds_left(deadline)))
    accept(*dg);
}

std::optional<Message> Inbox::take(double seconds,
                                   const std::function<bool(const Message&)>& want) {
  auto deadline = after(seconds);
  size_t seen = 0;
  for (;;) {
    for (; seen < pending_.size(); ++seen) {
      if (want(pending_[seen].msg)) {
        Message m = std::move(pending_[seen].msg);
        pending_.erase(pending_.begin() + static_cast<std::ptrdiff_t>(seen));
        return m;
      }
    }
    // What is already queued counts even when the time is up.
    auto dg = ep_.receive(seconds_left(deadline));
    if (!dg) return std::nullopt;
    accept(*dg);
  }
}

std::optional<std::vector<Message>> Inbox::take_tick(double seconds, double gap) {
  auto since = clock::now();
  auto deadline = after(seconds);
  auto g = std::chrono::duration_cast<clock::duration>(std::chrono::duration<double>(gap));
  for (;;) {
    std::vector<size_t> tick;
    std::optional<clock::time_point> last;
    for (size_t i = 0; i < pending_.size(); ++i) {
      if (!is_statistics(pending_[i].msg)) continue;
      auto at = pending_[i].at;
      bool apart = !last || at - *last >= g;
      if (!tick.empty() && apart) break;
      if (!tick.empty() || (apart && at >= since)) tick.push_back(i);
      last = at;
    }
    if (!tick.empty() && clock::now() - *last >= g) {
      std::vector<Message> out;
      for (size_t i : tick)
        out.push_back(std::move(pending_[i].msg));
      for (auto i = tick.rbegin(); i != tick.rend(); ++i)
        pending_.erase(pending_.begin() + static_cast<std::ptrdiff_t>(*i));
      return out;
    }
    if (seconds_left(deadline) <= 0) return std::nullopt;
    collect(std::min(0.01, seconds_left(deadline)));
  }
}

RunSummary run_steps(const Scenario& sc, MpEndpoint& ep, const RunOptions& opt) {
  RunSummary sum;
  Inbox inbox(ep, opt);
  ChipSide chip(opt.chip_control, opt.agent_log);
  uint32_t barriers = 0;
  const Step* at = nullptr;
  // Sends a barrier and waits for its status: "" when it came, else which status was awaited;
  // nothing when it could not be sent (the run stops).
  auto barrier = [&](double t) -> std::optional<std::string> {
    uint32_t xid = kBarrierXid + barriers++;
    if (auto e = send_one(ep, inbox, opt, encode(barrier_flow(xid)).value())) {
      abort_on(sc, *at, opt, *e, sum);
      return std::nullopt;
    }
    ++sum.sent;
    auto m = inbox.take(t, [xid](const Message& x) {
      const auto* s = std::get_if<StatusMsg>(&x);
      return s && s->flow_id == 0 && s->xid == xid;
    });
    return m ? "" : "flow 0, xid " + std::to_string(xid);
  };
  // An expectation's line: "ok", or "FAILED" and what came instead.
  auto verdict = [&](const Step& step, const std::string& got) {
    if (got.empty()) {
      line(opt, step.line, "ok", step.source);
      return;
    }
    ++sum.failed;
    line(opt, step.line, "FAILED", step.source);
    more(opt, "got:      " + got);
  };
  for (const auto& step : sc.steps) {
    at = &step;
    if (const auto* send = std::get_if<SendStep>(&step.action)) {
      std::optional<std::string> e;
      for (const auto& dg : send->datagrams) {
        if ((e = send_one(ep, inbox, opt, dg.bytes()))) break;
        ++sum.sent;
      }
      if (e) {
        abort_on(sc, step, opt, *e, sum);
        break;
      }
      std::string size = std::to_string(send->bytes()) + " bytes";
      if (send->datagrams.size() > 1) {
        size = std::to_string(send->datagrams.size()) + " datagrams, " + size;
      }
      line(opt, step.line, "sent", step.source, "(" + size + ")");
      inbox.collect(0);
    } else if (const auto* wait = std::get_if<WaitRegistrationStep>(&step.action)) {
      ++sum.expectations;
      double t = wait->timeout.value_or(opt.timeout);
      auto m =
          inbox.take(t, [](const Message& x) { return std::holds_alternative<RegisterMsg>(x); });
      if (m) {
        line(opt, step.line, "ok", step.source,
             "slot " + std::to_string(std::get<RegisterMsg>(*m).slot) + " registered");
      } else {
        ++sum.failed;
        line(opt, step.line, "FAILED", step.source);
        more(opt, "expected: a registration from the agent");
        more(opt, "got:      nothing within " + secs(t));
      }
    } else if (const auto* exp = std::get_if<ExpectStatusStep>(&step.action)) {
      ++sum.expectations;
      double t = exp->timeout.value_or(opt.timeout);
      uint32_t id = exp->flow_id;
      auto m = inbox.take(t, [id](const Message& x) {
        const auto* s = std::get_if<StatusMsg>(&x);
        return s && s->flow_id == id;
      });
      std::string expected = std::string(outcome_name(exp->outcome)) +
                             (exp->text ? " with text " + std::string(exp->exact ? "=" : "~") +
                                              " \"" + *exp->text + "\""
                                        : "");
      if (!m) {
        ++sum.failed;
        line(opt, step.line, "FAILED", step.source);
        more(opt, "expected: status of flow " + std::to_string(id) + ": " + expected);
        more(opt, "got:      no status for flow " + std::to_string(id) + " within " + secs(t));
        continue;
      }
      const auto& st = std::get<StatusMsg>(*m);
      auto diff = check_status(*exp, st);
      if (diff.empty()) {
        line(opt, step.line, "ok", step.source,
             std::string(sub_type_name(st.sub_type)) + " " + status_outcome(st) + " after " +
                 std::to_string(st.end_ms - st.start_ms) + " ms");
      } else {
        ++sum.failed;
        line(opt, step.line, "FAILED", step.source);
        more(opt, "expected: status of flow " + std::to_string(id) + ": " + expected);
        more(opt, "got:      " + describe(st) + " (" + diff + ")");
      }
    } else if (const auto* no = std::get_if<ExpectNoStatusStep>(&step.action)) {
      ++sum.expectations;
      double t = no->timeout.value_or(1.0);
      uint32_t id = no->flow_id;
      auto m = inbox.take(t, [id](const Message& x) {
        const auto* s = std::get_if<StatusMsg>(&x);
        return s && s->flow_id == id;
      });
      if (!m) {
        line(opt, step.line, "ok", step.source, "none within " + secs(t));
      } else {
        ++sum.failed;
        line(opt, step.line, "FAILED", step.source);
        more(opt, "expected: no status for flow " + std::to_string(id) + " within " + secs(t));
        more(opt, "got:      " + describe(std::get<StatusMsg>(*m)));
      }
    } else if (const auto* st = std::get_if<ExpectStatsStep>(&step.action)) {
      ++sum.expectations;
      double t = st->timeout.value_or(st->none ? 1.0 : opt.timeout);
      auto m = inbox.take(t, [st](const Message& x) {
        auto c = counters_of(*st, x);
        return c && meets(*st, *c);
      });
      if (st->none) {
        if (!m) {
          line(opt, step.line, "ok", step.source, "none within " + secs(t));
        } else {
          ++sum.failed;
          line(opt, step.line, "FAILED", step.source);
          more(opt, "expected: none with " + conditions_text(*st) + " within " + secs(t));
          more(opt, "got:      " + counters_text(*counters_of(*st, *m)));
        }
      } else if (m) {
        line(opt, step.line, "ok", step.source, counters_text(*counters_of(*st, *m)));
      } else {
        ++sum.failed;
        std::string last = "nothing of that kind and id within " + secs(t);
        for (const auto& x : inbox.pending()) {
          if (auto c = counters_of(*st, x.msg)) last = counters_text(*c) + " (the last that came)";
        }
        line(opt, step.line, "FAILED", step.source);
        more(opt, "expected: " + conditions_text(*st));
        more(opt, "got:      " + last);
      }
    } else if (const auto* bar = std::get_if<BarrierStep>(&step.action)) {
      ++sum.expectations;
      double t = bar->timeout.value_or(opt.timeout);
      auto got = barrier(t);
      if (!got) break;
      if (got->empty()) {
        chip.rebase();
        line(opt, step.line, "ok", step.source, "the agent has handled everything sent before");
      } else {
        ++sum.failed;
        line(opt, step.line, "FAILED", step.source);
        more(opt, "expected: the status of the barrier (" + *got + ")");
        more(opt, "got:      nothing within " + secs(t));
      }
    } else if (const auto* cc = std::get_if<ChipControlStep>(&step.action)) {
      if (auto e = chip.control(cc->command)) {
        abort_on(sc, step, opt, *e, sum);
        break;
      }
      line(opt, step.line, "done", step.source);
    } else if (const auto* ec = std::get_if<ExpectChipStep>(&step.action)) {
      ++sum.expectations;
      double t = ec->timeout.value_or(opt.timeout);
      std::string got;
      if (ec->item == ChipItem::counters) {
        // Counters are exact once the agent has handled everything sent before.
        auto flushed = barrier(t);
        if (!flushed) break;
        got = flushed->empty() ? chip.check(*ec) : "no status of the barrier (" + *flushed + ")";
      } else {
        got = poll(inbox, t, [&] { return chip.check(*ec); });
      }
      verdict(step, got);
    } else if (const auto* el = std::get_if<ExpectLogStep>(&step.action)) {
      ++sum.expectations;
      double t = el->timeout.value_or(opt.timeout);
      std::string got = poll(inbox, t, [&] { return chip.check_log(*el); });
      verdict(step, got.empty() ? got : got + " within " + secs(t));
    } else if (const auto* es = std::get_if<ExpectShowStep>(&step.action)) {
      ++sum.expectations;
      double t = es->timeout.value_or(opt.timeout);
      verdict(step, poll(inbox, t, [&] { return check_show(*es, sc.file, opt); }));
    } else if (const auto* tk = std::get_if<ExpectTickStep>(&step.action)) {
      ++sum.expectations;
      double t = tk->timeout.value_or(opt.timeout);
      auto tick = inbox.take_tick(t, tk->gap);
      std::string got = tick ? check_tick(*tk, *tick) : "no whole tick within " + secs(t);
      if (got.empty()) {
        line(opt, step.line, "ok", step.source, tick_text(*tick));
      } else {
        verdict(step, got);
      }
    } else if (const auto* sl = std::get_if<SleepStep>(&step.action)) {
      inbox.collect(sl->seconds);
      line(opt, step.line, "slept", step.source);
    }
  }
  if (opt.verbose) {
    for (const auto& m : inbox.pending()) {
      std::fprintf(opt.out, "%5s  %-7s %s\n", "", "unused", summary(m.msg).c_str());
    }
  }
  if (!opt.summary) return sum;
  std::fprintf(opt.out, "%s: %zu datagram%s sent, %zu of %zu expectations met%s\n", sc.file.c_str(),
               sum.sent, sum.sent == 1 ? "" : "s", sum.expectations - sum.failed, sum.expectations,
               sum.aborted ? ", stopped by an error" : "");
  return sum;
}

}  // namespace ofa::mgr
