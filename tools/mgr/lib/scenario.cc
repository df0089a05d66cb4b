#include "scenario.h"

#include <algorithm>
#include <array>
#include <map>

#include "common/text.h"
#include "syntax.h"

namespace ofa::mgr {
namespace {

using Words = std::vector<std::string>;
using StepResult = Result<std::optional<StepAction>>;

std::optional<std::string> timeout_option(std::span<const std::string> words,
                                          std::optional<double>& timeout) {
  for (const auto& w : words) {
    auto kv = syntax::split_key(w);
    if (kv.key != "timeout" || !kv.has_value) return "unexpected '" + w + "'";
    auto d = syntax::duration(kv.value, "timeout");
    if (!d.ok()) return d.error();
    timeout = d.value();
  }
  return std::nullopt;
}

StepResult wait_step(std::span<const std::string> w) {
  if (w.empty() || w[0] != "registration") {
    return StepResult::fail("wait: only 'wait registration' is known");
  }
  WaitRegistrationStep s;
  if (auto e = timeout_option(w.subspan(1), s.timeout)) return StepResult::fail("wait: " + *e);
  return std::optional<StepAction>(s);
}

// expect status <flow id> success|failure|pseudo [text ~ "..." | text = "..."] [timeout=D]
StepResult expect_status(std::span<const std::string> w) {
  if (w.size() < 2) {
    return StepResult::fail("expect status needs a flow id and success, failure or pseudo");
  }
  ExpectStatusStep s;
  auto id = syntax::number(w[0], 0xffffffff, "expect status: flow id");
  if (!id.ok()) return StepResult::fail(id.error());
  s.flow_id = static_cast<uint32_t>(id.value());
  if (w[1] == "success") {
    s.outcome = Outcome::success;
  } else if (w[1] == "failure") {
    s.outcome = Outcome::failure;
  } else if (w[1] == "pseudo") {
    s.outcome = Outcome::pseudo;
  } else {
    return StepResult::fail("expect status: '" + w[1] + "' is not success, failure or pseudo");
  }
  auto rest = w.subspan(2);
  if (!rest.empty() && rest[0] == "text") {
    if (rest.size() < 3 || (rest[1] != "~" && rest[1] != "=")) {
      return StepResult::fail(
          "expect status: write text ~ \"words the reason contains\" or text = \"the whole "
          "reason\"");
    }
    s.text = rest[2];
    s.exact = rest[1] == "=";
    rest = rest.subspan(3);
  }
  if (auto e = timeout_option(rest, s.timeout)) return StepResult::fail("expect status: " + *e);
  return std::optional<StepAction>(s);
}

StepResult expect_stats(StatsKind kind, const std::string& what, std::span<const std::string> w);

// expect no status <flow id> [timeout=D], or expect no flow-stats|queue-stats|meter-stats ...
StepResult expect_no_status(std::span<const std::string> w) {
  const std::pair<const char*, StatsKind> kinds[] = {{"flow-stats", StatsKind::flow},
                                                     {"queue-stats", StatsKind::queue},
                                                     {"meter-stats", StatsKind::meter}};
  for (const auto& [word, kind] : kinds) {
    if (w.empty() || w[0] != word) continue;
    StepResult r = expect_stats(kind, "no " + w[0], w.subspan(1));
    if (r.ok() && r.value()) std::get<ExpectStatsStep>(*r.value()).none = true;
    return r;
  }
  if (w.empty() || w[0] != "status" || w.size() < 2) {
    return StepResult::fail("expect no status needs a flow id");
  }
  ExpectNoStatusStep s;
  auto id = syntax::number(w[1], 0xffffffff, "expect no status: flow id");
  if (!id.ok()) return StepResult::fail(id.error());
  s.flow_id = static_cast<uint32_t>(id.value());
  if (auto e = timeout_option(w.subspan(2), s.timeout)) {
    return StepResult::fail("expect no status: " + *e);
  }
  return std::optional<StepAction>(s);
}

// expect flow-stats|queue-stats|meter-stats <id> [queue=Q] [counter=N|counter>=N]... [timeout=D]
StepResult expect_stats(StatsKind kind, const std::string& what, std::span<const std::string> w) {
  static const std::vector<std::string> kFlowCounters = {"packets", "bytes"};
  static const std::vector<std::string> kMeterCounters = {
      "in_packets",     "in_bytes",     "drop_packets", "drop_bytes",
      "remark_packets", "remark_bytes", "records"};
  const auto& counters = kind == StatsKind::meter ? kMeterCounters : kFlowCounters;
  if (w.empty()) return StepResult::fail("expect " + what + " needs an id");
  ExpectStatsStep s;
  s.kind = kind;
  auto id = syntax::number(w[0], 0xffffffff, "expect " + what + ": id");
  if (!id.ok()) return StepResult::fail(id.error());
  s.id = static_cast<uint32_t>(id.value());
  for (const auto& word : w.subspan(1)) {
    auto kv = syntax::split_key(word);
    if (kv.key == "timeout") {
      if (auto e = timeout_option(std::span(&word, 1), s.timeout)) {
        return StepResult::fail("expect " + what + ": " + *e);
      }
      continue;
    }
    if (kv.key == "queue" && kind == StatsKind::queue) {
      auto q = syntax::number(kv.value, kQueueCount - 1, "queue");
      if (!q.ok()) return StepResult::fail(q.error());
      s.queue = static_cast<uint32_t>(q.value());
      continue;
    }
    CounterCondition c;
    c.at_least = kv.key.ends_with(">");
    c.counter = c.at_least ? kv.key.substr(0, kv.key.size() - 1) : kv.key;
    if (!kv.has_value || std::find(counters.begin(), counters.end(), c.counter) == counters.end()) {
      std::string names;
      for (const auto& n : counters)
        names += (names.empty() ? "" : ", ") + n;
      return StepResult::fail("expect " + what + ": '" + word + "' is not a condition on " + names +
                              " (like packets=5 or bytes>=64)");
    }
    auto v = syntax::number(kv.value, UINT64_MAX, c.counter);
    if (!v.ok()) return StepResult::fail(v.error());
    c.value = v.value();
    s.conditions.push_back(c);
  }
  return std::optional<StepAction>(s);
}

// expect chip port ID | vlan ID|all | xlate PORT IIVID | region LDEV REGION  field=value... |
//   absent  [chip=IFINDEX]
// expect chip COUNTER=N...
// xlate PORT IIVID and l2 IIVID MAC also as fields (port=P iivid=I, iivid=I mac=M), anywhere.
std::vector<std::string> keyed_ids(std::span<const std::string> w) {
  std::vector<std::string> out(w.begin(), w.end());
  if (w.size() < 2 || (w[0] != "xlate" && w[0] != "l2") || w[1].find('=') == std::string::npos)
    return out;
  std::array<std::string_view, 2> names{w[0] == "xlate" ? "port" : "iivid",
                                        w[0] == "xlate" ? "iivid" : "mac"};
  std::array<std::string, 2> key;
  std::vector<std::string> rest;
  for (const auto& word : w.subspan(1)) {
    auto kv = syntax::split_key(word);
    size_t k = kv.key == names[0] ? 0 : kv.key == names[1] ? 1 : 2;
    if (k < 2 && kv.has_value && key[k].empty())
      key[k] = kv.value;
    else
      rest.push_back(word);
  }
  if (key[0].empty() || key[1].empty()) return out;
  out = {w[0], key[0], key[1]};
  out.insert(out.end(), rest.begin(), rest.end());
  return out;
}

// expect chip port ID | vlan ID|all | mgid ID | nhop ID | xlate PORT IIVID | region LDEV REGION |
//   l2 IIVID MAC | policer ID INSTANCE  field=value... | absent  [chip=IFINDEX]
// expect chip COUNTER=N...
StepResult expect_chip(std::span<const std::string> given) {
  std::vector<std::string> words = keyed_ids(given);
  std::span<const std::string> w(words);
  ExpectChipStep s;
  size_t ids = 0;
  static const std::map<std::string, std::pair<ChipItem, size_t>> kItems = {
      {"port", {ChipItem::port, 1}},   {"vlan", {ChipItem::vlan, 1}},
      {"mgid", {ChipItem::mgid, 1}},   {"nhop", {ChipItem::nhop, 1}},
      {"xlate", {ChipItem::xlate, 2}}, {"region", {ChipItem::region, 2}},
      {"l2", {ChipItem::l2, 2}},       {"policer", {ChipItem::policer, 2}}};
  if (w.empty()) {
    return StepResult::fail(
        "expect chip: port ID, vlan ID, mgid ID, nhop ID, xlate PORT IIVID, region LDEV REGION, "
        "l2 IIVID MAC, policer ID INSTANCE or COUNTER=N");
  }
  if (auto it = kItems.find(w[0]); it != kItems.end()) {
    s.item = it->second.first;
    ids = it->second.second;
  } else {
    s.item = ChipItem::counters;
  }
  if (w.size() <= ids) return StepResult::fail("expect chip " + w[0] + ": which one?");
  for (size_t i = 1; i <= ids; ++i) {
    if (s.item == ChipItem::vlan && w[i] == "all") {
      s.ids.push_back(w[i]);
      continue;
    }
    if (s.item == ChipItem::l2 && i == 2) {
      auto m = syntax::mac(w[i], "expect chip l2");
      if (!m.ok()) return StepResult::fail(m.error());
      s.ids.push_back(tools::mac_text(m.value()));
      continue;
    }
    auto n = syntax::number(w[i], 0xffffffff, "expect chip " + w[0]);
    if (!n.ok()) return StepResult::fail(n.error());
    s.ids.push_back(std::to_string(n.value()));
  }
  for (const auto& word : w.subspan(ids == 0 ? 0 : 1 + ids)) {
    auto kv = syntax::split_key(word);
    if (kv.key == "timeout" && kv.has_value) {
      if (auto e = timeout_option(std::span(&word, 1), s.timeout)) {
        return StepResult::fail("expect chip: " + *e);
      }
    } else if (kv.key == "chip" && kv.has_value && s.item != ChipItem::counters) {
      auto n = syntax::number(kv.value, 0xffffffff, "chip");
      if (!n.ok()) return StepResult::fail(n.error());
      s.chip = std::to_string(n.value());
    } else if (word == "absent" && s.item != ChipItem::counters) {
      s.absent = true;
    } else if (kv.has_value && !kv.key.empty() && !kv.value.empty()) {
      if (s.item == ChipItem::counters) {
        auto n = syntax::number(kv.value, UINT64_MAX, kv.key);
        if (!n.ok()) return StepResult::fail(n.error());
      }
      s.fields.emplace_back(kv.key, kv.value);
    } else {
      return StepResult::fail("expect chip: '" + word + "' is not field=value" +
                              (s.item == ChipItem::counters ? "" : ", absent or chip=IFINDEX"));
    }
  }
  if (s.absent && !s.fields.empty()) {
    return StepResult::fail("expect chip: absent and field values do not go together");
  }
  if (!s.absent && s.fields.empty()) {
    return StepResult::fail("expect chip: nothing to check (field=value or absent)");
  }
  return std::optional<StepAction>(s);
}

// expect log ~ "words" [timeout=D]
StepResult expect_log(std::span<const std::string> w) {
  if (w.size() < 2 || w[0] != "~" || w[1].empty()) {
    return StepResult::fail("expect log: write expect log ~ \"words of the line\"");
  }
  ExpectLogStep s{w[1], std::nullopt};
  if (auto e = timeout_option(w.subspan(2), s.timeout))
    return StepResult::fail("expect log: " + *e);
  return std::optional<StepAction>(s);
}

// expect show "REQUEST" ~ "words" | == FILE [timeout=D]
StepResult expect_show(std::span<const std::string> w) {
  if (w.size() < 3 || w[0].empty() || (w[1] != "~" && w[1] != "==") || w[2].empty()) {
    return StepResult::fail(
        "expect show: write expect show \"REQUEST\" ~ \"words\" or expect show \"REQUEST\" == "
        "FILE");
  }
  ExpectShowStep s{w[0], w[2], w[1] == "==", std::nullopt};
  if (auto e = timeout_option(w.subspan(3), s.timeout))
    return StepResult::fail("expect show: " + *e);
  return std::optional<StepAction>(s);
}

StepResult chip_step(std::span<const std::string> w) {
  if (w.empty()) return StepResult::fail("chip: which control command? (like 'chip reset')");
  ChipControlStep s;
  for (const auto& word : w)
    s.command += (s.command.empty() ? "" : " ") + word;
  return std::optional<StepAction>(s);
}

// expect tick [flows=IDS] [meters=IDS] [queues=PORTS] [records=N,...] [gap=D] [timeout=D]
StepResult expect_tick(std::span<const std::string> w) {
  ExpectTickStep s;
  for (const auto& word : w) {
    auto kv = syntax::split_key(word);
    std::optional<std::vector<uint32_t>>* list = kv.key == "flows"     ? &s.flows
                                                 : kv.key == "meters"  ? &s.meters
                                                 : kv.key == "queues"  ? &s.queues
                                                 : kv.key == "records" ? &s.records
                                                                       : nullptr;
    if (!kv.has_value) return StepResult::fail("expect tick: unexpected '" + word + "'");
    if (list && kv.value == "none" && kv.key != "records") {
      *list = std::vector<uint32_t>{};
    } else if (list) {
      auto ids = syntax::id_list(kv.value, 0xffffffff, "expect tick: " + kv.key);
      if (!ids.ok()) return StepResult::fail(ids.error());
      *list = ids.value();
    } else if (kv.key == "gap" || kv.key == "timeout") {
      auto d = syntax::duration(kv.value, kv.key);
      if (!d.ok()) return StepResult::fail("expect tick: " + d.error());
      if (kv.key == "gap") s.gap = d.value();
      if (kv.key == "timeout") s.timeout = d.value();
    } else {
      return StepResult::fail("expect tick: unexpected '" + word +
                              "' (flows=, meters=, queues=, records=, gap=, timeout=)");
    }
  }
  return std::optional<StepAction>(s);
}

StepResult expect_step(std::span<const std::string> w) {
  if (!w.empty() && w[0] == "tick") return expect_tick(w.subspan(1));
  if (!w.empty() && w[0] == "chip") return expect_chip(w.subspan(1));
  if (!w.empty() && w[0] == "log") return expect_log(w.subspan(1));
  if (!w.empty() && w[0] == "show") return expect_show(w.subspan(1));
  if (!w.empty() && w[0] == "status") return expect_status(w.subspan(1));
  if (!w.empty() && w[0] == "no") return expect_no_status(w.subspan(1));
  if (!w.empty() && w[0] == "flow-stats") return expect_stats(StatsKind::flow, w[0], w.subspan(1));
  if (!w.empty() && w[0] == "queue-stats") {
    return expect_stats(StatsKind::queue, w[0], w.subspan(1));
  }
  if (!w.empty() && w[0] == "meter-stats") {
    return expect_stats(StatsKind::meter, w[0], w.subspan(1));
  }
  return StepResult::fail(
      "expect: status, no status, flow-stats, queue-stats, meter-stats, tick, chip, log or show "
      "(like "
      "'expect status 10 success')");
}

StepResult barrier_step(std::span<const std::string> w) {
  BarrierStep s;
  if (auto e = timeout_option(w, s.timeout)) return StepResult::fail("barrier: " + *e);
  return std::optional<StepAction>(s);
}

StepResult sleep_step(std::span<const std::string> w) {
  if (w.size() != 1) return StepResult::fail("sleep needs one duration, like 'sleep 500ms'");
  auto d = syntax::duration(w[0], "sleep");
  if (!d.ok()) return StepResult::fail(d.error());
  return std::optional<StepAction>(SleepStep{d.value()});
}

// raw HEX... [zeros=N]: bytes as they stand; zeros=N appends N zero bytes at that place.
StepResult raw_step(std::span<const std::string> w) {
  Bytes bytes;
  std::string hex;
  auto flush = [&]() -> std::optional<std::string> {
    if (hex.empty()) return std::nullopt;
    auto b = syntax::hex_bytes(hex);
    if (!b.ok()) return b.error();
    bytes.insert(bytes.end(), b.value().begin(), b.value().end());
    hex.clear();
    return std::nullopt;
  };
  for (const auto& x : w) {
    auto kv = syntax::split_key(x);
    if (!kv.has_value) {
      hex += x + " ";
      continue;
    }
    if (kv.key != "zeros") return StepResult::fail("raw: unknown option '" + kv.key + "'");
    if (auto e = flush()) return StepResult::fail(*e);
    auto n = syntax::number(kv.value, kMaxBodyLength + kHeaderSize, "raw zeros");
    if (!n.ok()) return StepResult::fail(n.error());
    bytes.resize(bytes.size() + n.value(), 0);
  }
  if (auto e = flush()) return StepResult::fail(*e);
  if (bytes.empty()) return StepResult::fail("raw: no bytes given");
  SendStep s{{Datagram{}}};
  s.datagrams[0].add_raw(bytes);
  return std::optional<StepAction>(std::move(s));
}

StepResult words_step(const Words& words, const ParseContext& ctx) {
  if (words.empty()) return std::optional<StepAction>();
  std::span<const std::string> rest(words.begin() + 1, words.end());
  const auto& head = words[0];
  if (head == "wait") return wait_step(rest);
  if (head == "expect") return expect_step(rest);
  if (head == "sleep") return sleep_step(rest);
  if (head == "barrier") return barrier_step(rest);
  if (head == "raw") return raw_step(rest);
  if (head == "chip") return chip_step(rest);
  if (head == "pack" || head == "end") {
    return StepResult::fail("'" + head + "' belongs in a scenario file, around messages");
  }
  if (!is_operation(head)) {
    return StepResult::fail("unknown operation '" + head +
                            "' (flow, group, meter, vlan, port-vlan, evt, port, openflow, "
                            "default-action, protected-vlan, config, sync-complete, raw, wait, "
                            "expect, sleep, barrier, chip, pack)");
  }
  // fragment=N: the flow goes out as messages of N members each, one datagram each.
  Words op;
  std::optional<uint64_t> per_fragment;
  for (const auto& w : words) {
    auto kv = syntax::split_key(w);
    if (head != "flow" || kv.key != "fragment" || !kv.has_value) {
      op.push_back(w);
      continue;
    }
    auto n = syntax::number(kv.value, 0xffff, "fragment");
    if (!n.ok()) return StepResult::fail(n.error());
    if (n.value() == 0) return StepResult::fail("fragment: at least 1 member a message");
    per_fragment = n.value();
  }
  auto msg = parse_operation(op, ctx);
  if (!msg.ok()) return StepResult::fail(msg.error());
  std::vector<Message> msgs{msg.value()};
  if (per_fragment) {
    msgs.clear();
    for (auto& f : split_fragments(std::get<FlowMsg>(msg.value()), *per_fragment)) {
      msgs.emplace_back(std::move(f));
    }
  }
  SendStep s;
  for (const auto& m : msgs) {
    s.datagrams.emplace_back();
    if (auto e = s.datagrams.back().add(m)) return StepResult::fail(*e);
  }
  return std::optional<StepAction>(std::move(s));
}

std::string trim(std::string_view s) {
  size_t a = s.find_first_not_of(" \t\r");
  if (a == std::string_view::npos) return {};
  size_t b = s.find_last_not_of(" \t\r");
  return std::string(s.substr(a, b - a + 1));
}

}  // namespace

FlowMsg barrier_flow(uint32_t xid) {
  FlowMsg f;
  f.sub_type = kSubAddFlow;
  f.flow_id = 0;
  f.xid = xid;
  return f;
}

std::string_view outcome_name(Outcome o) {
  switch (o) {
    case Outcome::success:
      return "success";
    case Outcome::failure:
      return "failure";
    case Outcome::pseudo:
      return "pseudo";
  }
  return "?";
}

StepResult parse_step(std::string_view line, const ParseContext& ctx) {
  auto words = syntax::tokenize(line);
  if (!words.ok()) return StepResult::fail(words.error());
  return words_step(words.value(), ctx);
}

Result<Scenario> parse_scenario(std::string_view text, std::string_view file,
                                const ParseContext& ctx) {
  Scenario sc{std::string(file), {}};
  std::optional<Step> pack;  // open pack block
  int line_no = 0;
  auto error = [&](int line, const std::string& reason) {
    return Result<Scenario>::fail(std::string(file) + ":" + std::to_string(line) + ": " + reason);
  };
  size_t pos = 0;
  while (pos <= text.size()) {
    size_t nl = text.find('\n', pos);
    if (nl == std::string_view::npos) nl = text.size();
    std::string_view line = text.substr(pos, nl - pos);
    pos = nl + 1;
    ++line_no;
    auto words = syntax::tokenize(line);
    if (!words.ok()) return error(line_no, words.error());
    const Words& w = words.value();
    if (w.empty()) continue;
    if (w[0] == "pack" || w[0] == "end") {
      if (w.size() != 1) return error(line_no, "'" + w[0] + "' stands alone on its line");
      if (w[0] == "pack") {
        if (pack) {
          return error(line_no,
                       "pack inside pack (opened at line " + std::to_string(pack->line) + ")");
        }
        pack = Step{line_no, trim(line), SendStep{{Datagram{}}}};
      } else {
        if (!pack) return error(line_no, "'end' without 'pack'");
        if (std::get<SendStep>(pack->action).datagrams[0].empty()) {
          return error(line_no, "empty pack (opened at line " + std::to_string(pack->line) + ")");
        }
        sc.steps.push_back(std::move(*pack));
        pack.reset();
      }
      continue;
    }
    auto step = words_step(w, ctx);
    if (!step.ok()) return error(line_no, step.error());
    if (!step.value()) continue;
    StepAction& action = *step.value();
    if (pack) {
      auto* send = std::get_if<SendStep>(&action);
      if (!send) {
        return error(line_no, "only messages go into a pack (opened at line " +
                                  std::to_string(pack->line) + "); close it with 'end' first");
      }
      auto& dg = std::get<SendStep>(pack->action).datagrams[0];
      for (const auto& d : send->datagrams)
        dg.add_raw(d.bytes());
      pack->source += " | " + trim(line);
      continue;
    }
    sc.steps.push_back(Step{line_no, trim(line), std::move(action)});
  }
  if (pack) return error(pack->line, "pack without 'end'");
  return sc;
}

}  // namespace ofa::mgr
