// Configuration messages (type 0) and sync complete (type 1) in the scenario syntax.
#include "operation_parts.h"
#include "platform/ifindex.h"

namespace ofa::mgr::detail {
namespace {

using syntax::KeyValue;
using syntax::set_number;

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
  if (k == "add") return set_number(c.add, v, 255, k);
  if (k == "value") return set_number(c.value, v, 0xffffffff, k);
  if (k == "sub") return set_number(c.sub_cmd, v, 0xffffffff, k);
  if (k == "ports") return port_mask(c.ports, v, k);
  if (k == "port_id") return set_number(c.port_id, v, 0xffff, k);
  if (k == "l3_ports") return port_mask(c.l3_ports, v, k);
  if (k == "super_acl_ports") return port_mask(c.super_acl_ports, v, k);
  if (k == "hybrid") return port_mask(c.hybrid_ports, v, k);
  if (k == "flags") return set_number(c.flags, v, 0xffffffff, k);
  if (k == "pvid") return set_number(c.pvid, v, 0xffff, k);
  if (k == "ifname") {
    if (v.size() > 31) return Err("ifname: longer than 31 characters");
    c.if_name = v;
    return Err{};
  }
  if (k == "ifindex") return set_number(c.if_index, v, 0xffffffff, k);
  if (k == "mac") {
    auto m = syntax::mac(v, k);
    if (!m.ok()) return m.error();
    c.port_address = m.value();
    return Err{};
  }
  if (k == "nhop") return set_number(c.def_nhop_id, v, 0xffffffff, k);
  return std::nullopt;
}

}  // namespace

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
    if (auto e = set_number(c.port_id, w[1], 0xffff, "port")) return fail(*e);
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
    if (kv.key == "length") return set_number(s.body_length, kv.value, kMaxBodyLength, kv.key);
    return std::nullopt;
  });
  if (e) return fail(*e);
  return Message{s};
}

}  // namespace ofa::mgr::detail
