// Port and VLAN requests: port QoS, configuration and control, port VLAN configuration and its
// translation forms, EVT, EFT, IVT, partition ids, vid to mgid, port L2 control and VPN, and the
// exact-match L2 entries.
#include <string>

#include "model/commands.h"
#include "model/exchange.h"
#include "model/views.h"

namespace ofa::chipsim {

namespace {

std::string num(uint64_t v) {
  return std::to_string(v);
}

// The owner word of the checked header form: bit 31 clear, byte at 18 cleared.
bool owner_ok(Exchange& x) {
  uint32_t owner = x.in().u32_at(16);
  x.f("owner", owner);
  if ((owner & 0x80000000u) == 0 && (owner & 0x0000FF00u) == 0) return true;
  x.error = "owner word " + num(owner) + " breaks the checked header form";
  return false;
}

// VLAN translation forms of the port VLAN configuration, EVT and EFT: the scope (ifIndex, or
// partition 7 when it is 0) and n pairs.
struct Pairs {
  uint32_t scope = 0;
  uint32_t change = 0;
  uint32_t values = 0;
  uint32_t n = 0;
  std::vector<std::array<uint32_t, 3>> pairs;  // iivid, vlan, second vlan
};

// `two`: the form carries the VLAN ids a second time (zim).
int32_t read_pairs(Exchange& x, bool batch, bool two, Pairs& p) {
  auto r = x.in();
  p.scope = r.u32_at(28);
  p.change = r.u32_at(36);
  p.values = r.u32_at(40);
  p.n = r.u32_at(56);
  x.f("ifindex", p.scope);
  if (p.scope == 0) {
    x.f("partition_one", r.u16_at(32));
    x.f("partition", r.u16_at(34));
    if (r.u16_at(32) != 1 || r.u16_at(34) != 7)
      return x.fail(status::kInvalid, "partition form wants 1 at 32 and 7 at 34");
  }
  x.f("change_mask", p.change);
  x.f("values", p.values);
  x.f("count", p.n);
  if (batch ? p.n > 250 : p.n != 1)
    return x.fail(status::kInvalid, "translation count " + num(p.n));
  for (uint32_t i = 0; i < p.n; ++i) {
    size_t iv = 84 + 4 * i, vl = 84 + 4 * (p.n + i), v2 = 84 + 8 * p.n + 4 * i;
    if (!batch) iv = 84, vl = 88, v2 = 92;
    p.pairs.push_back({r.u32_at(iv), r.u32_at(vl), two ? r.u32_at(v2) : 0u});
  }
  if (x.fields) {
    x.fields->key("pairs").begin_array();
    for (auto& q : p.pairs) {
      x.fields->begin_object().field("iivid", q[0]).field("vlan", q[1]);
      if (two) x.fields->field("vlan2", q[2]);
      x.fields->end_object();
    }
    x.fields->end_array();
  }
  if (!r.ok()) return x.fail(status::kInvalid, "pairs past the request's end");
  for (auto& q : p.pairs) {
    if (!iivid_ok(x, q[0])) return x.fail(status::kInvalid, "iivid " + num(q[0]) + " too wide");
    if (!vlan_ok(q[1])) return x.fail(status::kInvalid, "vlan " + num(q[1]));
  }
  return status::kOk;
}

bool has_bits(uint32_t word, uint32_t bits) {
  return (word & bits) == bits;
}

int32_t port_wide(Exchange& x) {
  auto r = x.in();
  uint32_t ifindex = r.u32_at(28), change = r.u32_at(36), values = r.u32_at(40),
           pvid = r.u32_at(48);
  x.f("ifindex", ifindex);
  x.f("change_mask", change);
  x.f("values", values);
  x.f("pvid", pvid);
  std::vector<uint32_t> members;
  size_t words = (x.req_len - 84) / 4;
  for (size_t w = 0; w < words; ++w) {
    uint32_t bits = r.u32_at(84 + 4 * w);
    for (uint32_t b = 0; bits != 0 && b < 32; ++b)
      if (bits & (1u << b)) members.push_back(static_cast<uint32_t>(w * 32 + b));
  }
  if (x.fields) {
    // The members as ranges "first-last", readable for a few thousand IIVIDs.
    x.fields->key("iivids").begin_array();
    for (const auto& [first, last] : runs(members))
      x.fields->value(num(first) + "-" + num(last));
    x.fields->end_array();
  }
  if (ifindex == 0) return x.fail(status::kInvalid, "port-wide form without ifIndex");
  if ((values & (1u << 29)) == 0) return x.fail(status::kInvalid, "value bit 29 clear");
  if (!x.commit) return status::kOk;
  PortState& p = x.chip.ports[ifindex];
  p.has_vlan = true;
  p.vlan_change = change;
  p.vlan_values = values;
  // Each setting changes only where its change-mask bit is set.
  auto apply = [&](std::optional<bool>& field, int change_bit, int value_bit) {
    if (change & (1u << change_bit)) field = (values & (1u << value_bit)) != 0;
  };
  apply(p.lrn, 27, 23);
  apply(p.rx_fwd, 30, 26);
  apply(p.rx_fwd2, 29, 25);
  apply(p.tx_en, 22, 22);
  if (change & (1u << 26)) p.pvid = pvid;
  if (!members.empty()) {
    note_iivid(x, members.front());
    note_iivid(x, members.back());
  }
  p.iivid_members = std::move(members);
  return status::kOk;
}

}  // namespace

bool iivid_ok(const Exchange& x, uint32_t iivid) {
  return iivid < (1u << x.rules.iivid_bits);
}

bool vlan_ok(uint32_t vlan) {
  return vlan <= 4095 || vlan == kAllVlans;
}

void note_iivid(Exchange& x, uint32_t iivid) {
  const auto& r = x.model.config().platform.resources;
  if (r.iivid_max != 0 && (iivid < r.iivid_min || iivid > r.iivid_max))
    ++x.model.mutable_stats().iivid_outside;
}

void note_mgid(Exchange& x, uint32_t mgid) {
  const auto& r = x.model.config().platform.resources;
  if (r.mgid_end != 0 && (mgid < r.mgid_start || mgid > r.mgid_end))
    ++x.model.mutable_stats().mgid_outside;
}

int32_t handle_port_qos_init(Exchange& x) {
  if (!x.length_is(160)) return status::kInvalid;
  auto r = x.in();
  uint32_t ifindex = r.u32_at(28);
  std::array<uint8_t, 32> cls{}, en{};
  for (size_t i = 0; i < 32; ++i) {
    cls[i] = r.u8_at(32 + 4 * i);
    en[i] = r.u8_at(33 + 4 * i);
  }
  x.f("ifindex", ifindex);
  if (x.fields) {
    x.fields->key("classes").begin_array();
    for (auto c : cls)
      x.fields->value(uint32_t{c});
    x.fields->end_array().key("enabled").begin_array();
    for (auto e : en)
      x.fields->value(uint32_t{e});
    x.fields->end_array();
  }
  if (!x.commit) return status::kOk;
  PortState& p = x.chip.ports[ifindex];
  p.has_qos = true;
  p.cos_class = cls;
  p.cos_enabled = en;
  return status::kOk;
}

int32_t handle_port_cfg(Exchange& x) {
  auto r = x.in();
  uint8_t selector = r.u8_at(28);
  x.f("selector", selector);
  if (selector == 6) {
    if (!x.length_is(52)) return status::kInvalid;
    uint32_t word = r.u32_at(32), ifindex = r.u32_at(48);
    Mac addr = read_mac(r, 38);
    x.f("word", word);
    x.mac("port_address", addr);
    x.f("ifindex", ifindex);
    if (!owner_ok(x)) return status::kInvalid;
    if ((word & 0x80000000u) == 0) return x.fail(status::kInvalid, "bit 31 of word 32 clear");
    if (!x.commit) return status::kOk;
    PortState& p = x.chip.ports[ifindex];
    p.has_cfg = true;
    p.cfg_word = word;
    p.port_address = addr;
    return status::kOk;
  }
  if (selector != 0) return x.fail(status::kInvalid, "selector " + num(selector));
  if (!x.length_is(84)) return status::kInvalid;
  uint32_t ifindex = r.u32_at(32), change = r.u32_at(36), w40 = r.u32_at(40), w48 = r.u32_at(48),
           w52 = r.u32_at(52), ppid = (r.u32_at(56) >> 7) & 0xFFFF;
  x.f("ifindex", ifindex);
  x.f("change_mask", change);
  x.f("word40", w40);
  x.f("word48", w48);
  x.f("word52", w52);
  x.f("ppid", ppid);
  if (!owner_ok(x)) return status::kInvalid;
  if (!x.commit) return status::kOk;
  PortState& p = x.chip.ports[ifindex];
  p.has_ctl = true;
  p.ctl_change = change;
  p.ctl_w40 = w40;
  p.ctl_w48 = w48;
  p.ctl_w52 = w52;
  if (w40 & (1u << 19)) p.ppid = ppid;
  if (change & (1u << 16)) p.typ_cls = (w48 & (1u << 6)) != 0;
  if (change & (1u << 17)) p.mac_cls = (w48 & (1u << 7)) != 0;
  return status::kOk;
}

int32_t handle_port_vlan_cfg(Exchange& x) {
  const FamilyRules& f = x.rules;
  if (x.req_len == f.port_vlan_wide_len) {
    x.f("form", "port");
    return port_wide(x);
  }
  bool batch = x.req_len == f.port_vlan_batch_len;
  // zim also sends its egress translation of one port in the 92-byte form, without the second
  // VLAN id and without change-mask bit 24.
  bool short_form = f.port_vlan_short_len != 0 && x.req_len == f.port_vlan_short_len;
  bool two = f.second_vlan_array && !short_form;
  if (!batch && !short_form && x.req_len != f.port_vlan_one_len)
    return x.fail(status::kInvalid,
                  "request length " + num(x.req_len) + " is none of " + num(f.port_vlan_wide_len) +
                      ", " + num(f.port_vlan_one_len) + ", " + num(f.port_vlan_batch_len));
  uint32_t change = x.in().u32_at(36);
  bool eft = !batch && (change & (1u << 8)) != 0;
  x.f("form", eft ? "eft" : batch ? "batch" : "translation");
  Pairs p;
  if (int32_t st = read_pairs(x, batch, two, p); st != status::kOk) return st;
  if (eft) {
    if (x.model.family() != Family::ard2)
      return x.fail(status::kInvalid, "EFT entry on a family other than ard2");
    if (!has_bits(change, (1u << 19) | (1u << 21)) || !has_bits(p.values, (1u << 21) | (1u << 22)))
      return x.fail(status::kInvalid, "EFT wants change bits 8, 19, 21 and value bits 21, 22");
  } else {
    uint32_t want = (1u << 19) | (1u << 21) | (two ? (1u << 24) : 0u);
    if (!has_bits(change, want))
      return x.fail(status::kInvalid,
                    "translation change mask lacks bits 19, 21" + std::string(two ? ", 24" : ""));
  }
  if (!x.commit) return status::kOk;
  for (auto& q : p.pairs) {
    auto& table = eft ? x.chip.eft : x.chip.translations;
    table[{p.scope, q[0]}] = Translation{q[1], q[2], p.change, p.values};
    note_iivid(x, q[0]);
  }
  return status::kOk;
}

int32_t handle_evt(Exchange& x) {
  if (!x.length_is(92)) return status::kInvalid;
  Pairs p;
  if (int32_t st = read_pairs(x, false, false, p); st != status::kOk) return st;
  if (!has_bits(p.change, (1u << 19) | (1u << 21) | (1u << 22)) || !(p.values & (1u << 22)))
    return x.fail(status::kInvalid, "EVT wants change bits 19, 21, 22 and value bit 22");
  if (!x.commit) return status::kOk;
  auto key = std::make_tuple(p.scope, p.pairs[0][0], p.pairs[0][1]);
  if (x.command == cmd::kEvtAdd) {
    x.chip.evt[key] = p.values;
  } else {
    x.chip.evt.erase(key);  // removing an absent entry is no error
  }
  return status::kOk;
}

int32_t handle_partition_id(Exchange& x) {
  if (!x.length_is(48)) return status::kInvalid;
  auto r = x.in();
  uint32_t ppid = r.u16_at(28), rte = r.u16_at(30), count = r.u32_at(36), iivid = r.u32_at(40),
           vlan = r.u32_at(44);
  x.f("ppid", ppid);
  x.f("rte", rte);
  x.f("count", count);
  x.f("iivid", iivid);
  x.f("vlan", vlan);
  if (ppid != 7) return x.fail(status::kInvalid, "ppid " + num(ppid) + ", want 7");
  if (rte > 1) return x.fail(status::kInvalid, "rte " + num(rte));
  if (count != 1) return x.fail(status::kInvalid, "count " + num(count) + ", want 1");
  if (!iivid_ok(x, iivid) || !vlan_ok(vlan))
    return x.fail(status::kInvalid, "iivid or vlan out of range");
  if (!x.commit) return status::kOk;
  x.chip.partition[{rte, vlan}] = iivid;
  note_iivid(x, iivid);
  return status::kOk;
}

int32_t handle_vid_to_mgid(Exchange& x) {
  if (!x.length_is(56)) return status::kInvalid;
  auto r = x.in();
  uint32_t count = r.u32_at(44), iivid = r.u16_at(50), mgid = r.u32_at(52) & 0x1FFFF;
  x.f("count", count);
  x.f("iivid", iivid);
  x.f("mgid", mgid);
  if (count != 1) return x.fail(status::kInvalid, "count " + num(count) + ", want 1");
  if (!iivid_ok(x, iivid)) return x.fail(status::kInvalid, "iivid " + num(iivid) + " too wide");
  if (!x.commit) return status::kOk;
  x.chip.vid_to_mgid[iivid] = mgid;
  note_iivid(x, iivid);
  note_mgid(x, mgid);
  return status::kOk;
}

int32_t handle_port_l2_ctrl(Exchange& x) {
  if (!x.length_is(60)) return status::kInvalid;
  auto r = x.in();
  uint32_t count = r.u32_at(28), w32 = r.u32_at(32), w36 = r.u32_at(36), ifindex = r.u32_at(48),
           lldp = r.u32_at(52), l2 = r.u32_at(56);
  x.f("count", count);
  x.f("word32", w32);
  x.f("word36", w36);
  x.f("ifindex", ifindex);
  x.f("lldp_vlan_ovrd", lldp);
  x.f("l2_ctrl_ovrd", l2);
  if (count != 1 || w32 != 0x00020000u || w36 != 4)
    return x.fail(status::kInvalid, "port L2 control wants 1 at 28, 0x00020000 at 32, 4 at 36");
  if (!x.commit) return status::kOk;
  PortState& p = x.chip.ports[ifindex];
  p.has_l2ctl = true;
  p.lldp_vlan_ovrd = lldp;
  p.l2_ctrl_ovrd = l2;
  return status::kOk;
}

int32_t handle_port_vpn(Exchange& x) {
  if (!x.length_is(44)) return status::kInvalid;
  auto r = x.in();
  uint32_t ifindex = r.u32_at(28), word = r.u32_at(32), vpnid = r.u32_at(36);
  x.f("ifindex", ifindex);
  x.f("word", word);
  x.f("vpnid", vpnid);
  if ((word & 0x80000000u) == 0) return x.fail(status::kInvalid, "bit 31 of word 32 clear");
  if (!x.commit) return status::kOk;
  PortState& p = x.chip.ports[ifindex];
  p.has_vpn = true;
  p.vpnid = vpnid;
  return status::kOk;
}

int32_t handle_ivt(Exchange& x) {
  if (!x.length_is(152)) return status::kInvalid;
  auto r = x.in();
  uint32_t count = r.u32_at(28), w32 = r.u32_at(32), w36 = r.u32_at(36), w40 = r.u32_at(40),
           w52 = r.u32_at(52);
  uint32_t key_type = w32 >> 24, iivid = w52 >> 18, marker = (w52 >> 14) & 0xF;
  x.f("count", count);
  x.f("key_type", key_type);
  x.f("word32", w32);
  x.f("iivid", iivid);
  x.f("marker", marker);
  if (count != 1) return x.fail(status::kInvalid, "count " + num(count) + ", want 1");
  if (w32 & 0x00F80000u) return x.fail(status::kInvalid, "bits 19 to 23 of word 32 set");
  uint32_t key;
  if (key_type == 19) {
    key = w36 >> 20;
    x.f("vlan", key);
    if (!has_bits(w36, 0x000E0000u)) return x.fail(status::kInvalid, "word 36 lacks bits 17-19");
    if (marker != 14) return x.fail(status::kInvalid, "word 52 bits 14-17 " + num(marker));
  } else if (key_type == 1) {
    key = w40;
    x.f("ifindex", key);
    if (marker != 13) return x.fail(status::kInvalid, "word 52 bits 14-17 " + num(marker));
  } else {
    return x.fail(status::kInvalid, "key type " + num(key_type));
  }
  if (!x.commit) return status::kOk;
  if (x.command == cmd::kIvtAdd) {
    x.chip.ivt[{key_type, key}] = iivid;
  } else {
    x.chip.ivt.erase({key_type, key});  // removing an absent entry is no error
  }
  return status::kOk;
}

int32_t handle_l2exm_add(Exchange& x) {
  if (!x.length_is(76)) return status::kInvalid;
  auto r = x.in();
  uint32_t w40 = r.u32_at(40), iivid = r.u16_at(42), ifindex = r.u32_at(64);
  Mac mac = read_mac(r, 44);
  uint8_t b68 = r.u8_at(68), b69 = r.u8_at(69);
  x.f("word40", w40);
  x.f("iivid", iivid);
  x.mac("mac", mac);
  x.f("ifindex", ifindex);
  if ((w40 & (1u << 30)) == 0 || b68 != 3 || b69 != 0)
    return x.fail(status::kInvalid, "exact-match add wants bit 30 at 40, 3 at 68, 0 at 69");
  if (!iivid_ok(x, iivid)) return x.fail(status::kInvalid, "iivid " + num(iivid) + " too wide");
  if (!x.commit) return status::kOk;
  x.chip.l2_entries[{iivid, mac}] = ifindex;
  return status::kOk;
}

int32_t handle_l2exm_delete(Exchange& x) {
  if (!x.length_is(48)) return status::kInvalid;
  auto r = x.in();
  uint32_t iivid = r.u16_at(32);
  Mac mac = read_mac(r, 34);
  x.f("iivid", iivid);
  x.mac("mac", mac);
  if (!x.commit) return status::kOk;
  if (x.chip.l2_entries.erase({iivid, mac}) == 0)
    return x.fail(status::kNoEntry, "no exact-match entry");
  return status::kOk;
}

}  // namespace ofa::chipsim
