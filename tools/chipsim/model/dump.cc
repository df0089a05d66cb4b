// The model as JSON: every chip's tables, the statistics and the faults.
#include <cstdio>

#include "common/json.h"
#include "common/text.h"
#include "model/commands.h"
#include "model/model.h"
#include "model/records.h"

namespace ofa::chipsim {

namespace {

void dump_regions(tools::JsonWriter& j, const ChipState& c) {
  j.key("regions").begin_array();
  for (const auto& [key, reg] : c.regions) {
    j.begin_object()
        .field("ldev", uint32_t{reg.ldev})
        .field("region", uint32_t{reg.region})
        .field("size", reg.size)
        .field("initial", reg.initial)
        .field("increment", reg.increment)
        .field("capacity", reg.capacity())
        .field("count", static_cast<uint64_t>(reg.entries.size()));
    j.key("entries").begin_array();
    for (const auto& e : reg.entries) {
      j.begin_object().field("handle", e.handle);
      j.key("key");
      reg.ldev == kLdevL3 ? emit(j, e.l3key) : emit(j, e.l2key);
      j.key("result");
      reg.ldev == kLdevL3 ? emit(j, e.l3res) : emit(j, e.l2res);
      j.field("packets", e.packets).field("bytes", e.bytes).field("updates", e.updates);
      j.end_object();
    }
    j.end_array().end_object();
  }
  j.end_array();
}

void dump_ports(tools::JsonWriter& j, const ChipState& c) {
  j.key("ports").begin_array();
  for (const auto& [ifindex, p] : c.ports) {
    j.begin_object().field("ifindex", ifindex);
    if (p.has_qos) {
      j.key("cos_classes").begin_array();
      for (auto v : p.cos_class)
        j.value(uint32_t{v});
      j.end_array().key("cos_enabled").begin_array();
      for (auto v : p.cos_enabled)
        j.value(uint32_t{v});
      j.end_array();
    }
    if (p.has_cfg)
      j.field("cfg_word", p.cfg_word).field("port_address", tools::mac_text(p.port_address));
    if (p.has_ctl)
      j.field("ctl_change_mask", p.ctl_change)
          .field("ctl_word40", p.ctl_w40)
          .field("ctl_word48", p.ctl_w48)
          .field("ctl_word52", p.ctl_w52)
          .field("ppid", p.ppid);
    if (p.has_vlan) {
      j.field("vlan_change_mask", p.vlan_change)
          .field("vlan_values", p.vlan_values)
          .field("pvid", p.pvid.value_or(0))
          .field("iivid_count", static_cast<uint64_t>(p.iivid_members.size()));
      if (!p.iivid_members.empty())
        j.field("iivid_first", p.iivid_members.front()).field("iivid_last", p.iivid_members.back());
    }
    if (p.has_l2ctl)
      j.field("lldp_vlan_ovrd", p.lldp_vlan_ovrd).field("l2_ctrl_ovrd", p.l2_ctrl_ovrd);
    if (p.has_vpn) j.field("vpnid", p.vpnid);
    j.key("queues").begin_array();
    for (const auto& q : p.queues)
      j.begin_array().value(q.packets).value(q.bytes).end_array();
    j.end_array().end_object();
  }
  j.end_array();
}

void dump_translations(tools::JsonWriter& j, std::string_view name,
                       const std::map<std::pair<uint32_t, uint32_t>, Translation>& t) {
  j.key(name).begin_array();
  for (const auto& [k, v] : t)
    j.begin_object()
        .field("scope", k.first)
        .field("iivid", k.second)
        .field("vlan", v.vlan)
        .field("vlan2", v.vlan2)
        .field("change_mask", v.change)
        .field("values", v.values)
        .end_object();
  j.end_array();
}

void dump_objects(tools::JsonWriter& j, const ChipState& c) {
  j.key("next_hops").begin_array();
  for (const auto& [id, nh] : c.nhops) {
    j.begin_object().field("nhopid", id).field("kind", nh.kind).field("marker", nh.marker);
    j.key("paths").begin_array();
    for (const auto& p : nh.paths)
      j.begin_object()
          .field("ifindex", p.ifindex)
          .field("iivid", p.iivid)
          .field("mac", tools::mac_text(p.mac))
          .field("byte12", uint32_t{p.b12})
          .field("byte13", uint32_t{p.b13})
          .end_object();
    j.end_array().end_object();
  }
  j.end_array();
  j.key("mgids").begin_array();
  for (const auto& [id, g] : c.mgids) {
    j.begin_object().field("mgid", id).field("updates", g.updates);
    j.key("members").begin_array();
    for (const auto& m : g.members) {
      j.begin_object().field("word0", m.word0).field("iivid", m.iivid);
      j.key("ports").begin_array();
      for (auto p : m.ports)
        j.value(p);
      j.end_array().end_object();
    }
    j.end_array().end_object();
  }
  j.end_array();
  j.key("policers").begin_array();
  for (const auto& [k, p] : c.policers)
    j.begin_object()
        .field("policer_id", k.first)
        .field("instance", k.second)
        .field("rate", p.rate)
        .field("burst", p.burst)
        .field("first", p.first)
        .field("second", p.second)
        .end_object();
  j.end_array();
  dump_ports(j, c);
  dump_translations(j, "translations", c.translations);
  dump_translations(j, "eft", c.eft);
  j.key("evt").begin_array();
  for (const auto& [k, v] : c.evt)
    j.begin_object()
        .field("scope", std::get<0>(k))
        .field("iivid", std::get<1>(k))
        .field("vlan", std::get<2>(k))
        .field("values", v)
        .end_object();
  j.end_array();
  j.key("partition").begin_array();
  for (const auto& [k, v] : c.partition)
    j.begin_object().field("rte", k.first).field("vlan", k.second).field("iivid", v).end_object();
  j.end_array();
  j.key("ivt").begin_array();
  for (const auto& [k, v] : c.ivt)
    j.begin_object()
        .field("key_type", k.first)
        .field("key", k.second)
        .field("iivid", v)
        .end_object();
  j.end_array();
  j.key("vid_to_mgid").begin_array();
  for (const auto& [k, v] : c.vid_to_mgid)
    j.begin_object().field("iivid", k).field("mgid", v).end_object();
  j.end_array();
  j.key("l2_entries").begin_array();
  for (const auto* e : c.l2_sorted())
    j.begin_object()
        .field("iivid", e->first.first)
        .field("mac", tools::mac_text(e->first.second))
        .field("ifindex", e->second)
        .end_object();
  j.end_array();
}

void emit_stats(tools::JsonWriter& j, const Stats& s) {
  j.begin_object()
      .field("messages", s.messages)
      .field("requests", s.requests)
      .field("errors", s.errors)
      .field("malformed", s.malformed)
      .field("faults_fired", s.faults_fired)
      .field("placement_violations", s.placement_violations())
      .field("not_neighbours", s.not_neighbours)
      .field("unknown_neighbour", s.unknown_neighbour)
      .field("handle_in_use", s.handle_in_use)
      .field("region_full", s.region_full)
      .field("iivid_outside", s.iivid_outside)
      .field("mgid_outside", s.mgid_outside);
  j.key("by_command").begin_object();
  for (const auto& [code, c] : s.by_command) {
    j.key(command_name(code))
        .begin_object()
        .field("requests", c.requests)
        .field("errors", c.errors)
        .end_object();
  }
  j.end_object().end_object();
}

std::string_view mode_name(FaultMode m) {
  switch (m) {
    case FaultMode::once:
      return "once";
    case FaultMode::times:
      return "times";
    case FaultMode::from:
      return "from";
  }
  return "once";
}

}  // namespace

std::string Model::stats_json() const {
  tools::JsonWriter j;
  emit_stats(j, stats_);
  return j.take();
}

std::string Model::dump_json() const {
  tools::JsonWriter j;
  j.begin_object()
      .field("family", family_name(cfg_.family))
      .field("model", cfg_.model)
      .field("l2_tcam_size", cfg_.l2_tcam_size)
      .field("l3_tcam_size", cfg_.l3_tcam_size);
  j.key("chips").begin_array();
  for (const auto& [ifindex, c] : chips_) {
    j.begin_object().field("ifindex", ifindex);
    if (c.mcast_only) {
      j.key("mcast_target").boolean(true);
    } else {
      j.field("slot", c.slot).field("local_id", c.local_id).field("type", c.type);
    }
    dump_regions(j, c);
    dump_objects(j, c);
    j.end_object();
  }
  j.end_array();
  j.key("stats");
  emit_stats(j, stats_);
  j.key("faults").begin_array();
  for (const auto& f : faults_)
    j.begin_object()
        .field("command", command_name(f.command))
        .field("status", f.status)
        .field("chip", f.chip)
        .field("mode", mode_name(f.mode))
        .field("n", f.n)
        .field("seen", f.seen)
        .field("fired", f.fired)
        .end_object();
  j.end_array().end_object();
  return j.take();
}

}  // namespace ofa::chipsim
