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
  uint32_t iivid_bits = 13;              // width of an internal VLAN id
  uint32_t port_vlan_wide_len = 0;       // port VLAN configuration, port-wide form
  uint32_t port_vlan_one_len = 0;        // translation form with one pair
  uint32_t port_vlan_short_len = 0;      // zim's egress form: one pair, no second VLAN; or 0
  uint32_t port_vlan_batch_len = 0;      // translation form, batch of up to 250 pairs
  bool second_vlan_array = false;        // translation forms carry the VLAN ids twice
  uint32_t policer_instances = 0;        // instance indexes accepted by policer add and delete
  bool bulk_flag_allowed = false;        // bit 31 of a bulk container's word at 28
  bool short_nhop_delete = false;        // the 36-byte next hop delete with the id at 36
  bool all_mgid_members_marked = false;  // every mgid member starts with 0xFFFFFFFF
  uint8_t nhop_marker_multi = 0;         // low 7 bits of byte 35 of a multi-path next hop
  uint8_t nhop_marker_other = 0;         // the same for the other kinds
  uint32_t fixed_mcast_target = 0;       // interface index that takes the mgid requests, 0 for none
};

const FamilyRules& family_rules(Family f);

}  // namespace ofa::chipsim
