// The flow operation in the style of OpenFlow tools:
//   flow add id=10 priority=100 in_port=3,dl_vlan=100,dl_type=0x0800,nw_proto=6,tp_dst=80
//        actions=mod_vlan_vid:200,output:5,CONTROLLER
// Match fields clear their wildcard bit; every field not given stays wildcarded.
#include <array>
#include <functional>
#include <optional>

#include "flow_build.h"
#include "operations.h"
#include "syntax.h"

namespace ofa::mgr {
namespace {

using Err = std::optional<std::string>;
using detail::FlowBuild;
using syntax::set_number;

Err set_mac(FlowBuild& b, Mac& addr, Mac& mask, uint32_t wc_addr, uint32_t wc_mask,
            std::string_view v, std::string_view what) {
  auto slash = v.find('/');
  auto a = syntax::mac(v.substr(0, slash), what);
  if (!a.ok()) return a.error();
  addr = a.value();
  mask = Mac{0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
  b.cleared |= wc_addr;
  if (slash != std::string_view::npos) {
    auto mk = syntax::mac(v.substr(slash + 1), what);
    if (!mk.ok()) return mk.error();
    mask = mk.value();
    b.cleared |= wc_mask;
  }
  return std::nullopt;
}

Err set_ip(FlowBuild& b, uint32_t& addr, uint32_t& mask, uint32_t wc, std::string_view v,
           std::string_view what) {
  auto ip = syntax::ipv4(v, what);
  if (!ip.ok()) return ip.error();
  addr = ip.value().address & ip.value().mask;
  mask = ip.value().mask;
  b.cleared |= wc;
  b.l3 = true;
  return std::nullopt;
}

struct MatchKey {
  std::string_view name;
  uint32_t wildcard;  // cleared when the field is given
  bool l3;
  std::function<Err(FlowBuild&, std::string_view)> set;
};

const std::vector<MatchKey>& match_keys() {
  static const std::vector<MatchKey> keys = {
      {"in_port", kWcInPort, false,
       [](FlowBuild& b, std::string_view v) {
         return set_number(b.m.in_port_id, v, kMaxPort, "in_port");
       }},
      {"dl_vlan", kWcInVlan, false,
       [](FlowBuild& b, std::string_view v) -> Err {
         // Untagged frames: the agent reads in_vlan_id 0 as untagged (65535 would be "any").
         if (syntax::same_word(v, "none") || v == "0xffff") {
           b.m.in_tagged = 0;
           b.m.in_vlan_id = 0;
           return std::nullopt;
         }
         b.m.in_tagged = 1;
         return set_number(b.m.in_vlan_id, v, 4095, "dl_vlan");
       }},
      {"dl_vlan_pcp", kWcVlanPcp, false,
       [](FlowBuild& b, std::string_view v) {
         return set_number(b.m.vlan_upbit, v, 7, "dl_vlan_pcp");
       }},
      {"dl_src", kWcSrcMac, false,
       [](FlowBuild& b, std::string_view v) {
         return set_mac(b, b.m.src_mac, b.m.src_mac_mask, kWcSrcMac, kWcSrcMacMask, v, "dl_src");
       }},
      {"dl_dst", kWcDstMac, false,
       [](FlowBuild& b, std::string_view v) {
         return set_mac(b, b.m.dst_mac, b.m.dst_mac_mask, kWcDstMac, kWcDstMacMask, v, "dl_dst");
       }},
      {"dl_type", kWcEtherType, false,
       [](FlowBuild& b, std::string_view v) {
         return set_number(b.m.ether_type, v, 0xffff, "dl_type");
       }},
      {"nw_src", kWcSrcIp, true,
       [](FlowBuild& b, std::string_view v) {
         return set_ip(b, b.m.src_ip, b.m.src_ip_mask, kWcSrcIp, v, "nw_src");
       }},
      {"nw_dst", kWcDstIp, true,
       [](FlowBuild& b, std::string_view v) {
         return set_ip(b, b.m.dest_ip, b.m.dest_ip_mask, kWcDstIp, v, "nw_dst");
       }},
      {"nw_proto", kWcIpProto, true,
       [](FlowBuild& b, std::string_view v) {
         return set_number(b.m.ip_protocol, v, 255, "nw_proto");
       }},
      {"nw_tos", kWcIpTos, true,
       [](FlowBuild& b, std::string_view v) -> Err {
         uint8_t tos = 0;
         if (auto e = set_number(tos, v, 255, "nw_tos")) return e;
         b.m.ip_tos = tos >> 2;  // the message carries the DSCP
         return std::nullopt;
       }},
      {"ip_dscp", kWcIpTos, true,
       [](FlowBuild& b, std::string_view v) { return set_number(b.m.ip_tos, v, 63, "ip_dscp"); }},
      {"tp_src", kWcSrcPort, true,
       [](FlowBuild& b, std::string_view v) {
         return set_number(b.m.src_port, v, 0xffff, "tp_src");
       }},
      {"tp_dst", kWcDstPort, true,
       [](FlowBuild& b, std::string_view v) {
         return set_number(b.m.dst_port, v, 0xffff, "tp_dst");
       }},
      {"icmp_type", kWcIcmpv4Type, true,
       [](FlowBuild& b, std::string_view v) {
         b.v4_only.push_back("icmp_type");
         return set_number(b.m.icmpv4_type, v, 255, "icmp_type");
       }},
      {"icmp_code", kWcIcmpv4Code, true,
       [](FlowBuild& b, std::string_view v) {
         b.v4_only.push_back("icmp_code");
         return set_number(b.m.icmpv4_code, v, 255, "icmp_code");
       }},
      {"icmpv6_type", kWcIcmpv6Type, true,
       [](FlowBuild& b, std::string_view v) {
         b.v4_only.push_back("icmpv6_type");
         return set_number(b.m.icmpv6_type, v, 255, "icmpv6_type");
       }},
      {"icmpv6_code", kWcIcmpv6Code, true,
       [](FlowBuild& b, std::string_view v) {
         b.v4_only.push_back("icmpv6_code");
         return set_number(b.m.icmpv6_code, v, 255, "icmpv6_code");
       }},
  };
  return keys;
}

// Shorthands: protocol words that stand for dl_type (and nw_proto).
struct Shorthand {
  std::string_view name;
  uint16_t ether_type;
  int ip_protocol;  // -1: none
};
constexpr std::array<Shorthand, 7> kShorthands = {{{"ip", 0x0800, -1},
                                                   {"tcp", 0x0800, 6},
                                                   {"udp", 0x0800, 17},
                                                   {"icmp", 0x0800, 1},
                                                   {"arp", 0x0806, -1},
                                                   {"ipv6", 0x86dd, -1},
                                                   {"icmp6", 0x86dd, 58}}};

// Fields of the operation itself (not matched on).
Err flow_field(FlowBuild& b, const syntax::KeyValue& kv) {
  const auto& k = kv.key;
  std::string_view v = kv.value;
  FlowMsg& m = b.m;
  if (k == "id" || k == "flow_id") {
    b.id_given = true;
    return set_number(m.flow_id, v, 0xffffffff, k);
  }
  if (k == "priority") return set_number(m.priority, v, 0xffffffff, k);
  if (k == "xid") return set_number(m.xid, v, 0xffffffff, k);
  if (k == "cid") {
    uint8_t cid = 0;
    if (auto e = set_number(cid, v, 255, k)) return e;
    m.controller_word = (m.controller_word & 0x00ffffff) | (uint32_t{cid} << 24);
    return std::nullopt;
  }
  if (k == "controller_word") return set_number(m.controller_word, v, 0xffffffff, k);
  if (k == "version") return set_number(m.version, v, 255, k);
  if (k == "more_fragments") return set_number(m.more_fragments, v, 0xffffffff, k);
  if (k == "action_key") {
    uint32_t key = 0;
    if (auto e = set_number(key, v, 0xffffffff, k)) return e;
    b.action_key = key;
    return std::nullopt;
  }
  if (k == "fd_id") return set_number(m.fd_id, v, 0xffff, k);
  if (k == "instance") return set_number(m.instance_word, v, 0xffffffff, k);
  if (k == "fid") return set_number(m.fid, v, 0xffff, k);
  if (k == "mvid") return set_number(m.mvid, v, 0xffff, k);
  if (k == "pw_id") return set_number(m.pw_id, v, 255, k);
  if (k == "keep_counters") return set_number(m.keep_counters, v, 0xffffffff, k);
  if (k == "action_param") return set_number(m.action_param, v, 0xffffffff, k);
  if (k == "stats_flag") return set_number(m.stats_flag, v, 0xffffffff, k);
  if (k == "mp_id") return set_number(m.mp_id, v, 255, k);
  if (k == "in_tagged") return set_number(m.in_tagged, v, 0xffffffff, k);
  if (k == "min_length") return set_number(m.min_body, v, kMaxBodyLength, k);
  if (k == "member_count") {
    m.member_count_override = true;
    return set_number(m.member_count, v, 0xffff, k);
  }
  if (k == "member_len") {
    uint16_t len = 0;
    if (auto e = set_number(len, v, kMemberLengthMask, k)) return e;
    b.member_len = len;
    return std::nullopt;
  }
  if (k == "wildcards") {
    uint32_t w = 0;
    if (auto e = set_number(w, v, 0xffffffff, k)) return e;
    b.wildcards = w;
    return std::nullopt;
  }
  if (k == "rule_kind") {
    uint32_t r = 0;
    if (auto e = set_number(r, v, 255, k)) return e;
    b.rule_kind = r;
    return std::nullopt;
  }
  if (k == "forward_action" || k == "send_to_ctrl") {
    uint8_t x = 0;
    if (auto e = set_number(x, v, 255, k)) return e;
    (k == "forward_action" ? b.forward : b.send_to_ctrl) = x;
    return std::nullopt;
  }
  return "unknown flow field '" + k + "'";
}

Err match_item(FlowBuild& b, std::string_view item) {
  auto kv = syntax::split_key(item);
  if (!kv.has_value) {
    for (const auto& s : kShorthands) {
      if (kv.key != s.name) continue;
      b.m.ether_type = s.ether_type;
      b.cleared |= kWcEtherType;
      if (s.ip_protocol >= 0) {
        b.m.ip_protocol = static_cast<uint8_t>(s.ip_protocol);
        b.cleared |= kWcIpProto;
        b.l3 = true;
      }
      return std::nullopt;
    }
    if (kv.key == "more") {
      b.m.more_fragments = 1;
      return std::nullopt;
    }
    return "'" + kv.key + "' is neither a match field nor a flag (did you mean " + kv.key +
           "=...?)";
  }
  for (const auto& key : match_keys()) {
    if (kv.key != key.name) continue;
    if (auto e = key.set(b, kv.value)) return e;
    b.cleared |= key.wildcard;
    b.l3 |= key.l3;
    return std::nullopt;
  }
  return flow_field(b, kv);
}

// ---- actions ----------------------------------------------------------------------------

struct Verb {
  std::string_view word;
  uint16_t sub_type;
};
constexpr std::array<Verb, 12> kVerbs = {{{"add", kSubAddFlow},
                                          {"add-prefix", kSubAddFlowPrefix},
                                          {"delete", kSubDeleteFlow},
                                          {"del", kSubDeleteFlow},
                                          {"modify", kSubModifyFlow},
                                          {"mod", kSubModifyFlow},
                                          {"modify-prefix", kSubModifyFlowPrefix},
                                          {"clear-stats", kSubClearFlowStats},
                                          {"add-members", kSubAddFlowMembers},
                                          {"clear-ctrl-stats", kSubClearCtrlrStats},
                                          {"delete-all", kSubDeleteAllFlows},
                                          {"sub", 0}}};

}  // namespace

Result<FlowMsg> parse_flow(std::span<const std::string> words) {
  using R = Result<FlowMsg>;
  if (words.empty()) return R::fail("flow: what to do? (add, modify, delete, ...)");
  FlowBuild b;
  b.m.stats_flag = 1;  // the chip counts the flow: statistics are pushed for it
  const Verb* verb = nullptr;
  auto sub = syntax::split_key(words[0]);
  for (const auto& v : kVerbs) {
    if (sub.key == v.word) verb = &v;
  }
  if (!verb || (verb->sub_type == 0) != sub.has_value) {
    return R::fail("flow: unknown operation '" + words[0] +
                   "' (add, add-prefix, modify, modify-prefix, delete, clear-stats, add-members, "
                   "clear-ctrl-stats, delete-all, sub=N)");
  }
  if (verb->sub_type == 0) {
    if (auto e = set_number(b.m.sub_type, sub.value, 0xffff, "sub")) return R::fail(*e);
  } else {
    b.m.sub_type = verb->sub_type;
  }
  // Actions never hold '=': words after actions= without one continue the list (blanks after
  // commas), words with one are fields again.
  std::optional<std::string> list;
  for (size_t i = 1; i < words.size(); ++i) {
    std::string_view w = words[i];
    if (w.starts_with("actions=")) {
      if (list) return R::fail("actions= given twice");
      list = std::string(w.substr(8));
      continue;
    }
    if (list && w.find('=') == std::string_view::npos) {
      *list += "," + std::string(w);
      continue;
    }
    for (const auto& item : syntax::split(w, ',')) {
      if (auto e = match_item(b, item)) return R::fail(*e);
    }
  }
  bool saw_actions = list.has_value();
  if (list) {
    if (auto e = detail::parse_actions(b, *list)) return R::fail(*e);
  }
  uint16_t s = b.m.sub_type;
  bool needs_id = s == kSubAddFlow || s == kSubAddFlowPrefix || s == kSubDeleteFlow ||
                  s == kSubModifyFlow || s == kSubModifyFlowPrefix || s == kSubClearFlowStats ||
                  s == kSubAddFlowMembers;
  if (needs_id && !b.id_given) return R::fail("flow " + words[0] + " needs id=<flow id>");
  bool installs = s == kSubAddFlow || s == kSubAddFlowPrefix || s == kSubModifyFlow ||
                  s == kSubModifyFlowPrefix || s == kSubAddFlowMembers;
  if (installs && !saw_actions) {
    return R::fail("flow " + words[0] + " needs actions=... (actions=drop to drop)");
  }
  if (b.m.version != 4 && !b.v4_only.empty()) {
    return R::fail(b.v4_only.front() + " needs version 4 (this flow is version " +
                   std::to_string(b.m.version) + ")");
  }
  if (b.m.version != 1 && b.m.version != 4 && !b.m.members.empty()) {
    return R::fail("actions need version 1 or 4 (this flow is version " +
                   std::to_string(b.m.version) + ")");
  }
  FlowMsg& m = b.m;
  m.wildcards = b.wildcards.value_or(kWcAll & ~b.cleared);
  m.forward_action = b.forward.value_or(b.drop ? 0 : 1);
  m.send_to_ctrl = b.send_to_ctrl.value_or(b.to_controller ? 1 : 0);
  m.rule_kind = static_cast<uint8_t>(b.rule_kind.value_or(b.l3 ? 2 : 1));
  if (b.member_len) {
    for (auto& mem : m.members)
      mem.length = *b.member_len;
  }
  if (m.version == 1) {  // version 1 tells a set VLAN by the tag state alone
    for (auto& mem : m.members)
      mem.action_bits &= kActMemberFlag;
  }
  if (!m.member_count_override) m.member_count = static_cast<uint16_t>(m.members.size());
  m.action_key = b.action_key.value_or(derived_action_key(m));
  return std::move(m);
}

}  // namespace ofa::mgr
