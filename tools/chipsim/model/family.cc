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
  static constexpr FamilyRules kArd{13, 1108, 92, 2084, false, 2, false, false, false, 0, 0, 0};
  static constexpr FamilyRules kArd2{14, 2132, 92, 2084, false, 4, true, false, false, 0, 0, 0};
  static constexpr FamilyRules kZim{13,    1108, 96,   3084, true, 2,
                                    false, true, true, 8,    1,    0x8BC00000u};
  static constexpr FamilyRules kNone{13, 0, 0, 0, false, 0, false, false, false, 0, 0, 0};
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
