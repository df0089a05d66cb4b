// Chip families and what differs between them on the wire.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace ofa::chipsim {

enum class Family { none, zim, ard, ard2 };

// The family of a switch model: 131, 137, 138, 151, 155 ard; 153, 154, 164 ard2; 1004 to 1011
// zim; anything else none.
Family family_of_model(uint32_t model);
std::string_view family_name(Family f);
std::optional<Family> family_from_name(std::string_view name);

// Per-family wire facts the decoder checks.
struct FamilyRules {
  uint32_t iivid_bits;           // width of an internal VLAN id
  uint32_t port_vlan_wide_len;   // port VLAN configuration, port-wide form
  uint32_t port_vlan_one_len;    // translation form with one pair
  uint32_t port_vlan_batch_len;  // translation form, batch of up to 250 pairs
  bool second_vlan_array;        // translation forms carry the VLAN ids twice
  uint32_t policer_instances;    // instance indexes accepted by policer add and delete
  bool bulk_flag_allowed;        // bit 31 of a bulk container's word at 28
  bool short_nhop_delete;        // the 36-byte next hop delete with the id at 36
  bool all_mgid_members_marked;  // every mgid member starts with 0xFFFFFFFF
  uint8_t nhop_marker_multi;     // low 7 bits of byte 35 of a multi-path next hop
  uint8_t nhop_marker_other;     // the same for the other kinds
  uint32_t fixed_mcast_target;   // interface index that takes the mgid requests, 0 for none
};

const FamilyRules& family_rules(Family f);

}  // namespace ofa::chipsim
