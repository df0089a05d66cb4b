// The action list of a flow: every action of a kind is one member of its own, in the order
// written, with the member's other fields at their "none" values. The agent gives each member
// one kind, by the first test that holds (pop VLAN bit, push VLAN bit, group, output, queue, set
// VLAN bit), so a member that carried two such actions would lose the second. Rewrites that have
// no kind of their own (priority bits, MACs, DSCP, TTL, the inner tag, the member flag) ride on
// the next output or group member, which is where the chip's entry takes them from.
#include <cctype>

#include "flow_build.h"
#include "syntax.h"

namespace ofa::mgr::detail {
namespace {

using Err = std::optional<std::string>;
using syntax::set_number;

std::optional<uint16_t> reserved_port(std::string_view w) {
  if (syntax::same_word(w, "controller")) return kPortController;
  if (syntax::same_word(w, "all")) return kPortAll;
  if (syntax::same_word(w, "flood")) return kPortFlood;
  if (syntax::same_word(w, "normal")) return kPortNormal;
  return std::nullopt;
}

Err output(FlowBuild& b, FlowMember& mem, std::string_view port) {
  if (auto r = reserved_port(port)) {
    mem.out_port_id = *r;
  } else if (auto e = set_number(mem.out_port_id, port, kMaxPort, "output")) {
    return *e + " (or CONTROLLER, ALL, FLOOD, NORMAL)";
  }
  if (mem.out_port_id == kPortController) b.to_controller = true;
  return std::nullopt;
}

// Fills `mem` for one action. `none` is set for the actions that make no member.
Err action(FlowBuild& b, FlowMember& mem, bool& none, std::string_view item) {
  auto colon = item.find(':');
  std::string name(item.substr(0, colon));
  std::string_view arg = colon == std::string_view::npos ? "" : item.substr(colon + 1);
  bool has_arg = colon != std::string_view::npos;
  auto needs_arg = [&]() -> Err {
    if (!has_arg) return name + " needs a value (" + name + ":N)";
    return std::nullopt;
  };
  auto v4 = [&]() { b.v4_only.push_back(name); };
  // An action with a value: the value read into `field`, `bits` set.
  auto valued = [&](auto& field, uint64_t max, uint32_t bits) -> Err {
    if (auto e = needs_arg()) return e;
    mem.action_bits |= bits;
    return set_number(field, arg, max, name);
  };

  if (name == "output") {
    if (auto e = needs_arg()) return e;
    return output(b, mem, arg);
  }
  if (!has_arg && (reserved_port(name) ||
                   (!name.empty() && std::isdigit(static_cast<unsigned char>(name[0]))))) {
    return output(b, mem, name);
  }
  if (syntax::same_word(name, "drop") || name == "meter") {
    none = true;
    if (name != "meter") return (b.drop = true, std::nullopt);
    if (auto e = needs_arg()) return e;
    return set_number(b.m.meter_id, arg, 0xffffffff, "meter");
  }
  if (name == "group") {
    v4();
    uint32_t id = 0;
    if (auto e = valued(id, 0xffffffff, 0)) return e;
    mem.group_id = static_cast<int32_t>(id);
    return std::nullopt;
  }
  if (name == "set_queue") return v4(), valued(mem.queue_id, kByteNone - 1, 0);
  if (name == "push_vlan" || name == "push_inner_vlan") {
    v4();
    bool inner = name == "push_inner_vlan";
    uint16_t& type = inner ? mem.push_inner_vlan_type : mem.push_vlan_type;
    type = 0x8100;
    mem.action_bits |= inner ? kActPushInner : kActPushVlan;
    return has_arg ? set_number(type, arg, 0xffff, name) : std::nullopt;
  }
  if (name == "pop_vlan" || name == "strip_vlan") {
    if (b.m.version == 1 && name == "strip_vlan") {
      mem.out_tagged = 2;
      return std::nullopt;
    }
    v4();
    mem.action_bits |= kActPopVlan;
    return std::nullopt;
  }
  // Version 1 tells a set VLAN by the tag state alone: parse_flow drops the bit there.
  if (name == "set_vlan_vid" || name == "mod_vlan_vid") {
    mem.out_tagged = 1;
    return valued(mem.out_vlan_id, 4095, kActSetVlan);
  }
  if (name == "set_vlan_pcp" || name == "mod_vlan_pcp") {
    return valued(mem.vlan_upbits, 7, kActSetVlan);
  }
  if (name == "mod_dl_src" || name == "set_dl_src" || name == "mod_dl_dst" ||
      name == "set_dl_dst") {
    if (auto e = needs_arg()) return e;
    auto mac = syntax::mac(arg, name);
    if (!mac.ok()) return mac.error();
    (name.ends_with("src") ? mem.set_src_mac : mem.set_dst_mac) = mac.value();
    return std::nullopt;
  }
  if (name == "mod_nw_tos") {
    uint8_t tos = 0;
    if (auto e = valued(tos, 255, 0)) return e;
    mem.nw_tos = tos >> 2;  // the member carries the DSCP
    return std::nullopt;
  }
  if (name == "set_ip_dscp") return valued(mem.nw_tos, 63, 0);
  if (name == "dec_ttl") {
    v4();
    mem.action_bits |= kActDecTtl;
    return std::nullopt;
  }
  if (name == "set_nw_ttl" || name == "set_ttl") return v4(), valued(mem.set_ttl, 254, 0);
  if (name == "pop_inner_vlan") {
    v4();
    mem.action_bits |= kActPopInner;
    return std::nullopt;
  }
  if (name == "set_inner_vlan") return v4(), valued(mem.inner_vlan_id, 4095, kActSetInner);
  if (name == "set_inner_vlan_pcp") return v4(), valued(mem.inner_upbits, 7, 0);
  if (name == "member_flag") {
    mem.action_bits |= kActMemberFlag;
    return std::nullopt;
  }
  return "unknown action '" + std::string(item) + "'";
}

// What an action makes: a member an output or group (which takes the rewrites waiting for one),
// a member of another kind (or no member), or a rewrite that rides on the next output or group.
enum class Makes { output_or_group, own_member, rewrite };

Makes makes(std::string_view item) {
  size_t colon = item.find(':');
  std::string_view name = item.substr(0, colon);
  bool has_arg = colon != std::string_view::npos;
  if (name == "output" || name == "group" ||
      (!has_arg && (reserved_port(name) ||
                    (!name.empty() && std::isdigit(static_cast<unsigned char>(name[0]))))))
    return Makes::output_or_group;
  static constexpr std::string_view kOwn[] = {"set_queue",  "push_vlan",    "pop_vlan",
                                              "strip_vlan", "set_vlan_vid", "mod_vlan_vid",
                                              "meter",      "drop"};
  for (std::string_view k : kOwn)
    if (syntax::same_word(name, k)) return Makes::own_member;
  return Makes::rewrite;
}

}  // namespace

Err parse_actions(FlowBuild& b, std::string_view list) {
  FlowMember carried;  // rewrites waiting for the output or group they ride on
  std::string rider;   // the first of them, named when none follows
  for (const auto& item : syntax::split(list, ',')) {
    bool none = false;
    Makes what = makes(item);
    if (what == Makes::rewrite) {
      if (auto e = action(b, carried, none, item)) return e;
      if (rider.empty()) rider = item;
      continue;
    }
    FlowMember mem = what == Makes::output_or_group ? carried : FlowMember{};
    if (auto e = action(b, mem, none, item)) return e;
    if (none) continue;
    b.m.members.push_back(mem);
    if (what == Makes::output_or_group) {
      carried = FlowMember{};
      rider.clear();
    }
  }
  if (!rider.empty()) return "'" + rider + "' rides on an output or group written after it";
  if (b.drop && !b.m.members.empty()) return "drop cannot be combined with other actions";
  if (list.empty()) b.drop = true;
  return std::nullopt;
}

}  // namespace ofa::mgr::detail
