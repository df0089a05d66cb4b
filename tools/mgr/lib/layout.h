// Where each field of each message stands on the wire: offsets from the start of the body (the
// byte after the transport header), widths by the visitor call. One description serves the
// encoder (writes), the decoder (reads) and the printer (names and values):
//
//   v.u8 / u16 / u32 / u64 (offset, name, field)   big-endian integers
//   v.ip / v.bits (offset, name, field)              32-bit words shown as an address, in hex
//   v.mac (offset, name, field)                      6 bytes
//   v.text (offset, width, name, field)              NUL-padded text
//   v.mask (offset, name, field)                     680-byte port mask
//   v.raw (offset, name, field)                      bytes carried as they stand
//
// Lists (flow members, group buckets, queue and meter records) have one description per item at
// a base offset; codec.cc places and counts them.
#pragma once

#include <cstddef>

#include "messages.h"

namespace ofa::mgr::layout {

// ---- manager to agent -------------------------------------------------------------------

template <class V, class M>
void config(V& v, M& m) {
  v.u32(0, "sub_cmd", m.sub_cmd);
  v.u8(4, "add", m.add);
  v.u32(8, "value", m.value);
  if (config_carries_port_id(m.sub_cmd)) {
    v.u16(16, "port_id", m.port_id);
  } else {
    v.mask(16, "ports", m.ports);
  }
  v.mask(696, "l3_ports", m.l3_ports);
  v.mask(1376, "super_acl_ports", m.super_acl_ports);
  v.bits(2736, "flags", m.flags);
  v.mask(2740, "hybrid_ports", m.hybrid_ports);
  v.u16(3666, "pvid", m.pvid);
  v.text(3668, 32, "if_name", m.if_name);
  v.u32(3700, "if_index", m.if_index);
  v.mac(3708, "port_address", m.port_address);
  v.u32(3716, "def_nhop_id", m.def_nhop_id);
}

// The fixed part of a flow message, offsets 0 to 235. The sub-type is the first word.
template <class V, class M>
void flow_head(V& v, M& m) {
  v.u32(0, "sub_type", m.sub_type);
  v.u8(8, "version", m.version);
  v.u32(12, "more_fragments", m.more_fragments);
  v.u32(16, "flow_id", m.flow_id);
  v.bits(20, "controller_word", m.controller_word);
  v.u32(24, "xid", m.xid);
  v.u32(32, "instance_word", m.instance_word);
  v.u16(36, "fd_id", m.fd_id);
  v.u16(38, "in_port_id", m.in_port_id);
  v.u32(40, "in_vlan_id", m.in_vlan_id);
  v.u32(44, "in_tagged", m.in_tagged);
  v.mac(48, "src_mac", m.src_mac);
  v.mac(56, "dst_mac", m.dst_mac);
  v.mac(64, "src_mac_mask", m.src_mac_mask);
  v.mac(72, "dst_mac_mask", m.dst_mac_mask);
  v.u16(80, "ether_type", m.ether_type);
  v.ip(84, "src_ip", m.src_ip);
  v.ip(88, "src_ip_mask", m.src_ip_mask);
  v.ip(92, "dest_ip", m.dest_ip);
  v.ip(96, "dest_ip_mask", m.dest_ip_mask);
  v.u8(100, "ip_protocol", m.ip_protocol);
  v.u16(102, "ip_tos", m.ip_tos);
  v.u16(104, "src_port", m.src_port);
  v.u16(106, "dst_port", m.dst_port);
  v.u16(108, "fid", m.fid);
  v.u16(110, "mvid", m.mvid);
  v.u8(112, "pw_id", m.pw_id);
  v.u8(113, "forward_action", m.forward_action);
  v.u8(114, "send_to_ctrl", m.send_to_ctrl);
  v.bits(116, "wildcards", m.wildcards);
  v.u32(120, "priority", m.priority);
  v.u8(124, "vlan_upbit", m.vlan_upbit);
  v.u32(128, "keep_counters", m.keep_counters);
  v.u32(132, "action_param", m.action_param);
  v.u16(136, "member_count", m.member_count);
  v.u8(138, "rule_kind", m.rule_kind);
  v.u32(140, "action_key", m.action_key);
  v.u32(144, "meter_id", m.meter_id);
  v.u32(148, "stats_flag", m.stats_flag);
  v.u8(152, "mp_id", m.mp_id);
  if (m.version == 4) {
    v.raw(160, "v4_fields", m.v4_fields);
    v.u32(224, "v4_word0", m.v4_words[0]);
    v.u32(228, "v4_word1", m.v4_words[1]);
    v.u8(232, "icmpv6_type", m.icmpv6_type);
    v.u8(233, "icmpv6_code", m.icmpv6_code);
    v.u8(234, "icmpv4_type", m.icmpv4_type);
    v.u8(235, "icmpv4_code", m.icmpv4_code);
  }
}

// Version 1 member at base b; the next one stands at b + 48 + L.
template <class V, class M>
void member_v1(V& v, M& m, size_t b) {
  v.u16(b + 0, "length", m.length);
  v.u16(b + 4, "out_port_id", m.out_port_id);
  v.u32(b + 8, "out_vlan_id", m.out_vlan_id);
  v.u8(b + 19, "out_tagged", m.out_tagged);  // low byte of the word at 16
  v.u8(b + 20, "vlan_upbits", m.vlan_upbits);
  v.mac(b + 24, "set_src_mac", m.set_src_mac);
  v.mac(b + 32, "set_dst_mac", m.set_dst_mac);
  v.u8(b + 40, "nw_tos", m.nw_tos);
  v.u8(b + 41, "spare_byte", m.spare_byte);
  v.u32(b + 44, "spare_word", m.spare_word);
  v.flag_v1(b + 48, "member_flag", m.action_bits);  // top bit of the word at 48
  v.u16(b + 50, "spare_half", m.spare_half);
}

// Version 4 member at base b; the next one stands at b + 76 + L.
template <class V, class M>
void member_v4(V& v, M& m, size_t b) {
  v.u16(b + 0, "length", m.length);
  v.u16(b + 4, "out_port_id", m.out_port_id);
  v.u32(b + 8, "out_vlan_id", m.out_vlan_id);
  v.u8(b + 16, "vlan_upbits", m.vlan_upbits);
  v.u8(b + 17, "out_tagged", m.out_tagged);
  v.mac(b + 20, "set_src_mac", m.set_src_mac);
  v.mac(b + 28, "set_dst_mac", m.set_dst_mac);
  v.u8(b + 36, "nw_tos", m.nw_tos);
  v.u8(b + 37, "spare_byte", m.spare_byte);
  v.u32(b + 40, "spare_word", m.spare_word);
  v.u32(b + 44, "group_id", m.group_id);
  v.u32(b + 48, "group_word0", m.group_words[0]);
  v.u32(b + 52, "group_word1", m.group_words[1]);
  v.u32(b + 56, "group_word2", m.group_words[2]);
  v.hi16(b + 60, "action_bits", m.action_bits);  // upper half of the word at 60
  v.u8(b + 62, "set_ttl", m.set_ttl);
  v.u8(b + 63, "queue_id", m.queue_id);
  v.u16(b + 66, "push_vlan_type", m.push_vlan_type);
  v.u16(b + 68, "spare_half", m.spare_half);
  v.u32(b + 72, "inner_vlan_id", m.inner_vlan_id);
  v.u8(b + 76, "inner_spare", m.inner_spare);
  v.u8(b + 77, "inner_upbits", m.inner_upbits);
  v.u16(b + 78, "push_inner_vlan_type", m.push_inner_vlan_type);
}

template <class V, class M>
void group_head(V& v, M& m) {
  v.u32(0, "sub_type", m.sub_type);
  v.u32(8, "group_id", m.group_id);
  v.u32(12, "bucket_count", m.bucket_count);
  v.u32(16, "mgid", m.mgid);
  v.u32(20, "nhopid", m.nhopid);
  v.u32(24, "type", m.type);
  v.u32(28, "all_type", m.all_type);
}
inline constexpr size_t kBucketBase = 32;

template <class V, class M>
void bucket(V& v, M& m, size_t b) {
  v.u16(b + 0, "port_id", m.port_id);
  v.u32(b + 4, "vlan_id", m.vlan_id);
  v.mac(b + 8, "mac", m.mac);  // first four bytes in the word at 8, last two atop the word at 12
}

template <class V, class M>
void meter(V& v, M& m) {
  v.u32(0, "sub_type", m.sub_type);
  v.u32(8, "meter_id", m.meter_id);
  v.u32(12, "flags", m.flags);
  v.u32(16, "drop_rate", m.drop_rate);
  v.u32(20, "drop_burst", m.drop_burst);
  v.u32(24, "dscp_rate", m.dscp_rate);
  v.u32(28, "dscp_burst", m.dscp_burst);
  v.u32(32, "dscp_prec_level", m.dscp_prec_level);
  v.u32(36, "band_cnt", m.band_cnt);
}

// The VLAN family carries its sub-type in the second word.
template <class V, class M>
void vlan(V& v, M& m) {
  v.u32(4, "sub_type", m.sub_type);
  v.u32(8, "iivid", m.iivid);
  v.u32(12, "vlan_id", m.vlan_id);
}

template <class V, class M>
void port_vlan(V& v, M& m) {
  v.u32(4, "sub_type", m.sub_type);
  v.u32(8, "port_id", m.port_id);
  v.u32(12, "vlan_id", m.vlan_id);
}

template <class V, class M>
void evt(V& v, M& m) {
  v.u32(4, "sub_type", m.sub_type);
  v.u32(16, "type", m.type);
  v.u32(20, "in_vlan", m.in_vlan);
  v.u32(24, "iivid", m.iivid);
  v.u32(28, "tag_action", m.tag_action);
  v.u32(32, "is_out_vlan_tag", m.is_out_vlan_tag);
  v.u32(36, "out_vlan", m.out_vlan);
  v.u32(40, "out_port", m.out_port);
}

// ---- agent to manager -------------------------------------------------------------------

template <class V, class M>
void status(V& v, M& m) {
  v.u32(0, "reserved0", m.reserved0);
  v.u32(4, "flow_id", m.flow_id);
  v.bits(8, "controller_word", m.controller_word);
  v.u32(12, "xid", m.xid);
  v.u32(16, "status", m.status);
  v.u32(20, "reserved1", m.reserved1);
  v.u32(24, "sub_type", m.sub_type);
  v.u64(28, "start_ms", m.start_ms);
  v.u64(36, "end_ms", m.end_ms);
  v.text(44, kStatusTextSize, "text", m.text);
}

// Registration: the body is an inner header (type 11, length 4) and the slot.
template <class V, class M>
void register_msg(V& v, M& m) {
  v.u32(4, "slot", m.slot);
}
inline constexpr uint32_t kRegisterInnerHeader = make_header(kMsgRegister, 4);

template <class V, class M>
void flow_stats(V& v, M& m) {
  v.u16(0, "version", m.version_half);
  v.u32(4, "flow_id", m.flow_id);
  v.u64(12, "packets", m.packets);
  v.u64(20, "bytes", m.bytes);
}

template <class V, class M>
void queue_stats_head(V& v, M& m) {
  v.u16(0, "version", m.version_half);
  v.u16(4, "port_id", m.port_id);
}
inline constexpr size_t kQueueRecordBase = 12;

template <class V, class M>
void queue_record(V& v, M& m, size_t b) {
  v.u32(b + 4, "queue", m.queue);
  v.u64(b + 8, "bytes", m.bytes);
  v.u64(b + 16, "packets", m.packets);
}

inline constexpr size_t kMeterRecordBase = 4;  // after the count word

template <class V, class M>
void meter_record(V& v, M& m, size_t b) {
  v.u32(b + 0, "meter_id", m.meter_id);
  v.u64(b + 8, "in_packets", m.in_packets);
  v.u64(b + 16, "in_bytes", m.in_bytes);
  v.u64(b + 24, "reserved", m.reserved);
  v.u64(b + 32, "drop_packets", m.drop_packets);
  v.u64(b + 40, "drop_bytes", m.drop_bytes);
  v.u64(b + 48, "remark_packets", m.remark_packets);
  v.u64(b + 56, "remark_bytes", m.remark_bytes);
}

}  // namespace ofa::mgr::layout
