#include "model/family.h"

namespace ofa::chipsim {

Family family_of_model(uint32_t model) {
  switch (model) {
    case 131:
    case 137:
    case 138:
    case 151:
    case 155:
      return Family::ard;
    case 153:
    case 154:
    case 164:
      return Family::ard2;
    default:
      return model >= 1004 && model <= 1011 ? Family::zim : Family::none;
  }
}

std::string_view family_name(Family f) {
  switch (f) {
    case Family::zim:
      return "zim";
    case Family::ard:
      return "ard";
    case Family::ard2:
      return "ard2";
    case Family::none:
      break;
  }
  return "none";
}

std::optional<Family> family_from_name(std::string_view name) {
  for (Family f : {Family::none, Family::zim, Family::ard, Family::ard2})
    if (family_name(f) == name) return f;
  return std::nullopt;
}

const FamilyRules& family_rules(Family f) {
  static constexpr FamilyRules kArd{.iivid_bits = 13,
                                    .port_vlan_wide_len = 1108,
                                    .port_vlan_one_len = 92,
                                    .port_vlan_short_len = 0,
                                    .port_vlan_batch_len = 2084,
                                    .second_vlan_array = false,
                                    .policer_instances = 2,
                                    .bulk_flag_allowed = false,
                                    .short_nhop_delete = false,
                                    .all_mgid_members_marked = false,
                                    .nhop_marker_multi = 0,
                                    .nhop_marker_other = 0,
                                    .fixed_mcast_target = 0};
  static constexpr FamilyRules kArd2{.iivid_bits = 14,
                                     .port_vlan_wide_len = 2132,
                                     .port_vlan_one_len = 92,
                                     .port_vlan_short_len = 0,
                                     .port_vlan_batch_len = 2084,
                                     .second_vlan_array = false,
                                     .policer_instances = 4,
                                     .bulk_flag_allowed = true,
                                     .short_nhop_delete = false,
                                     .all_mgid_members_marked = false,
                                     .nhop_marker_multi = 0,
                                     .nhop_marker_other = 0,
                                     .fixed_mcast_target = 0};
  static constexpr FamilyRules kZim{.iivid_bits = 13,
                                    .port_vlan_wide_len = 1108,
                                    .port_vlan_one_len = 96,
                                    .port_vlan_short_len = 92,
                                    .port_vlan_batch_len = 3084,
                                    .second_vlan_array = true,
                                    .policer_instances = 2,
                                    .bulk_flag_allowed = false,
                                    .short_nhop_delete = true,
                                    .all_mgid_members_marked = true,
                                    .nhop_marker_multi = 8,
                                    .nhop_marker_other = 1,
                                    .fixed_mcast_target = 0x8BC00000u};
  // No family: nothing is accepted (the dispatcher refuses every command first).
  static constexpr FamilyRules kNone{};
  switch (f) {
    case Family::ard:
      return kArd;
    case Family::ard2:
      return kArd2;
    case Family::zim:
      return kZim;
    case Family::none:
      break;
  }
  return kNone;
}

}  // namespace ofa::chipsim
