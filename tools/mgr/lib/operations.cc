// Group, meter, VLAN, port VLAN, EVT and configuration operations of the scenario syntax.
#include "operations.h"

#include <array>
#include <functional>
#include <map>
#include <optional>

#include "operation_parts.h"
#include "syntax.h"

namespace ofa::mgr {
namespace {

using detail::Err;
using detail::fail;
using detail::fields;
using detail::require;
using detail::set_id;
using detail::verb;
using syntax::KeyValue;
using syntax::set_number;

// ---- group ------------------------------------------------------------------------------

Err bucket(GroupMsg& g, std::string_view text) {
  GroupBucket b;
  bool port = false;
  for (const auto& item : syntax::split(text, ',')) {
    auto colon = item.find(':');
    std::string k = item.substr(0, colon);
    std::string v = colon == std::string::npos ? "" : item.substr(colon + 1);
    if (k == "output" || k == "port") {
      port = true;
      if (auto e = set_number(b.port_id, v, 0xffff, "bucket output")) return e;
    } else if (k == "vlan") {
      if (auto e = set_number(b.vlan_id, v, 0xffffffff, "bucket vlan")) return e;
    } else if (k == "mac") {
      auto m = syntax::mac(v, "bucket mac");
      if (!m.ok()) return m.error();
      b.mac = m.value();
    } else {
      return "bucket: unknown item '" + item + "' (output:N, vlan:N, mac:M)";
    }
  }
  if (!port) return "bucket needs output:<port>";
  if (g.buckets.size() == kMaxLongBuckets) {
    return "group: more than " + std::to_string(kMaxLongBuckets) + " buckets";
  }
  g.buckets.push_back(b);
  return std::nullopt;
}

Err group_type(uint32_t& t, std::string_view v) {
  static constexpr std::array<std::pair<std::string_view, uint32_t>, 5> kTypes = {
      {{"all", kGroupAll},
       {"select", kGroupSelect},
       {"indirect", kGroupIndirect},
       {"ff", kGroupFf},
       {"fast_failover", kGroupFf}}};
  for (const auto& [w, n] : kTypes) {
    if (syntax::same_word(v, w)) {
      t = n;
      return std::nullopt;
    }
  }
  return set_number(t, v, 0xffffffff, "group type (all, select, indirect, ff)");
}

// ---- meter ------------------------------------------------------------------------------

Err band(MeterMsg& m, std::string_view text, bool& has_drop, bool& has_dscp) {
  uint32_t type = 0, rate = 0, burst = 0, prec = 0;
  for (const auto& item : syntax::split(text, ',')) {
    auto kv = syntax::split_key(item);
    Err e;
    if (kv.key == "type") {
      if (kv.value == "drop") {
        type = 1;
      } else if (kv.value == "dscp_remark") {
        type = 2;
      } else {
        return "band type '" + kv.value + "' (drop or dscp_remark)";
      }
    } else if (kv.key == "rate") {
      e = set_number(rate, kv.value, 0xffffffff, "band rate");
    } else if (kv.key == "burst_size") {
      e = set_number(burst, kv.value, 0xffffffff, "band burst_size");
    } else if (kv.key == "prec_level") {
      e = set_number(prec, kv.value, 0xffffffff, "band prec_level");
    } else {
      return "band: unknown item '" + item + "' (type=, rate=, burst_size=, prec_level=)";
    }
    if (e) return e;
  }
  if (type == 1) {
    if (has_drop) return "meter: a second drop band";
    if (prec) return "meter: prec_level belongs to a dscp_remark band";
    has_drop = true;
    m.drop_rate = rate;
    m.drop_burst = burst;
  } else if (type == 2) {
    if (has_dscp) return "meter: a second dscp_remark band";
    has_dscp = true;
    m.dscp_rate = rate;
    m.dscp_burst = burst;
    m.dscp_prec_level = prec;
  } else {
    return "band needs type=drop or type=dscp_remark";
  }
  return std::nullopt;
}

Result<Message> group_op(std::span<const std::string> w) {
  auto g = parse_group(w);
  if (!g.ok()) return fail(g.error());
  return Message{g.value()};
}

Result<Message> meter_op(std::span<const std::string> w) {
  auto m = parse_meter(w);
  if (!m.ok()) return fail(m.error());
  return Message{m.value()};
}

Result<Message> flow_op(std::span<const std::string> w) {
  auto f = parse_flow(w);
  if (!f.ok()) return fail(f.error());
  return Message{std::move(f.value())};
}

Result<Message> vlan_op(std::span<const std::string> w) {
  auto s = verb(w, "vlan", {{"add", kSubAddVlan}, {"delete", kSubDelVlan}, {"del", kSubDelVlan}});
  if (!s.ok()) return fail(s.error());
  VlanMsg v{s.value()};
  auto rest = w.subspan(1);
  auto e = fields(rest, "vlan", [&](const KeyValue& kv) -> std::optional<Err> {
    if (kv.key == "vlan") return set_number(v.vlan_id, kv.value, 0xffffffff, kv.key);
    if (kv.key == "iivid") return set_number(v.iivid, kv.value, 0xffffffff, kv.key);
    return std::nullopt;
  });
  if (!e) e = require(rest, "vlan " + w[0], {"vlan", "iivid"});
  if (e) return fail(*e);
  return Message{v};
}

Result<Message> port_vlan_op(std::span<const std::string> w) {
  auto s = verb(w, "port-vlan",
                {{"add", kSubAddPortVlan}, {"delete", kSubDelPortVlan}, {"del", kSubDelPortVlan}});
  if (!s.ok()) return fail(s.error());
  PortVlanMsg v{s.value()};
  auto rest = w.subspan(1);
  auto e = fields(rest, "port-vlan", [&](const KeyValue& kv) -> std::optional<Err> {
    if (kv.key == "port") return set_number(v.port_id, kv.value, 0xffffffff, kv.key);
    if (kv.key == "vlan") return set_number(v.vlan_id, kv.value, 0xffffffff, kv.key);
    return std::nullopt;
  });
  if (!e) e = require(rest, "port-vlan " + w[0], {"port", "vlan"});
  if (e) return fail(*e);
  return Message{v};
}

Result<Message> evt_op(std::span<const std::string> w) {
  auto s = verb(w, "evt", {{"add", kSubAddEvt}, {"delete", kSubDelEvt}, {"del", kSubDelEvt}});
  if (!s.ok()) return fail(s.error());
  EvtMsg v;
  v.sub_type = s.value();
  auto rest = w.subspan(1);
  auto e = fields(rest, "evt", [&](const KeyValue& kv) -> std::optional<Err> {
    const auto& k = kv.key;
    if (k == "port") return set_number(v.out_port, kv.value, 0xffffffff, k);
    if (k == "iivid") return set_id(v.iivid, kv.value, k);
    if (k == "type") {
      if (kv.value == "port") return (v.type = 0, Err{});
      if (kv.value == "vlan") return (v.type = 1, Err{});
      return set_number(v.type, kv.value, 0xffffffff, "type (port, vlan)");
    }
    if (k == "in_vlan") return set_number(v.in_vlan, kv.value, 0xffffffff, k);
    if (k == "tag_action") return set_number(v.tag_action, kv.value, 0xffffffff, k);
    if (k == "is_out_vlan_tag") return set_number(v.is_out_vlan_tag, kv.value, 0xffffffff, k);
    if (k == "out_vlan") return set_number(v.out_vlan, kv.value, 0xffffffff, k);
    return std::nullopt;
  });
  if (!e) e = require(rest, "evt " + w[0], {"port", "iivid"});
  if (e) return fail(*e);
  return Message{v};
}

using OpFn = std::function<Result<Message>(std::span<const std::string>, const ParseContext&)>;
const std::map<std::string, OpFn, std::less<>>& operations() {
  static const std::map<std::string, OpFn, std::less<>> ops = {
      {"flow", [](auto w, auto&) { return flow_op(w); }},
      {"group", [](auto w, auto&) { return group_op(w); }},
      {"meter", [](auto w, auto&) { return meter_op(w); }},
      {"vlan", [](auto w, auto&) { return vlan_op(w); }},
      {"port-vlan", [](auto w, auto&) { return port_vlan_op(w); }},
      {"evt", [](auto w, auto&) { return evt_op(w); }},
      {"port", [](auto w, const ParseContext& c) { return detail::port_config(w, c); }},
      {"openflow", [](auto w, auto&) { return detail::openflow_op(w); }},
      {"default-action", [](auto w, auto&) { return detail::default_action_op(w); }},
      {"protected-vlan", [](auto w, auto&) { return detail::protected_vlan_op(w); }},
      {"config", [](auto w, auto&) { return detail::config_op(w); }},
      {"sync-complete", [](auto w, auto&) { return detail::sync_op(w); }},
  };
  return ops;
}

}  // namespace

Result<GroupMsg> parse_group(std::span<const std::string> w) {
  using R = Result<GroupMsg>;
  auto s = verb(w, "group",
                {{"add", kSubAddGroup},
                 {"modify", kSubModifyGroup},
                 {"mod", kSubModifyGroup},
                 {"delete", kSubDeleteGroup},
                 {"del", kSubDeleteGroup}});
  if (!s.ok()) return R::fail(s.error());
  GroupMsg g;
  g.sub_type = s.value();
  auto rest = w.subspan(1);
  auto e = fields(rest, "group", [&](const KeyValue& kv) -> std::optional<Err> {
    const auto& k = kv.key;
    if (k == "id") return set_id(g.group_id, kv.value, k);
    if (k == "type") return group_type(g.type, kv.value);
    if (k == "mgid") return set_number(g.mgid, kv.value, 0xffffffff, k);
    if (k == "nhop") return set_number(g.nhopid, kv.value, 0xffffffff, k);
    if (k == "l3" && !kv.has_value) return (g.all_type = 1, Err{});
    if (k == "all_type") return set_number(g.all_type, kv.value, 0xffffffff, k);
    if (k == "bucket") return bucket(g, kv.value);
    if (k == "bucket_count") {
      g.bucket_count_override = true;
      return set_number(g.bucket_count, kv.value, 0xffffffff, k);
    }
    return std::nullopt;
  });
  if (!e) e = require(rest, "group " + w[0], {"id"});
  if (e) return R::fail(*e);
  if (!g.bucket_count_override) g.bucket_count = static_cast<uint32_t>(g.buckets.size());
  return g;
}

Result<MeterMsg> parse_meter(std::span<const std::string> w) {
  using R = Result<MeterMsg>;
  auto s = verb(w, "meter",
                {{"add", kSubAddMeter},
                 {"modify", kSubModifyMeter},
                 {"mod", kSubModifyMeter},
                 {"delete", kSubDeleteMeter},
                 {"del", kSubDeleteMeter},
                 {"clear-stats", kSubClearMeterStats}});
  if (!s.ok()) return R::fail(s.error());
  MeterMsg m;
  m.sub_type = s.value();
  bool has_drop = false, has_dscp = false;
  std::optional<uint32_t> bands;
  static constexpr std::array<std::pair<std::string_view, uint32_t>, 4> kFlags = {
      {{"kbps", kMeterKbps},
       {"pktps", kMeterPktps},
       {"burst", kMeterBurst},
       {"stats", kMeterStats}}};
  auto rest = w.subspan(1);
  auto e = fields(rest, "meter", [&](const KeyValue& kv) -> std::optional<Err> {
    const auto& k = kv.key;
    if (!kv.has_value) {
      for (const auto& [name, bit] : kFlags) {
        if (k == name) return (m.flags |= bit, Err{});
      }
      return std::nullopt;
    }
    if (k == "id") return set_id(m.meter_id, kv.value, k);
    if (k == "flags") return set_number(m.flags, kv.value, 0xffffffff, k);
    if (k == "band") return band(m, kv.value, has_drop, has_dscp);
    if (k == "bands") {
      uint32_t n = 0;
      if (auto err = set_number(n, kv.value, 0xffffffff, k)) return err;
      bands = n;
      return Err{};
    }
    return std::nullopt;
  });
  if (!e) e = require(rest, "meter " + w[0], {"id"});
  if (e) return R::fail(*e);
  if (has_dscp && !has_drop) {
    return R::fail("meter: a dscp_remark band needs a drop band (the first band is always drop)");
  }
  m.band_cnt = bands.value_or((has_drop ? 1 : 0) + (has_dscp ? 1 : 0));
  if ((m.sub_type == kSubAddMeter || m.sub_type == kSubModifyMeter) && m.band_cnt == 0) {
    return R::fail("meter " + w[0] + " needs band=type=drop,rate=N[,burst_size=N]");
  }
  return m;
}

bool is_operation(std::string_view word) {
  return operations().contains(word);
}

Result<Message> parse_operation(std::span<const std::string> words, const ParseContext& ctx) {
  if (words.empty()) return fail("empty operation");
  auto it = operations().find(words[0]);
  if (it == operations().end()) return fail("unknown operation '" + words[0] + "'");
  return it->second(words.subspan(1), ctx);
}

}  // namespace ofa::mgr
