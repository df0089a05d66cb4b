#include "model/views.h"

#include <algorithm>
#include <cstdio>

#include "common/text.h"
#include "platform/ifindex.h"

namespace ofa::chipsim {

namespace {

std::string hex(uint32_t v) {
  char b[16];
  std::snprintf(b, sizeof b, "0x%08x", v);
  return b;
}

template <typename T>
std::string opt(const std::optional<T>& v) {
  return v ? std::to_string(static_cast<uint32_t>(*v)) : "-";
}

std::string runs_text(const std::vector<uint32_t>& v) {
  if (v.empty()) return "-";
  std::string s;
  for (const auto& [first, last] : runs(v)) {
    if (!s.empty()) s += ',';
    s += std::to_string(first);
    if (last != first) s += "-" + std::to_string(last);
  }
  return s;
}

std::string partition_iivid(const ChipState& c, uint32_t rte, uint32_t vlan) {
  auto it = c.partition.find({rte, vlan});
  return it == c.partition.end() ? "-" : std::to_string(it->second);
}

}  // namespace

std::vector<std::pair<uint32_t, uint32_t>> runs(const std::vector<uint32_t>& v) {
  std::vector<std::pair<uint32_t, uint32_t>> out;
  for (uint32_t n : v) {
    if (!out.empty() && out.back().second + 1 == n) {
      out.back().second = n;
    } else {
      out.emplace_back(n, n);
    }
  }
  return out;
}

std::string vlan_text(uint32_t vlan) {
  return vlan == kAllVlans ? "all" : std::to_string(vlan);
}

uint32_t port_id(uint32_t ifindex) {
  return (ifindex >> 15) & 0x7f;
}

uint32_t port_ifindex_of(const Model& m, uint32_t id) {
  if (platform::if_type(id) == platform::kIfTypePort) return id;
  return platform::port_ifindex(m.config().platform.my_slot, id);
}

const ChipState* home_chip(const Model& m, uint32_t port_ifindex) {
  const auto* desc = m.config().platform.chip_for_port(
      static_cast<uint32_t>(platform::ifindex_slot(port_ifindex)), port_id(port_ifindex));
  const ChipState* first = nullptr;
  for (const auto& [ifx, c] : m.chips()) {
    if (c.mcast_only) continue;
    if (desc && c.local_id == desc->local_id &&
        static_cast<int32_t>(c.slot) == platform::ifindex_slot(port_ifindex))
      return &c;
    if (!first) first = &c;
  }
  return first;
}

Item port_fields(const Model& m, const ChipState& c, uint32_t ifindex, const PortState& p) {
  const platform::Platform& plat = m.config().platform;
  uint32_t id = port_id(ifindex);
  const auto* desc = plat.chip_for_port(static_cast<uint32_t>(platform::ifindex_slot(ifindex)), id);
  bool served = desc && desc->local_id == c.local_id &&
                static_cast<int32_t>(c.slot) == platform::ifindex_slot(ifindex);
  bool qos = std::any_of(p.cos_enabled.begin(), p.cos_enabled.end(), [](uint8_t e) { return e; });
  std::string nhop = "-";
  for (const auto& [nhopid, nh] : c.nhops)
    if (nh.kind == 16 && !nh.paths.empty() && nh.paths[0].ifindex == ifindex)
      nhop = std::to_string(nhopid);
  std::string name = platform::if_type(ifindex) == platform::kIfTypePort ? plat.port_name(id) : "-";
  std::replace(name.begin(), name.end(), ' ', '_');
  return {
      {"id", std::to_string(id)},
      {"name", name},
      {"ifindex", hex(ifindex)},
      {"served", served ? "1" : "0"},
      {"lrn", opt(p.lrn)},
      {"rx_fwd", opt(p.rx_fwd)},
      {"rx_fwd2", opt(p.rx_fwd2)},
      {"tx_en", opt(p.tx_en)},
      {"pvid", opt(p.pvid)},
      {"iivids", p.has_vlan ? runs_text(p.iivid_members) : "-"},
      {"vpn", p.has_vpn ? hex(p.vpnid) : "-"},
      {"ppid", p.has_ctl ? std::to_string(p.ppid) : "-"},
      {"typ_cls", opt(p.typ_cls)},
      {"mac_cls", opt(p.mac_cls)},
      {"qos", p.has_qos ? (qos ? "on" : "off") : "-"},
      {"lldp_ovrd", p.has_l2ctl ? std::to_string(p.lldp_vlan_ovrd) : "-"},
      {"l2_ovrd", p.has_l2ctl ? std::to_string(p.l2_ctrl_ovrd) : "-"},
      {"address", p.has_cfg ? tools::mac_text(p.port_address) : "-"},
      {"nhop", nhop},
  };
}

std::optional<Item> vlan_fields(const ChipState& c, uint32_t vlan) {
  auto rte0 = c.partition.find({0, vlan}), rte1 = c.partition.find({1, vlan});
  if (rte0 == c.partition.end() && rte1 == c.partition.end()) return std::nullopt;
  uint32_t iivid = (rte0 != c.partition.end() ? rte0 : rte1)->second;
  std::string mgid = "-", flood = "-";
  if (auto v = c.vid_to_mgid.find(iivid); v != c.vid_to_mgid.end()) {
    mgid = std::to_string(v->second);
    if (auto g = c.mgids.find(v->second); g != c.mgids.end() && !g->second.members.empty()) {
      std::vector<uint32_t> ids;
      for (uint32_t ifx : g->second.members[0].ports)
        ids.push_back(port_id(ifx));
      flood = runs_text(ids);
    }
  }
  return Item{{"vlan", vlan_text(vlan)},
              {"rte0", partition_iivid(c, 0, vlan)},
              {"rte1", partition_iivid(c, 1, vlan)},
              {"mgid", mgid},
              {"flood", flood}};
}

std::optional<Item> region_fields(const ChipState& c, uint8_t ldev, uint8_t region) {
  auto it = c.regions.find({ldev, region});
  if (it == c.regions.end()) return std::nullopt;
  std::string handles;
  for (const auto& e : it->second.entries)
    handles += (handles.empty() ? "" : ",") + std::to_string(e.handle);
  return Item{{"entries", std::to_string(it->second.entries.size())},
              {"handles", handles.empty() ? "-" : handles},
              {"size", std::to_string(it->second.size)}};
}

namespace {

// A port's id, or the interface index in hex when it names no port.
std::string port_text(uint32_t ifindex) {
  return ifindex == 0 || platform::if_type(ifindex) == platform::kIfTypePort
             ? std::to_string(port_id(ifindex))
             : hex(ifindex);
}

template <typename T, typename Fn>
std::string joined(const std::vector<T>& v, char sep, Fn text) {
  std::string s;
  for (const T& x : v)
    s += (s.empty() ? "" : std::string(1, sep)) + text(x);
  return s.empty() ? "-" : s;
}

}  // namespace

std::optional<Item> mgid_fields(const ChipState& c, uint32_t mgid) {
  auto it = c.mgids.find(mgid);
  if (it == c.mgids.end()) return std::nullopt;
  const auto& members = it->second.members;
  return Item{
      {"mgid", std::to_string(mgid)},
      {"members", std::to_string(members.size())},
      {"iivids", joined(members, ',', [](const auto& m) { return std::to_string(m.iivid); })},
      {"ports",
       joined(members, '/', [](const auto& m) { return joined(m.ports, ',', port_text); })},
      {"updates", std::to_string(it->second.updates)}};
}

std::optional<Item> nhop_fields(const ChipState& c, uint32_t nhop) {
  auto it = c.nhops.find(nhop);
  if (it == c.nhops.end()) return std::nullopt;
  const auto& paths = it->second.paths;
  return Item{{"nhop", std::to_string(nhop)},
              {"kind", std::to_string(it->second.kind)},
              {"paths", std::to_string(paths.size())},
              {"iivids", joined(paths, ',', [](const auto& p) { return std::to_string(p.iivid); })},
              {"macs", joined(paths, ',', [](const auto& p) { return tools::mac_text(p.mac); })},
              {"ports", joined(paths, ',', [](const auto& p) { return port_text(p.ifindex); })}};
}

std::optional<Item> policer_fields(const ChipState& c, uint32_t id, uint32_t instance) {
  auto it = c.policers.find({id, instance});
  if (it == c.policers.end()) return std::nullopt;
  return Item{{"policer", std::to_string(id)},
              {"instance", std::to_string(instance)},
              {"rate", std::to_string(it->second.rate)},
              {"burst", std::to_string(it->second.burst)}};
}

std::optional<Item> xlate_fields(const Model& m, const ChipState& c, uint32_t scope,
                                 uint32_t iivid) {
  auto it = c.translations.find({scope, iivid});
  if (it == c.translations.end()) return std::nullopt;
  const Translation& t = it->second;
  Item f{{"port", scope == 0 ? "partition" : std::to_string(port_id(scope))},
         {"iivid", std::to_string(iivid)},
         {"vlan", vlan_text(t.vlan)},
         {"tagged", t.tagged() ? "1" : "0"}};
  if (m.rules().second_vlan_array) f.emplace_back("vlan2", vlan_text(t.vlan2));
  return f;
}

std::vector<Item> xlate_rows(const Model& m, const ChipState& c, std::optional<uint32_t> port) {
  std::vector<Item> rows;
  for (const auto& [key, t] : c.translations)
    if (key.first != 0 && (!port || key.first == *port))
      rows.push_back(*xlate_fields(m, c, key.first, key.second));
  return rows;
}

std::optional<Item> l2_fields(const ChipState& c, uint32_t iivid, const Mac& mac) {
  auto it = c.l2_entries.find({iivid, mac});
  if (it == c.l2_entries.end()) return std::nullopt;
  return Item{{"iivid", std::to_string(iivid)},
              {"mac", tools::mac_text(mac)},
              {"port", std::to_string(it->second ? port_id(it->second) : 0)}};
}

std::vector<uint32_t> chip_vlans(const ChipState& c) {
  std::vector<uint32_t> v;
  for (const auto& [key, iivid] : c.partition)
    v.push_back(key.second);
  std::sort(v.begin(), v.end());
  v.erase(std::unique(v.begin(), v.end()), v.end());
  return v;
}

std::string fields_text(const Item& f) {
  std::string s;
  for (const auto& [k, v] : f)
    s += (s.empty() ? "" : " ") + k + "=" + v;
  return s;
}

std::string fields_table(const std::vector<Item>& rows) {
  if (rows.empty()) return {};
  std::vector<size_t> width;
  for (const auto& [k, v] : rows[0])
    width.push_back(k.size());
  for (const auto& r : rows)
    for (size_t i = 0; i < r.size() && i < width.size(); ++i)
      width[i] = std::max(width[i], r[i].second.size());
  auto line = [&](auto cell) {
    std::string s = " ";
    for (size_t i = 0; i < width.size(); ++i) {
      std::string v = cell(i);
      s += " " + v + std::string(width[i] - std::min(width[i], v.size()), ' ');
    }
    while (!s.empty() && s.back() == ' ')
      s.pop_back();
    return s + "\n";
  };
  std::string out = line([&](size_t i) { return rows[0][i].first; });
  for (const auto& r : rows)
    out += line([&](size_t i) { return i < r.size() ? r[i].second : std::string(); });
  return out;
}

}  // namespace ofa::chipsim
