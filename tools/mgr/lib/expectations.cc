#include "expectations.h"

namespace ofa::mgr {

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

}  // namespace ofa::mgr
