// Every message between the manager and the agent as a plain structure with named fields.
// Defaults are the wire's "none" values, so a structure left alone encodes a neutral message.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "msg_types.h"

namespace ofa::mgr {

using Mac = std::array<uint8_t, 6>;

// Bit set over port ids 0 to 288: port n is bit (n % 289) % 32 of word (n / 289) * 5 +
// (n % 289) / 32, words big-endian on the wire.
struct PortMask {
  std::array<uint32_t, kPortMaskWords> words{};

  static size_t word_of(uint32_t port) { return (port / 289) * 5 + (port % 289) / 32; }
  static uint32_t bit_of(uint32_t port) { return 1u << ((port % 289) % 32); }
  void set(uint32_t port) { words[word_of(port)] |= bit_of(port); }
  bool test(uint32_t port) const { return (words[word_of(port)] & bit_of(port)) != 0; }
  std::vector<uint32_t> ports() const;  // members 0 to 288, ascending
  bool operator==(const PortMask&) const = default;
};

// ---- manager to agent -------------------------------------------------------------------

// Type 0: configuration with a sub-command (6, 7, 8, 10, 11, 13, 16, 33, 34, ...).
struct ConfigMsg {
  uint32_t sub_cmd = kSubConfigOf;
  uint8_t add = 0;     // 1 enable, 2 ignored, other values disable
  uint32_t value = 0;  // CONFIG_DEFAULT_MODE: 1 to the controller, 0 drop
  PortMask ports;      // sub-commands 33 and 34 carry port_id here instead
  uint16_t port_id = 0;
  PortMask l3_ports;
  PortMask super_acl_ports;
  uint32_t flags = 0;  // bit 30: the request carries a port VLAN mask
  PortMask hybrid_ports;
  uint16_t pvid = 0;
  std::string if_name;  // at most 32 bytes on the wire
  uint32_t if_index = 0;
  Mac port_address{};
  uint32_t def_nhop_id = 0;
  bool operator==(const ConfigMsg&) const = default;
};
inline constexpr uint32_t kConfigFlagPortVlan = 1u << 30;
constexpr bool config_carries_port_id(uint32_t sub_cmd) {
  return sub_cmd == kSubPortOffline || sub_cmd == kSubPortOnline;
}

// Type 1: end of a download. The body is zero-filled.
struct SyncCompleteMsg {
  uint32_t body_length = kSyncCompleteMinBody;
  bool operator==(const SyncCompleteMsg&) const = default;
};

// One action member of a flow message (stride 48 + L in version 1, 76 + L in version 4).
struct FlowMember {
  uint16_t length = kMemberMinLength;  // L, low 10 bits of the first half-word
  uint16_t out_port_id = kPortNone;
  uint32_t out_vlan_id = kVlanNone;
  uint8_t out_tagged = 0;  // version 1: 1 tagged, 2 VLAN stripped
  uint8_t vlan_upbits = kUpbitsNone;
  Mac set_src_mac{};
  Mac set_dst_mac{};
  uint8_t nw_tos = kTosNone;
  uint8_t spare_byte = 0;
  uint32_t spare_word = 0;
  // Version 4 only, except kActMemberFlag which version 1 carries as the top bit at 48.
  int32_t group_id = kGroupNone;
  std::array<uint32_t, 3> group_words{};
  uint32_t action_bits = 0;  // ActionBit values (upper half of the word at 60)
  uint8_t set_ttl = kByteNone;
  uint8_t queue_id = kByteNone;
  uint16_t push_vlan_type = 0;
  uint16_t spare_half = 0;
  uint32_t inner_vlan_id = kVlanNone;
  uint8_t inner_spare = 0;
  uint8_t inner_upbits = kUpbitsNone;
  uint16_t push_inner_vlan_type = 0;
  bool operator==(const FlowMember&) const = default;
};

// Type 7: flow operation of any sub-type. Offsets from the body start are in layout.h.
struct FlowMsg {
  uint16_t sub_type = kSubAddFlow;
  uint8_t version = 4;  // 1 or 4; others are sent as given
  uint32_t more_fragments = 0;
  uint32_t flow_id = 0;
  uint32_t controller_word = 0;  // first byte is the cid
  uint32_t xid = 0;
  uint32_t instance_word = 0;
  uint16_t fd_id = 0;
  uint16_t in_port_id = kPortNone;
  uint32_t in_vlan_id = 0;
  uint32_t in_tagged = 0;
  Mac src_mac{}, dst_mac{}, src_mac_mask{}, dst_mac_mask{};
  uint16_t ether_type = 0;
  uint32_t src_ip = 0, src_ip_mask = 0, dest_ip = 0, dest_ip_mask = 0;
  uint8_t ip_protocol = 0;
  uint16_t ip_tos = 0;
  uint16_t src_port = 0, dst_port = 0;
  uint16_t fid = kFidNone;
  uint16_t mvid = kMvidNone;
  uint8_t pw_id = 0;
  uint8_t forward_action = 1;  // 0 drop
  uint8_t send_to_ctrl = 0;
  uint32_t wildcards = kWcAll;
  uint32_t priority = 0;
  uint8_t vlan_upbit = 0;
  uint32_t keep_counters = 0;
  uint32_t action_param = 0;
  uint16_t member_count = 0;  // encode() writes members.size() unless member_count_override
  bool member_count_override = false;
  uint8_t rule_kind = 0;  // bit 0 L2 rule, bit 1 L3 rule
  uint32_t action_key = 0;
  uint32_t meter_id = 0;
  uint32_t stats_flag = 0;
  uint8_t mp_id = 0;
  std::array<uint8_t, 64> v4_fields{};  // version 4 block at 160, carried untouched
  std::array<uint32_t, 2> v4_words{};   // at 224 and 228
  uint8_t icmpv6_type = 0, icmpv6_code = 0, icmpv4_type = 0, icmpv4_code = 0;
  std::vector<FlowMember> members;
  uint32_t min_body = kFlowMinBody;  // zero padding up to this body length
  bool operator==(const FlowMsg&) const = default;
};
constexpr uint8_t controller_id(uint32_t controller_word) {
  return static_cast<uint8_t>(controller_word >> 24);
}

struct GroupBucket {
  uint16_t port_id = kPortNone;
  uint32_t vlan_id = kVlanNone;  // 4096: the out port's pvid applies
  Mac mac{};
  bool operator==(const GroupBucket&) const = default;
};

// Type 9: group add (19), modify (20), delete (21). The body of 1056 bytes has room for 64 buckets;
// more make it longer, 16 bytes a bucket.
struct GroupMsg {
  uint16_t sub_type = kSubAddGroup;
  uint32_t group_id = 0;  // 0xffffffff in a delete: all groups
  uint32_t bucket_count = 0;
  bool bucket_count_override = false;  // else buckets.size()
  uint32_t mgid = 0;
  uint32_t nhopid = 0;
  uint32_t type = kGroupAll;
  uint32_t all_type = 0;  // ALL: 0 an L2 group, nonzero an L3 group
  std::vector<GroupBucket> buckets;
  bool operator==(const GroupMsg&) const = default;
};

// Type 2: meter add (22), modify (23), delete (24), clear statistics (25).
struct MeterMsg {
  uint16_t sub_type = kSubAddMeter;
  uint32_t meter_id = 0;  // 0xffffffff in a delete or clear: all meters
  uint32_t flags = 0;     // MeterFlag bits
  uint32_t drop_rate = 0, drop_burst = 0;
  uint32_t dscp_rate = 0, dscp_burst = 0, dscp_prec_level = 0;
  uint32_t band_cnt = 0;
  bool operator==(const MeterMsg&) const = default;
};

// Type 10: VLAN add (28) or delete (29). The sub-type stands in the second word.
struct VlanMsg {
  uint16_t sub_type = kSubAddVlan;
  uint32_t iivid = 0;
  uint32_t vlan_id = 0;
  bool operator==(const VlanMsg&) const = default;
};

// Type 8: port VLAN add (26) or delete (27). The sub-type stands in the second word.
struct PortVlanMsg {
  uint16_t sub_type = kSubAddPortVlan;
  uint32_t port_id = 0;
  uint32_t vlan_id = 0;
  bool operator==(const PortVlanMsg&) const = default;
};

// Type 12: egress VLAN translation add (30) or delete (31). Sub-type in the second word.
struct EvtMsg {
  uint16_t sub_type = kSubAddEvt;
  uint32_t type = 0;  // 0 the IIVID is a port's own, 1 a VLAN's
  uint32_t in_vlan = 0;
  uint32_t iivid = 0;  // 0xffffffff: all IIVIDs
  uint32_t tag_action = 0;
  uint32_t is_out_vlan_tag = 0;  // the agent overwrites it
  uint32_t out_vlan = 0;
  uint32_t out_port = 0;
  bool operator==(const EvtMsg&) const = default;
};

// ---- agent to manager -------------------------------------------------------------------

// Type 3: status of a flow operation, 128 bytes with the header.
struct StatusMsg {
  uint32_t flow_id = 0;
  uint32_t controller_word = 0;
  uint32_t xid = 0;
  uint32_t status = 0;  // 1 success, 0 failure
  uint32_t sub_type = 0;
  uint64_t start_ms = 0;
  uint64_t end_ms = 0;
  std::string text;  // at most 79 characters
  uint32_t reserved0 = 0, reserved1 = 0;
  bool operator==(const StatusMsg&) const = default;
};

// Type 11: the agent's registration: a header (type 11, length 4) and the slot inside.
struct RegisterMsg {
  uint32_t slot = 0;
  bool operator==(const RegisterMsg&) const = default;
};

// Type 5: counters of one flow.
struct FlowStatsMsg {
  uint16_t version_half = 1;
  uint32_t flow_id = 0;
  uint64_t packets = 0;
  uint64_t bytes = 0;
  bool operator==(const FlowStatsMsg&) const = default;
};

struct QueueRecord {
  uint32_t queue = 0;
  uint64_t bytes = 0;
  uint64_t packets = 0;
  bool operator==(const QueueRecord&) const = default;
};

// Type 6: counters of the eight queues of one port.
struct QueueStatsMsg {
  uint16_t version_half = 1;
  uint16_t port_id = 0;
  std::array<QueueRecord, kQueueCount> queues{};
  bool operator==(const QueueStatsMsg&) const = default;
};

struct MeterRecord {
  uint32_t meter_id = 0;
  uint64_t in_packets = 0, in_bytes = 0, reserved = 0;
  uint64_t drop_packets = 0, drop_bytes = 0;
  uint64_t remark_packets = 0, remark_bytes = 0;
  bool operator==(const MeterRecord&) const = default;
};

// Type 4: counters of up to 27 meters; always sent with room for 27.
struct MeterStatsMsg {
  std::vector<MeterRecord> records;
  bool operator==(const MeterStatsMsg&) const = default;
};

using Message =
    std::variant<ConfigMsg, SyncCompleteMsg, FlowMsg, GroupMsg, MeterMsg, VlanMsg, PortVlanMsg,
                 EvtMsg, StatusMsg, RegisterMsg, FlowStatsMsg, QueueStatsMsg, MeterStatsMsg>;

// Transport type of a message structure.
uint32_t message_type(const Message& m);

}  // namespace ofa::mgr
