// The action list of a flow: outputs make members, modifications accumulate into them.
#include <cctype>

#include "flow_build.h"
#include "syntax.h"

namespace ofa::mgr::detail {
namespace {

using Err = std::optional<std::string>;
using syntax::set_number;

struct ActionState {
  FlowMember current;     // modifications so far; each output copies them
  bool modified = false;  // modifications since the last output
  bool any_output = false;
};

std::optional<uint16_t> reserved_port(std::string_view w) {
  if (syntax::same_word(w, "controller")) return kPortController;
  if (syntax::same_word(w, "all")) return kPortAll;
  if (syntax::same_word(w, "flood")) return kPortFlood;
  if (syntax::same_word(w, "normal")) return kPortNormal;
  return std::nullopt;
}

void emit(FlowBuild& b, ActionState& st, FlowMember mem) {
  b.m.members.push_back(mem);
  st.modified = false;
  st.any_output = true;
}

Err output(FlowBuild& b, ActionState& st, std::string_view port) {
  FlowMember mem = st.current;
  if (auto r = reserved_port(port)) {
    mem.out_port_id = *r;
  } else if (auto e = set_number(mem.out_port_id, port, kMaxPort, "output")) {
    return *e + " (or CONTROLLER, ALL, FLOOD, NORMAL)";
  }
  if (mem.out_port_id == kPortController) b.to_controller = true;
  emit(b, st, mem);
  return std::nullopt;
}

Err action(FlowBuild& b, ActionState& st, std::string_view item) {
  auto colon = item.find(':');
  std::string name(item.substr(0, colon));
  std::string_view arg = colon == std::string_view::npos ? "" : item.substr(colon + 1);
  bool has_arg = colon != std::string_view::npos;
  FlowMember& cur = st.current;
  auto needs_arg = [&]() -> Err {
    if (!has_arg) return name + " needs a value (" + name + ":N)";
    return std::nullopt;
  };
  auto modify = [&](Err e) {
    if (!e) st.modified = true;
    return e;
  };
  auto v4 = [&]() { b.v4_only.push_back(name); };

  if (name == "output") {
    if (auto e = needs_arg()) return e;
    return output(b, st, arg);
  }
  if (!has_arg && (reserved_port(name) ||
                   (!name.empty() && std::isdigit(static_cast<unsigned char>(name[0]))))) {
    return output(b, st, name);
  }
  if (syntax::same_word(name, "drop")) {
    b.drop = true;
    return std::nullopt;
  }
  if (name == "group") {
    if (auto e = needs_arg()) return e;
    v4();
    FlowMember mem = cur;
    uint32_t id = 0;
    if (auto e = set_number(id, arg, 0xffffffff, "group")) return e;
    mem.group_id = static_cast<int32_t>(id);
    emit(b, st, mem);
    return std::nullopt;
  }
  if (name == "meter") {
    if (auto e = needs_arg()) return e;
    return set_number(b.m.meter_id, arg, 0xffffffff, "meter");
  }
  if (name == "set_queue") {
    if (auto e = needs_arg()) return e;
    v4();
    return modify(set_number(cur.queue_id, arg, 255, "set_queue"));
  }
  if (name == "push_vlan") {
    v4();
    cur.action_bits |= kActPushVlan;
    cur.push_vlan_type = 0x8100;
    return modify(has_arg ? set_number(cur.push_vlan_type, arg, 0xffff, "push_vlan")
                          : std::nullopt);
  }
  if (name == "pop_vlan" || name == "strip_vlan") {
    if (b.m.version == 1 && name == "strip_vlan") {
      cur.out_tagged = 2;
    } else {
      v4();
      cur.action_bits |= kActPopVlan;
    }
    return modify(std::nullopt);
  }
  if (name == "set_vlan_vid" || name == "mod_vlan_vid") {
    if (auto e = needs_arg()) return e;
    cur.action_bits |= kActSetVlan;  // version 1 carries it as the tag state instead
    cur.out_tagged = 1;
    return modify(set_number(cur.out_vlan_id, arg, 4095, name));
  }
  if (name == "set_vlan_pcp" || name == "mod_vlan_pcp") {
    if (auto e = needs_arg()) return e;
    return modify(set_number(cur.vlan_upbits, arg, 7, name));
  }
  if (name == "mod_dl_src" || name == "set_dl_src" || name == "mod_dl_dst" ||
      name == "set_dl_dst") {
    if (auto e = needs_arg()) return e;
    auto mac = syntax::mac(arg, name);
    if (!mac.ok()) return mac.error();
    (name.ends_with("src") ? cur.set_src_mac : cur.set_dst_mac) = mac.value();
    return modify(std::nullopt);
  }
  if (name == "mod_nw_tos") {
    if (auto e = needs_arg()) return e;
    uint8_t tos = 0;
    if (auto e = set_number(tos, arg, 255, name)) return e;
    cur.nw_tos = tos >> 2;
    return modify(std::nullopt);
  }
  if (name == "set_ip_dscp") {
    if (auto e = needs_arg()) return e;
    return modify(set_number(cur.nw_tos, arg, 63, name));
  }
  if (name == "dec_ttl") {
    v4();
    cur.action_bits |= kActDecTtl;
    return modify(std::nullopt);
  }
  if (name == "set_nw_ttl" || name == "set_ttl") {
    if (auto e = needs_arg()) return e;
    v4();
    return modify(set_number(cur.set_ttl, arg, 255, name));
  }
  if (name == "push_inner_vlan") {
    v4();
    cur.action_bits |= kActPushInner;
    cur.push_inner_vlan_type = 0x8100;
    return modify(has_arg ? set_number(cur.push_inner_vlan_type, arg, 0xffff, name) : std::nullopt);
  }
  if (name == "pop_inner_vlan") {
    v4();
    cur.action_bits |= kActPopInner;
    return modify(std::nullopt);
  }
  if (name == "set_inner_vlan") {
    if (auto e = needs_arg()) return e;
    v4();
    cur.action_bits |= kActSetInner;
    return modify(set_number(cur.inner_vlan_id, arg, 4095, name));
  }
  if (name == "set_inner_vlan_pcp") {
    if (auto e = needs_arg()) return e;
    v4();
    return modify(set_number(cur.inner_upbits, arg, 7, name));
  }
  if (name == "member_flag") {
    cur.action_bits |= kActMemberFlag;
    return modify(std::nullopt);
  }
  return "unknown action '" + std::string(item) + "'";
}

}  // namespace

Err parse_actions(FlowBuild& b, std::string_view list) {
  ActionState st;
  for (const auto& item : syntax::split(list, ',')) {
    if (auto e = action(b, st, item)) return e;
  }
  if (st.modified) b.m.members.push_back(st.current);  // modifications with no output after them
  if (b.drop && !b.m.members.empty()) return "drop cannot be combined with other actions";
  if (list.empty()) b.drop = true;
  return std::nullopt;
}

}  // namespace ofa::mgr::detail
