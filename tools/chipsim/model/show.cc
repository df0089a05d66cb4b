#include "model/show.h"

#include <cstdarg>
#include <cstdio>
#include <initializer_list>
#include <utility>

#include "common/text.h"
#include "model/views.h"

namespace ofa::chipsim {
namespace {

void appendf(std::string& out, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
void appendf(std::string& out, const char* fmt, ...) {
  char buf[512];
  va_list ap;
  va_start(ap, fmt);
  int n = std::vsnprintf(buf, sizeof buf, fmt, ap);
  va_end(ap);
  if (n > 0) out.append(buf, std::min(static_cast<size_t>(n), sizeof buf - 1));
}

bool is_zero(const Mac& m) {
  for (uint8_t b : m)
    if (b) return false;
  return true;
}

// "name value" pairs of the fields that are set, separated by blanks.
class Fields {
 public:
  Fields& num(const char* name, uint32_t v) {
    if (v) add(name, std::to_string(v));
    return *this;
  }
  Fields& hex(const char* name, uint32_t v) {
    if (v) {
      char buf[16];
      std::snprintf(buf, sizeof buf, "0x%x", v);
      add(name, buf);
    }
    return *this;
  }
  Fields& masked(const char* name, uint32_t v, uint32_t mask) {
    if (v || mask) add(name, std::to_string(v) + "/" + std::to_string(mask));
    return *this;
  }
  Fields& mac(const char* name, const Mac& v, const Mac& mask) {
    if (!is_zero(v) || !is_zero(mask)) add(name, tools::mac_text(v) + "/" + tools::mac_text(mask));
    return *this;
  }
  Fields& ip(const char* name, uint32_t v, uint32_t mask) {
    if (v || mask) add(name, tools::ip_text(v) + "/" + tools::ip_text(mask));
    return *this;
  }
  std::string take() { return text_.empty() ? "-" : std::move(text_); }

 private:
  void add(const char* name, const std::string& v) {
    if (!text_.empty()) text_ += ' ';
    text_ += name;
    text_ += ' ';
    text_ += v;
  }
  std::string text_;
};

std::string key_text(const Region& reg, const TcamEntry& e) {
  Fields f;
  if (reg.ldev == kLdevL3) {
    const L3Key& k = e.l3key;
    f.num("in_port", k.in_port).num("iivid", k.iivid).num("dscp", k.dscp);
    f.num("vlan_prio", k.vlan_prio).ip("src", k.src_ip, k.src_ip_mask);
    f.ip("dst", k.dst_ip, k.dst_ip_mask).num("proto", k.ip_proto);
    f.masked("l4_src", k.l4_src, k.l4_src_mask).masked("l4_dst", k.l4_dst, k.l4_dst_mask);
    f.num("vpn", k.vpn_id).hex("valid", k.valid);
  } else {
    const L2Key& k = e.l2key;
    f.num("in_port", k.in_port).masked("iivid", k.iivid, k.valid >> 18);
    f.masked("tag", k.tag_value, k.tag_mask).mac("dst", k.dst_mac, k.dst_mac_mask);
    f.mac("src", k.src_mac, k.src_mac_mask).num("vlan_prio", k.vlan_prio);
    f.hex("ether_type", k.ether_type).num("vpn", k.vpn_id).hex("valid", k.valid);
  }
  return f.take();
}

std::string result_text(const Region& reg, const TcamEntry& e) {
  Fields f;
  if (reg.ldev == kLdevL3) {
    const L3Result& r = e.l3res;
    f.hex("nhop", r.nhop).num("fwd", r.fwd_action).hex("flags_a", r.flags_a);
    f.hex("flags_b", r.flags_b).num("mcast", r.mcast).hex("egress", r.egress_if);
  } else {
    const L2Result& r = e.l2res;
    f.num("dest", r.dest).num("policer", r.policer).num("fwd", r.fwd_action);
    f.hex("flags", r.flags).hex("qos", r.qos);
  }
  return f.take();
}

void show_chip(std::string& out, const ChipState& c) {
  appendf(out, "chip 0x%08x: slot %u, chip %u, type %u\n", c.ifindex, c.slot, c.local_id, c.type);
  if (c.regions.empty()) {
    out += "  no regions\n";
  } else {
    appendf(out, "  %4s %6s %8s %8s %9s %8s %7s\n", "ldev", "region", "size", "initial",
            "increment", "capacity", "entries");
    for (const auto& [key, reg] : c.regions)
      appendf(out, "  %4u %6u %8u %8u %9u %8u %7zu\n", reg.ldev, reg.region, reg.size, reg.initial,
              reg.increment, reg.capacity(), reg.entries.size());
    bool header = false;
    for (const auto& [key, reg] : c.regions) {
      for (const auto& e : reg.entries) {
        if (!header) {
          appendf(out, "\n  %4s %6s %6s %10s %12s  %s\n", "ldev", "region", "handle", "packets",
                  "bytes", "key => result");
          header = true;
        }
        appendf(out, "  %4u %6u %6u %10llu %12llu  ", reg.ldev, reg.region, e.handle,
                static_cast<unsigned long long>(e.packets),
                static_cast<unsigned long long>(e.bytes));
        out += key_text(reg, e) + " => " + result_text(reg, e) + "\n";
      }
    }
  }
  // Multicast groups, next hops and policers, each kind as one aligned table.
  std::vector<Item> mgids, nhops, policers;
  for (const auto& [id, g] : c.mgids)
    mgids.push_back(*mgid_fields(c, id));
  for (const auto& [id, nh] : c.nhops)
    nhops.push_back(*nhop_fields(c, id));
  for (const auto& [key, p] : c.policers)
    policers.push_back(*policer_fields(c, key.first, key.second));
  for (const auto* rows : {&mgids, &nhops, &policers})
    if (!rows->empty()) out += "\n" + fields_table(*rows);
  const std::initializer_list<std::pair<const char*, size_t>> counts = {
      {"next hops", c.nhops.size()},
      {"mgids", c.mgids.size()},
      {"policers", c.policers.size()},
      {"ports", c.ports.size()},
      {"VLAN translations", c.translations.size() + c.partition.size() + c.ivt.size()},
      {"EVT", c.evt.size() + c.eft.size()},
      {"vid-to-mgid", c.vid_to_mgid.size()},
      {"L2 entries", c.l2_entries.size()},
  };
  out += "\n ";
  for (const auto& [name, n] : counts)
    appendf(out, " %s %zu,", name, n);
  out.back() = '\n';
}

void chip_title(std::string& out, const ChipState& c) {
  if (!out.empty()) out += '\n';
  appendf(out, "chip 0x%08x: slot %u, chip %u\n", c.ifindex, c.slot, c.local_id);
}

}  // namespace

namespace {

// Per chip (the multicast target left out) its title, then its rows as a table, or `none`.
template <typename RowsOf>
std::string per_chip(const Model& m, const char* none, RowsOf rows_of) {
  std::string out;
  for (const auto& [ifindex, c] : m.chips()) {
    if (c.mcast_only) continue;
    std::vector<Item> rows = rows_of(c);
    chip_title(out, c);
    out += rows.empty() ? none : fields_table(rows);
  }
  return out;
}

}  // namespace

std::string show_ports(const Model& m, std::optional<uint32_t> id) {
  std::optional<uint32_t> only;
  if (id) only = port_ifindex_of(m, *id);
  return per_chip(m, "  no ports\n", [&](const ChipState& c) {
    std::vector<Item> rows;
    for (const auto& [port, p] : c.ports)
      if (!only || port == *only) rows.push_back(port_fields(m, c, port, p));
    return rows;
  });
}

std::string show_vlans(const Model& m, std::optional<uint32_t> vlan) {
  return per_chip(m, "  no VLANs\n", [&](const ChipState& c) {
    std::vector<Item> rows;
    for (uint32_t v : vlan ? std::vector<uint32_t>{*vlan} : chip_vlans(c))
      if (auto f = vlan_fields(c, v)) rows.push_back(std::move(*f));
    return rows;
  });
}

std::string show_xlate(const Model& m, std::optional<uint32_t> id) {
  std::optional<uint32_t> only;
  if (id) only = port_ifindex_of(m, *id);
  return per_chip(m, "  no translations\n",
                  [&](const ChipState& c) { return xlate_rows(m, c, only); });
}

std::string show_l2(const Model& m) {
  return per_chip(m, "  no L2 entries\n", [](const ChipState& c) {
    std::vector<Item> rows;
    for (const auto* e : c.l2_sorted())
      rows.push_back(*l2_fields(c, e->first.first, e->first.second));
    return rows;
  });
}

std::string show_text(const Model& m) {
  std::string out;
  for (const auto& [ifindex, chip] : m.chips()) {
    if (!out.empty()) out += '\n';
    show_chip(out, chip);
  }
  const Stats& s = m.stats();
  appendf(out, "\nrequests %llu, errors %llu, placement violations %llu\n",
          static_cast<unsigned long long>(s.requests), static_cast<unsigned long long>(s.errors),
          static_cast<unsigned long long>(s.placement_violations()));
  return out;
}

}  // namespace ofa::chipsim
