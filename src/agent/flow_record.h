// The flow record and what hangs from it, shared by the flow engine, the flow programming on the
// chips and the backends: `fd_entry` (one per flow id), its action members `of_flow_member`, the
// hardware side `port_hw_data` with the handle of each chip (`of_flow_hw_ref`), and the parsed
// actions `of_flow_actions` that a backend turns into a TCAM result.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

// ---- values with a fixed meaning ---------------------------------------------------------------
inline constexpr uint16_t OF_PORT_NONE = 65535;        // no port; a port-less (generic) record
inline constexpr uint16_t OF_PORT_CONTROLLER = 65533;  // "OPENFLOW_RESERVED_PORT_STC"
inline constexpr uint16_t OF_PORT_ALL = 65532;         // "OFPP_ALL"
inline constexpr uint16_t OF_PORT_FLOOD = 65531;       // "OFPP_FLOOD"
inline constexpr uint16_t OF_PORT_NORMAL = 65530;      // "NORMAL"
inline constexpr uint16_t OF_MAX_PORT = 288;           // port walks run 0 to 288 inclusive
inline constexpr uint16_t OF_ETHER_TYPE_NOOP = 65535;  // an add with this ether type stores nothing
inline constexpr uint16_t OF_ETHER_TYPE_IPV6 = 0x86DD;
inline constexpr uint16_t OF_MVID_NONE = 2048;
inline constexpr uint16_t OF_FID_NONE = 65535;
inline constexpr uint16_t OF_FID_DROP = 1774;  // "drop_action" in the chain-less traces
inline constexpr int32_t OF_GROUP_NONE = -255;
inline constexpr uint32_t OF_OUT_VLAN_NONE = 4096;
inline constexpr uint8_t OF_UPBITS_NONE = 15;
inline constexpr uint8_t OF_TOS_NONE = 192;
inline constexpr uint8_t OF_TTL_NONE = 255;
inline constexpr uint8_t OF_QUEUE_NONE = 255;

inline constexpr uint8_t OFV_100 = 1;  // flow message versions
inline constexpr uint8_t OFV_130 = 4;

// Wildcard bits: a set bit leaves the field out of the match.
inline constexpr uint32_t OF_WC_IN_PORT = 0x00000001;  // the flow is generic (port-less)
inline constexpr uint32_t OF_WC_ETHER_TYPE = 0x00000010;
inline constexpr uint32_t OF_WC_TP_SRC = 0x00000040;
inline constexpr uint32_t OF_WC_TP_DST = 0x00000080;
inline constexpr uint32_t OF_WC_ICMPV4_TYPE = 0x00000200;
inline constexpr uint32_t OF_WC_ICMPV4_CODE = 0x00000400;
inline constexpr uint32_t OF_WC_IN_VLAN = 0x00002000;

// Action bits of a member (the top nibble of the word).
inline constexpr uint32_t OF_ACT_POP_VLAN = 0x80000000;
inline constexpr uint32_t OF_ACT_PUSH_VLAN = 0x40000000;
inline constexpr uint32_t OF_ACT_SET_VLAN = 0x20000000;
inline constexpr uint32_t OF_ACT_DEC_TTL = 0x10000000;

// ---- one action of a flow ----------------------------------------------------------------------
struct of_flow_member {
  uint16_t out_port_id = OF_PORT_NONE;
  uint32_t out_vlan_id = 0;
  uint8_t out_tagged = 0;
  uint8_t vlan_upbits = 0;
  uint8_t spare_byte = 0;
  uint32_t spare_word = 0;
  std::array<uint8_t, 6> set_src_mac{};  // all zero: none
  std::array<uint8_t, 6> set_dst_mac{};
  uint8_t nw_tos = 0;
  int32_t group_id = OF_GROUP_NONE;
  std::array<uint32_t, 3> group_words{};
  uint32_t action_bits = 0;  // OF_ACT_*
  uint8_t set_ttl = 0;
  uint8_t queue_id = 0;
  uint16_t push_vlan_type = 0;
  uint16_t inner_flags = 0;  // 0x8000 pop inner, 0x4000 push inner, 0x2000 set inner, 0x1000
  uint32_t inner_vlan_id = 0;
  uint8_t inner_spare = 0;
  uint8_t inner_upbits = 0;
  uint16_t push_inner_type = 0;
  uint16_t spare_half = 0;
  of_flow_member* next = nullptr;
  // On the first member of a list: how many records and chains hold the list.
  uint32_t list_holders = 0;
};

