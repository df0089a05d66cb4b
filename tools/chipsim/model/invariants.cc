// Consistency of the model's tables, for tests and the control socket's "check".
#include <set>

#include "model/model.h"

namespace ofa::chipsim {

std::vector<std::string> check_invariants(const Model& m) {
  std::vector<std::string> bad;
  auto note = [&](const ChipState& c, const std::string& what) {
    bad.push_back("chip " + std::to_string(c.ifindex) + ": " + what);
  };
  const FamilyRules& rules = m.rules();
  for (const auto& [ifindex, c] : m.chips()) {
    if (c.ifindex != ifindex) note(c, "keyed under another interface index");
    if (c.mcast_only && (!c.regions.empty() || !c.nhops.empty() || !c.ports.empty()))
      note(c, "multicast target holds non-mgid objects");
    for (const auto& [key, reg] : c.regions) {
      std::string where =
          "ldev " + std::to_string(key.first) + " region " + std::to_string(key.second);
      if (reg.ldev != key.first || reg.region != key.second) note(c, where + ": wrong key");
      if (reg.ldev != kLdevL2 && reg.ldev != kLdevL3) note(c, where + ": bad ldev");
      if (reg.region != 10 && reg.region != 20 && reg.region != 30) note(c, where + ": bad region");
      if (reg.initial > reg.size) note(c, where + ": initial above size");
      if (reg.entries.size() > reg.size) note(c, where + ": more entries than its size");
      if (reg.entries.size() != reg.entries.index_size()) note(c, where + ": index size differs");
      if (!reg.entries.links_agree()) note(c, where + ": chip order links disagree");
      std::set<uint32_t> seen;
      for (const auto& e : reg.entries) {
        if (e.handle == 0) note(c, where + ": handle 0");
        if (!seen.insert(e.handle).second)
          note(c, where + ": handle " + std::to_string(e.handle) + " twice");
        if (reg.entries.find(e.handle) != &e)
          note(c, where + ": handle " + std::to_string(e.handle) + " not indexed");
      }
    }
    for (const auto& [id, nh] : c.nhops) {
      if (nh.paths.size() > 8) note(c, "next hop " + std::to_string(id) + ": over 8 paths");
      if (nh.kind != 1 && nh.kind != 2 && nh.kind != 8 && nh.kind != 16)
        note(c, "next hop " + std::to_string(id) + ": bad kind");
    }
    for (const auto& [k, p] : c.policers)
      if (k.second >= rules.policer_instances)
        note(c, "policer " + std::to_string(k.first) + ": bad instance");
    uint32_t iivid_limit = 1u << rules.iivid_bits;
    for (const auto& [k, v] : c.vid_to_mgid)
      if (k >= iivid_limit || v > 0x1FFFF) note(c, "vid_to_mgid out of range");
    for (const auto& [k, v] : c.translations)
      if (k.second >= iivid_limit || (v.vlan > 4095 && v.vlan != kAllVlans))
        note(c, "translation out of range");
    for (const auto& [ifx, p] : c.ports)
      for (size_t i = 0; i < p.iivid_members.size(); ++i)
        if (p.iivid_members[i] >= iivid_limit ||
            (i > 0 && p.iivid_members[i] <= p.iivid_members[i - 1]))
          note(c, "port " + std::to_string(ifx) + ": iivid members out of order");
  }
  const Stats& s = m.stats();
  if (s.errors > s.requests + s.messages) bad.push_back("more errors than requests");
  uint64_t by = 0;
  for (const auto& [code, cc] : s.by_command) {
    by += cc.requests;
    if (cc.errors > cc.requests) bad.push_back("command errors above its requests");
  }
  if (by > s.requests) bad.push_back("per-command requests above the total");
  return bad;
}

std::vector<std::string> check_dangling(const Model& m) {
  std::vector<std::string> out;
  auto has_mgid = [&](const ChipState& c, uint32_t id) {
    if (c.mgids.contains(id)) return true;
    for (const auto& [ifx, other] : m.chips())
      if (other.mcast_only && other.mgids.contains(id)) return true;
    return false;
  };
  for (const auto& [ifindex, c] : m.chips()) {
    for (const auto& [key, reg] : c.regions) {
      const std::string where = "chip " + std::to_string(c.ifindex) + ": ldev " +
                                std::to_string(key.first) + " region " + std::to_string(key.second);
      for (const auto& e : reg.entries) {
        auto note = [&](const char* kind, uint32_t id) {
          out.push_back(where + " handle " + std::to_string(e.handle) + ": no " + kind + " " +
                        std::to_string(id));
        };
        if (reg.ldev == kLdevL2) {
          const L2Result& r = e.l2res;
          if ((r.flags & (1u << 19)) && !has_mgid(c, r.dest)) note("mgid", r.dest);
          if ((r.flags & (1u << 5)) && !c.policers.contains({r.policer, 0})) {
            note("policer", r.policer);
          }
          continue;
        }
        const L3Result& r = e.l3res;
        uint32_t mgid = (r.mcast >> 11) & 0x1FFFF, policer = (r.flags_b >> 17) & 0x3FFF;
        // Flags A bit 4 goes with every forwarding result: a multicast word (bit 31) names an mgid
        // instead, and drops and controller-only results leave the next-hop field 0.
        if (r.mcast & (1u << 31)) {
          if (!has_mgid(c, mgid)) note("mgid", mgid);
        } else if ((r.flags_a & (1u << 4)) && r.nhop != 0 && !c.nhops.contains(r.nhop)) {
          note("next hop", r.nhop);
        }
        if ((r.flags_a & (1u << 8)) && !c.policers.contains({policer, 0})) note("policer", policer);
      }
    }
  }
  return out;
}

}  // namespace ofa::chipsim
