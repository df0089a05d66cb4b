// Group, meter, VLAN, port VLAN, EVT and configuration operations of the scenario syntax.
#include "operations.h"

#include <array>
#include <functional>
#include <map>
#include <optional>

#include "platform/ifindex.h"
#include "syntax.h"

namespace ofa::mgr {
namespace {

using Err = std::optional<std::string>;
using syntax::KeyValue;

template <class T>
Err set_num(T& field, std::string_view v, uint64_t max, std::string_view what) {
  auto r = syntax::number(v, max, what);
  if (!r.ok()) return r.error();
  field = static_cast<T>(r.value());
  return std::nullopt;
}

// An id, or "all" for 0xffffffff.
Err set_id(uint32_t& field, std::string_view v, std::string_view what) {
  if (syntax::same_word(v, "all")) {
    field = kAllIds;
    return std::nullopt;
  }
  return set_num(field, v, 0xffffffff, what);
}

// The add/delete verb of an operation; returns the sub-type for the verb or an error.
Result<uint16_t> verb(std::span<const std::string> words, std::string_view op,
                      std::initializer_list<std::pair<std::string_view, uint16_t>> verbs) {
  std::string names;
  for (const auto& [w, s] : verbs) {
    if (!words.empty() && words[0] == w) return s;
    names += (names.empty() ? "" : ", ") + std::string(w);
  }
  if (words.empty())
    return Result<uint16_t>::fail(std::string(op) + ": what to do? (" + names + ")");
  return Result<uint16_t>::fail(std::string(op) + ": unknown operation '" + words[0] + "' (" +
                                names + ")");
}

// Walks key=value words after the verb; each key must be handled by `field`, which answers
// nullopt for an unknown key.
using FieldFn = std::function<std::optional<Err>(const KeyValue&)>;
Err fields(std::span<const std::string> words, std::string_view op, const FieldFn& field) {
  for (const auto& w : words) {
    auto kv = syntax::split_key(w);
    auto r = field(kv);
    if (!r) return std::string(op) + ": unknown field '" + kv.key + "'";
    if (*r) return *r;
  }
  return std::nullopt;
}

// Keys that must appear, checked after the walk.
Err require(std::span<const std::string> words, std::string_view op,
            std::initializer_list<std::string_view> keys) {
  for (auto key : keys) {
    bool found = false;
    for (const auto& w : words)
      found |= syntax::split_key(w).key == key;
    if (!found) return std::string(op) + " needs " + std::string(key) + "=";
  }
  return std::nullopt;
}

Result<Message> fail(std::string s) {
  return Result<Message>::fail(std::move(s));
}

// ---- group ------------------------------------------------------------------------------

Err bucket(GroupMsg& g, std::string_view spec) {
  GroupBucket b;
  bool port = false;
  for (const auto& item : syntax::split(spec, ',')) {
    auto colon = item.find(':');
    std::string k = item.substr(0, colon);
    std::string v = colon == std::string::npos ? "" : item.substr(colon + 1);
    if (k == "output" || k == "port") {
      port = true;
      if (auto e = set_num(b.port_id, v, 0xffff, "bucket output")) return e;
    } else if (k == "vlan") {
      if (auto e = set_num(b.vlan_id, v, 0xffffffff, "bucket vlan")) return e;
    } else if (k == "mac") {
      auto m = syntax::mac(v, "bucket mac");
      if (!m.ok()) return m.error();
      b.mac = m.value();
    } else {
      return "bucket: unknown item '" + item + "' (output:N, vlan:N, mac:M)";
    }
  }
  if (!port) return "bucket needs output:<port>";
  if (g.buckets.size() == kMaxBuckets) return "group: more than 64 buckets";
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
  return set_num(t, v, 0xffffffff, "group type (all, select, indirect, ff)");
}

// ---- meter ------------------------------------------------------------------------------

Err band(MeterMsg& m, std::string_view spec, bool& has_drop, bool& has_dscp) {
  uint32_t type = 0, rate = 0, burst = 0, prec = 0;
  for (const auto& item : syntax::split(spec, ',')) {
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
      e = set_num(rate, kv.value, 0xffffffff, "band rate");
    } else if (kv.key == "burst_size") {
      e = set_num(burst, kv.value, 0xffffffff, "band burst_size");
    } else if (kv.key == "prec_level") {
      e = set_num(prec, kv.value, 0xffffffff, "band prec_level");
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

// ---- configuration ----------------------------------------------------------------------

Err port_mask(PortMask& mask, std::string_view v, std::string_view what) {
  auto ports = syntax::port_list(v, what);
  if (!ports.ok()) return ports.error();
  for (auto p : ports.value())
    mask.set(p);
  return std::nullopt;
}

// Fields every configuration message may set by name.
std::optional<Err> config_field(ConfigMsg& c, const KeyValue& kv) {
  const auto& k = kv.key;
  std::string_view v = kv.value;
  if (k == "add") return set_num(c.add, v, 255, k);
  if (k == "value") return set_num(c.value, v, 0xffffffff, k);
  if (k == "sub") return set_num(c.sub_cmd, v, 0xffffffff, k);
  if (k == "ports") return port_mask(c.ports, v, k);
  if (k == "port_id") return set_num(c.port_id, v, 0xffff, k);
  if (k == "l3_ports") return port_mask(c.l3_ports, v, k);
  if (k == "super_acl_ports") return port_mask(c.super_acl_ports, v, k);
  if (k == "hybrid") return port_mask(c.hybrid_ports, v, k);
  if (k == "flags") return set_num(c.flags, v, 0xffffffff, k);
  if (k == "pvid") return set_num(c.pvid, v, 0xffff, k);
  if (k == "ifname") {
    if (v.size() > 31) return Err("ifname: longer than 31 characters");
    c.if_name = v;
    return Err{};
  }
  if (k == "ifindex") return set_num(c.if_index, v, 0xffffffff, k);
  if (k == "mac") {
    auto m = syntax::mac(v, k);
    if (!m.ok()) return m.error();
    c.port_address = m.value();
    return Err{};
  }
  if (k == "nhop") return set_num(c.def_nhop_id, v, 0xffffffff, k);
  return std::nullopt;
}

// port enable|disable PORTS [l3] [pvid=N] [ifname=S] [ifindex=N] [mac=M] [nhop=N]
Result<Message> port_config(std::span<const std::string> w, const ParseContext& ctx) {
  ConfigMsg c;
  if (w.empty()) return fail("port: what to do? (enable, disable, online, offline)");
  bool online = w[0] == "online", offline = w[0] == "offline";
  if (w[0] != "enable" && w[0] != "disable" && !online && !offline) {
    return fail("port: unknown operation '" + w[0] + "' (enable, disable, online, offline)");
  }
  if (w.size() < 2 || w[1].find('=') != std::string::npos) {
    return fail("port " + w[0] + " needs the port id(s) next, like 'port " + w[0] + " 3'");
  }
  if (online || offline) {
    c.sub_cmd = online ? kSubPortOnline : kSubPortOffline;
    if (w.size() > 2) return fail("port " + w[0] + " takes one port id and nothing more");
    if (auto e = set_num(c.port_id, w[1], 0xffff, "port")) return fail(*e);
    return Message{c};
  }
  c.sub_cmd = kSubConfigInterface;
  c.add = w[0] == "enable" ? 1 : 0;
  c.pvid = 1;
  auto ports = syntax::port_list(w[1], "port");
  if (!ports.ok()) return fail(ports.error());
  for (auto p : ports.value())
    c.ports.set(p);
  uint32_t first = ports.value().front();
  c.if_index = platform::port_ifindex(ctx.slot, first);
  c.if_name = ctx.platform ? ctx.platform->port_name(first) : "port" + std::to_string(first);
  if (c.if_name.size() > 31) c.if_name.resize(31);
  auto e = fields(w.subspan(2), "port", [&](const KeyValue& kv) -> std::optional<Err> {
    if (kv.key == "l3" && !kv.has_value) {
      for (auto p : ports.value())
        c.l3_ports.set(p);
      return Err{};
    }
    if (kv.key == "add" || kv.key == "sub" || kv.key == "ports") return std::nullopt;
    return config_field(c, kv);
  });
  if (e) return fail(*e);
  return Message{c};
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
    if (kv.key == "vlan") return set_num(v.vlan_id, kv.value, 0xffffffff, kv.key);
    if (kv.key == "iivid") return set_num(v.iivid, kv.value, 0xffffffff, kv.key);
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
    if (kv.key == "port") return set_num(v.port_id, kv.value, 0xffffffff, kv.key);
    if (kv.key == "vlan") return set_num(v.vlan_id, kv.value, 0xffffffff, kv.key);
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
    if (k == "port") return set_num(v.out_port, kv.value, 0xffffffff, k);
    if (k == "iivid") return set_id(v.iivid, kv.value, k);
    if (k == "type") {
      if (kv.value == "port") return (v.type = 0, Err{});
      if (kv.value == "vlan") return (v.type = 1, Err{});
      return set_num(v.type, kv.value, 0xffffffff, "type (port, vlan)");
    }
    if (k == "in_vlan") return set_num(v.in_vlan, kv.value, 0xffffffff, k);
    if (k == "tag_action") return set_num(v.tag_action, kv.value, 0xffffffff, k);
    if (k == "is_out_vlan_tag") return set_num(v.is_out_vlan_tag, kv.value, 0xffffffff, k);
    if (k == "out_vlan") return set_num(v.out_vlan, kv.value, 0xffffffff, k);
    return std::nullopt;
  });
  if (!e) e = require(rest, "evt " + w[0], {"port", "iivid"});
  if (e) return fail(*e);
  return Message{v};
}

Result<Message> openflow_op(std::span<const std::string> w) {
  if (w.size() != 1 || (w[0] != "enable" && w[0] != "disable")) {
    return fail("openflow: enable or disable");
  }
  ConfigMsg c;
  c.sub_cmd = kSubConfigOf;
  c.add = w[0] == "enable" ? 1 : 0;
  return Message{c};
}

Result<Message> default_action_op(std::span<const std::string> w) {
  if (w.size() != 1 ||
      (!syntax::same_word(w[0], "controller") && !syntax::same_word(w[0], "drop"))) {
    return fail("default-action: controller or drop");
  }
  ConfigMsg c;
  c.sub_cmd = kSubDefaultMode;
  c.add = 0;  // the agent takes the default action only when add is neither 1 nor 2
  c.value = syntax::same_word(w[0], "controller") ? 1 : 0;
  return Message{c};
}

// protected-vlan add|delete PORTS [pvid=N] [hybrid=PORTS]
Result<Message> protected_vlan_op(std::span<const std::string> w) {
  auto s = verb(w, "protected-vlan", {{"add", 1}, {"delete", 0}, {"del", 0}});
  if (!s.ok()) return fail(s.error());
  ConfigMsg c;
  c.sub_cmd = kSubProtectedVlan;
  c.add = static_cast<uint8_t>(s.value());
  if (w.size() < 2 || w[1].find('=') != std::string::npos) {
    return fail("protected-vlan " + w[0] + " needs the port id(s) next");
  }
  if (auto e = port_mask(c.ports, w[1], "protected-vlan")) return fail(*e);
  auto e = fields(w.subspan(2), "protected-vlan", [&](const KeyValue& kv) -> std::optional<Err> {
    if (kv.key == "pvid" || kv.key == "hybrid") c.flags |= kConfigFlagPortVlan;
    if (kv.key == "add" || kv.key == "sub" || kv.key == "ports") return std::nullopt;
    return config_field(c, kv);
  });
  if (e) return fail(*e);
  return Message{c};
}

// config sub=N [add=N] [value=N] [ports=...] ...: any configuration message field by field.
Result<Message> config_op(std::span<const std::string> w) {
  ConfigMsg c;
  auto e = fields(w, "config", [&](const KeyValue& kv) { return config_field(c, kv); });
  if (!e) e = require(w, "config", {"sub"});
  if (e) return fail(*e);
  return Message{c};
}

Result<Message> sync_op(std::span<const std::string> w) {
  SyncCompleteMsg s;
  auto e = fields(w, "sync-complete", [&](const KeyValue& kv) -> std::optional<Err> {
    if (kv.key == "length") return set_num(s.body_length, kv.value, kMaxBodyLength, kv.key);
    return std::nullopt;
  });
  if (e) return fail(*e);
  return Message{s};
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
      {"port", [](auto w, const ParseContext& c) { return port_config(w, c); }},
      {"openflow", [](auto w, auto&) { return openflow_op(w); }},
      {"default-action", [](auto w, auto&) { return default_action_op(w); }},
      {"protected-vlan", [](auto w, auto&) { return protected_vlan_op(w); }},
      {"config", [](auto w, auto&) { return config_op(w); }},
      {"sync-complete", [](auto w, auto&) { return sync_op(w); }},
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
    if (k == "mgid") return set_num(g.mgid, kv.value, 0xffffffff, k);
    if (k == "nhop") return set_num(g.nhopid, kv.value, 0xffffffff, k);
    if (k == "l3" && !kv.has_value) return (g.all_type = 1, Err{});
    if (k == "all_type") return set_num(g.all_type, kv.value, 0xffffffff, k);
    if (k == "bucket") return bucket(g, kv.value);
    if (k == "bucket_count") {
      g.bucket_count_override = true;
      return set_num(g.bucket_count, kv.value, 0xffffffff, k);
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
    if (k == "flags") return set_num(m.flags, kv.value, 0xffffffff, k);
    if (k == "band") return band(m, kv.value, has_drop, has_dscp);
    if (k == "bands") {
      uint32_t n = 0;
      if (auto err = set_num(n, kv.value, 0xffffffff, k)) return err;
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