// ---- the flow record ---------------------------------------------------------------------------
struct fd_entry {
  uint32_t version = 0;
  uint32_t instance_word = 0;
  uint32_t fd_id = 0;
  uint32_t flow_id = 0;
  uint32_t cid = 0;  // the controller word; the controller id is its first byte
  uint32_t xid = 0;
  uint32_t action_key = 0;
  uint8_t forward_action = 0;
  uint32_t priority = 0;
  uint16_t in_port_id = 0;
  uint32_t in_vlan_id = 0;
  uint8_t in_tagged = 0;
  std::array<uint8_t, 6> src_mac{};
  std::array<uint8_t, 6> dst_mac{};
  std::array<uint8_t, 6> src_mac_mask{};
  std::array<uint8_t, 6> dst_mac_mask{};
  uint16_t ether_type = 0;
  uint32_t src_ip = 0;
  uint32_t src_ip_mask = 0;
  uint32_t dest_ip = 0;
  uint32_t dest_ip_mask = 0;
  uint8_t ip_protocol = 0;
  uint16_t ip_tos = 0;
  uint16_t src_port = 0;
  uint16_t dst_port = 0;
  std::array<uint8_t, 72> v4_block{};  // copied for version 4, read by nothing
  uint8_t icmpv6_type = 0;
  uint8_t icmpv6_code = 0;
  uint8_t icmpv4_type = 0;
  uint8_t icmpv4_code = 0;
  uint16_t fid = OF_FID_NONE;
  uint16_t mvid = OF_MVID_NONE;
  uint8_t pw_id = 0;
  uint8_t vlan_upbit = 0;
  uint16_t member_count = 0;
  uint32_t wildcards = 0;
  uint32_t is_generic = 0;
  uint32_t send_to_ctrl = 0;
  uint32_t keep_counters = 0;
  uint32_t action_param = 0;
  uint8_t rule_kind = 0;  // bit 0 a valid L2 rule, bit 1 a valid L3 rule
  uint32_t chain_link = 0;
  std::array<uint32_t, 3> chain_words{};
  std::array<uint32_t, 3> older_words{};
  uint64_t packet_count = 0;
  uint64_t byte_count = 0;
  uint32_t meter_id = 0;
  uint32_t stats_flag = 0;
  uint32_t prefix_only = 0;  // 1: the members belong to the action chain
  uint32_t mod_pending = 0;
  uint32_t same_key_frag = 0;
  uint64_t created_ms = 0;
  uint32_t not_on_lp = 0;
  of_flow_member* members = nullptr;
  uint8_t mp_id = 0;
  uint32_t generic_port_count = 0;
};

// ---- hardware side -----------------------------------------------------------------------------
// The TCAM handle of a flow on each chip, by flat chip id (at most 96 chips). -1 means none. A
// fresh reference reads -1 for chips 0 to 2 and 0 for higher ids, which is what the add path
// leaves before it programs anything. The first four chips are held in place; a higher chip
// written to takes room on the heap for the chips up to it.
struct of_flow_hw_ref {
  static constexpr uint32_t kMaxChips = 96;
  static constexpr int32_t kNone = -1;
  static constexpr uint32_t kInPlace = 4;

  int32_t get(uint32_t chip) const {
    if (chip < kInPlace) return first[chip];
    chip -= kInPlace;
    return chip < more.size() ? more[chip] : 0;
  }
  void set(uint32_t chip, int32_t handle) {
    if (chip >= kMaxChips) return;
    if (chip < kInPlace) {
      first[chip] = handle;
      return;
    }
    chip -= kInPlace;
    if (more.size() <= chip) more.resize(chip + 1, 0);
    more[chip] = handle;
  }
  std::array<int32_t, kInPlace> first{kNone, kNone, kNone, 0};
  std::vector<int32_t> more;  // chips from kInPlace on
};

struct port_hw_data {
  uint32_t flow_id = 0;
  uint32_t priority = 0;
  uint16_t port_id = 0;  // the ingress port, or OF_PORT_NONE in a port-less record
  of_flow_hw_ref hw;
  uint64_t packet_count = 0;
  uint64_t byte_count = 0;
  uint32_t l23_entry = 0;
};

// ---- parsed actions ----------------------------------------------------------------------------
// What the adapter hands a backend: one member per kind, the last of a kind winning.
struct of_flow_actions {
  const of_flow_member* output = nullptr;
  const of_flow_member* push_vlan = nullptr;
  const of_flow_member* pop_vlan = nullptr;
  const of_flow_member* set_queue = nullptr;
  const of_flow_member* group = nullptr;
  const of_flow_member* set_vlan = nullptr;
};
