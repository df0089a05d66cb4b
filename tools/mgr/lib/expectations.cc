#include "expectations.h"

#include <algorithm>

namespace ofa::mgr {
namespace {

// The ids of a tick by kind, in arrival order, and each meter message's record count.
struct TickIds {
  std::vector<uint32_t> flows, meters, queues, records;
  std::string order;  // "" when flows come before meters and meters before queues
};

TickIds ids_of(const std::vector<Message>& tick) {
  TickIds t;
  const char* names[] = {"flow", "meter", "queue"};
  size_t rank = 0;
  for (const auto& m : tick) {
    size_t r = rank;
    if (const auto* f = std::get_if<FlowStatsMsg>(&m)) {
      t.flows.push_back(f->flow_id);
      r = 0;
    } else if (const auto* ms = std::get_if<MeterStatsMsg>(&m)) {
      for (const auto& rec : ms->records)
        t.meters.push_back(rec.meter_id);
      t.records.push_back(static_cast<uint32_t>(ms->records.size()));
      r = 1;
    } else if (const auto* q = std::get_if<QueueStatsMsg>(&m)) {
      t.queues.push_back(q->port_id);
      r = 2;
    }
    if (r < rank && t.order.empty()) {
      t.order = std::string("a ") + names[r] + " message after a " + names[rank] + " message";
    }
    rank = std::max(rank, r);
  }
  return t;
}

// "1-100,102", or "none".
std::string ids_text(const std::vector<uint32_t>& ids) {
  std::string s;
  for (size_t i = 0; i < ids.size();) {
    size_t j = i;
    while (j + 1 < ids.size() && ids[j + 1] == ids[j] + 1)
      ++j;
    s += (s.empty() ? "" : ",") + std::to_string(ids[i]);
    if (j > i) s += "-" + std::to_string(ids[j]);
    i = j + 1;
  }
  return s.empty() ? "none" : s;
}

}  // namespace

std::string status_outcome(const StatusMsg& s) {
  if (s.status == 0) return "failure";
  return s.text.starts_with(kPseudoPrefix) ? "pseudo" : "success";
}

std::string check_status(const ExpectStatusStep& want, const StatusMsg& got) {
  std::string outcome = status_outcome(got);
  if (outcome != outcome_name(want.outcome)) return "outcome is " + outcome;
  if (want.text && want.exact && got.text != *want.text) {
    return "text is not \"" + *want.text + "\"";
  }
  if (want.text && !want.exact && got.text.find(*want.text) == std::string::npos) {
    return "text does not contain \"" + *want.text + "\"";
  }
  return {};
}

std::optional<Counters> counters_of(const ExpectStatsStep& want, const Message& m) {
  switch (want.kind) {
    case StatsKind::flow: {
      const auto* f = std::get_if<FlowStatsMsg>(&m);
      if (!f || f->flow_id != want.id) return std::nullopt;
      return Counters{{"packets", f->packets}, {"bytes", f->bytes}};
    }
    case StatsKind::queue: {
      const auto* q = std::get_if<QueueStatsMsg>(&m);
      if (!q || q->port_id != want.id) return std::nullopt;
      Counters c{{"packets", 0}, {"bytes", 0}};
      for (const auto& r : q->queues) {
        if (want.queue && r.queue != *want.queue) continue;
        c["packets"] += r.packets;
        c["bytes"] += r.bytes;
      }
      return c;
    }
    case StatsKind::meter: {
      const auto* ms = std::get_if<MeterStatsMsg>(&m);
      if (!ms) return std::nullopt;
      for (const auto& r : ms->records) {
        if (r.meter_id != want.id) continue;
        return Counters{{"in_packets", r.in_packets},         {"in_bytes", r.in_bytes},
                        {"drop_packets", r.drop_packets},     {"drop_bytes", r.drop_bytes},
                        {"remark_packets", r.remark_packets}, {"remark_bytes", r.remark_bytes},
                        {"records", ms->records.size()}};
      }
      return std::nullopt;
    }
  }
  return std::nullopt;
}

bool meets(const ExpectStatsStep& want, const Counters& c) {
  for (const auto& cond : want.conditions) {
    auto it = c.find(cond.counter);
    if (it == c.end()) return false;
    if (cond.at_least ? it->second < cond.value : it->second != cond.value) return false;
  }
  return true;
}

std::string counters_text(const Counters& c) {
  std::string s;
  for (const auto& [k, v] : c)
    s += (s.empty() ? "" : " ") + k + " " + std::to_string(v);
  return s;
}

std::string conditions_text(const ExpectStatsStep& want) {
  std::string s;
  for (const auto& c : want.conditions) {
    s += (s.empty() ? "" : " ") + c.counter + (c.at_least ? ">=" : "=") + std::to_string(c.value);
  }
  return s.empty() ? "any counters" : s;
}

bool is_statistics(const Message& m) {
  return std::holds_alternative<FlowStatsMsg>(m) || std::holds_alternative<QueueStatsMsg>(m) ||
         std::holds_alternative<MeterStatsMsg>(m);
}

std::string check_tick(const ExpectTickStep& want, const std::vector<Message>& tick) {
  TickIds got = ids_of(tick);
  if (!got.order.empty()) return got.order + " (" + tick_text(tick) + ")";
  const std::pair<const char*, std::pair<const std::optional<std::vector<uint32_t>>*,
                                         const std::vector<uint32_t>*>>
      lists[] = {{"flows", {&want.flows, &got.flows}},
                 {"meters", {&want.meters, &got.meters}},
                 {"queues", {&want.queues, &got.queues}},
                 {"records", {&want.records, &got.records}}};
  std::sort(got.queues.begin(), got.queues.end());  // ports come in the agent's own order
  for (const auto& [name, l] : lists) {
    auto want_ids = l.first->value_or(std::vector<uint32_t>{});
    if (l.second == &got.queues) std::sort(want_ids.begin(), want_ids.end());
    if (*l.first && want_ids != *l.second) {
      return std::string(name) + " " + ids_text(*l.second) + " instead of " + ids_text(want_ids);
    }
  }
  return {};
}

std::string tick_text(const std::vector<Message>& tick) {
  TickIds t = ids_of(tick);
  return "flows " + ids_text(t.flows) + " meters " + ids_text(t.meters) + " (records " +
         ids_text(t.records) + ") queues " + ids_text(t.queues);
}

}  // namespace ofa::mgr
