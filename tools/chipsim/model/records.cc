#include "model/records.h"

#include "model/exchange.h"

namespace ofa::chipsim {

Mac read_mac(wire::Reader& r, size_t off) {
  Mac m{};
  for (size_t i = 0; i < m.size(); ++i)
    m[i] = r.u8_at(off + i);
  return m;
}

L2Key read_l2_key(wire::Reader& r) {
  L2Key k;
  k.in_port = r.u32_at(44);
  k.iivid = r.u16_at(56);
  k.tag_value = r.u32_at(68);
  k.src_mac = read_mac(r, 76);
  k.dst_mac = read_mac(r, 82);
  k.vlan_prio = r.u8_at(88) >> 5;
  k.ether_type = r.u16_at(90);
  k.vpn_id = r.u32_at(96);
  k.tag_mask = r.u32_at(104);
  k.valid = r.u32_at(112);
  k.src_mac_mask = read_mac(r, 124);
  k.dst_mac_mask = read_mac(r, 130);
  return k;
}

L2Result read_l2_result(wire::Reader& r, size_t base) {
  L2Result res;
  res.dest = r.u32_at(base);
  res.policer = r.u32_at(base + 8);
  res.fwd_action = r.u8_at(base + 24);
  res.flags = r.u32_at(base + 28);
  res.qos = r.u32_at(base + 32);
  return res;
}

L3Key read_l3_key(wire::Reader& r) {
  L3Key k;
  k.in_port = r.u32_at(44);
  k.iivid = r.u16_at(56);
  k.dscp = r.u8_at(80);
  k.vlan_prio = r.u8_at(81) & 0x7;
  k.src_ip = r.u32_at(92);
  k.dst_ip = r.u32_at(96);
  k.ip_proto = r.u8_at(103);
  k.vpn_id = r.u32_at(104);
  k.l4_valid = r.u32_at(108);
  k.l4_src = r.u16_at(112);
  k.l4_dst = r.u16_at(114);
  k.valid = r.u32_at(116);
  k.l4_src_mask = r.u16_at(124);
  k.l4_dst_mask = r.u16_at(126);
  k.src_ip_mask = r.u32_at(128);
  k.dst_ip_mask = r.u32_at(132);
  return k;
}

L3Result read_l3_result(wire::Reader& r, size_t base) {
  L3Result res;
  res.nhop = r.u32_at(base);
  res.fwd_action = r.u8_at(base + 4);
  res.flags_a = r.u32_at(base + 20);
  res.flags_b = r.u32_at(base + 24);
  res.mcast = r.u32_at(base + 28);
  res.egress_valid = r.u32_at(base + 32);
  res.egress_if = r.u32_at(base + 36);
  return res;
}

void emit(tools::JsonWriter& j, const L2Key& k) {
  j.begin_object()
      .field("in_port", k.in_port)
      .field("iivid", k.iivid)
      .field("iivid_mask", k.valid >> 18)
      .field("tag_value", k.tag_value)
      .field("tag_mask", k.tag_mask)
      .field("src_mac", tools::mac_text(k.src_mac))
      .field("src_mac_mask", tools::mac_text(k.src_mac_mask))
      .field("dst_mac", tools::mac_text(k.dst_mac))
      .field("dst_mac_mask", tools::mac_text(k.dst_mac_mask))
      .field("vlan_prio", k.vlan_prio)
      .field("ether_type", k.ether_type)
      .field("vpn_id", k.vpn_id)
      .field("valid", k.valid)
      .end_object();
}

void emit(tools::JsonWriter& j, const L2Result& r) {
  j.begin_object()
      .field("dest", r.dest)
      .field("policer", r.policer)
      .field("fwd_action", r.fwd_action)
      .field("flags", r.flags)
      .field("qos", r.qos)
      .end_object();
}

void emit(tools::JsonWriter& j, const L3Key& k) {
  j.begin_object()
      .field("in_port", k.in_port)
      .field("iivid", k.iivid)
      .field("dscp", k.dscp)
      .field("vlan_prio", k.vlan_prio)
      .field("src_ip", k.src_ip)
      .field("src_ip_mask", k.src_ip_mask)
      .field("dst_ip", k.dst_ip)
      .field("dst_ip_mask", k.dst_ip_mask)
      .field("ip_proto", k.ip_proto)
      .field("vpn_id", k.vpn_id)
      .field("l4_valid", k.l4_valid)
      .field("l4_src", k.l4_src)
      .field("l4_src_mask", k.l4_src_mask)
      .field("l4_dst", k.l4_dst)
      .field("l4_dst_mask", k.l4_dst_mask)
      .field("valid", k.valid)
      .end_object();
}

void emit(tools::JsonWriter& j, const L3Result& r) {
  j.begin_object()
      .field("nhop", r.nhop)
      .field("fwd_action", r.fwd_action)
      .field("flags_a", r.flags_a)
      .field("flags_b", r.flags_b)
      .field("mcast", r.mcast)
      .field("egress_valid", r.egress_valid)
      .field("egress_if", r.egress_if)
      .end_object();
}

}  // namespace ofa::chipsim
