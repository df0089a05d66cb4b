// The chip families and what differs between them as plain numbers. A family is found from the
// switch model; every per-family array has five entries indexed by it (index 0 holds nothing,
// index 4 the models the agent does not support).
#pragma once

#include <array>
#include <cstdint>

inline constexpr uint32_t OF_FAMILY_ZIM = 1;
inline constexpr uint32_t OF_FAMILY_ARD = 2;
inline constexpr uint32_t OF_FAMILY_ARD2 = 3;
inline constexpr uint32_t OF_FAMILY_NONE = 4;
inline constexpr uint32_t OF_FAMILY_COLUMNS = 5;

constexpr uint32_t of_family_index(uint32_t model) {
  switch (model) {
    case 131:
    case 137:
    case 138:
    case 151:
    case 155:
      return OF_FAMILY_ARD;
    case 153:
    case 154:
    case 164:
      return OF_FAMILY_ARD2;
    default:
      return (model >= 1004 && model <= 1011) ? OF_FAMILY_ZIM : OF_FAMILY_NONE;
  }
}

// The family of this switch, from the stored model (openflowAgtPcb.model), read afresh at each
// call.
uint32_t of_chip_family();

inline constexpr std::array<uint32_t, OF_FAMILY_COLUMNS> of_dflt_ivid_offset = {0, 4, 4, 0, 0};
inline constexpr std::array<uint32_t, OF_FAMILY_COLUMNS> of_l2psel_reg_dflt_size = {0, 8, 1, 144,
                                                                                    0};
inline constexpr std::array<uint32_t, OF_FAMILY_COLUMNS> of_ipv4psel_reg_dflt_size = {0, 8, 1, 144,
                                                                                      0};
inline constexpr std::array<uint32_t, OF_FAMILY_COLUMNS> of_l2psel_reg_top_size = {0, 2, 2, 1, 0};
inline constexpr std::array<uint32_t, OF_FAMILY_COLUMNS> of_ipv4psel_reg_top_size = {0, 2, 2, 1, 0};
inline constexpr std::array<uint32_t, OF_FAMILY_COLUMNS> of_l2psel_reg_dflt_max = {0, 96, 24, 145,
                                                                                   0};
inline constexpr std::array<uint32_t, OF_FAMILY_COLUMNS> of_ipv4psel_reg_dflt_max = {0, 96, 24, 145,
                                                                                     0};
