// `ard` regions and default entries: slots 1 to 4 of the operation table.
//
// Regions (ldev, region, size, initial size, increment), S2/S3 the chip's flow-region sizes:
//   10/10 24 2 4 | 10/20 S2 S2/16 16 | 10/30 24 1 4 | 23/10 24 0 4 | 23/20 S3 S3/16 16 |
//   23/30 24 1 4
// Default entries: L2 handle 1 in 30 (VPN 0xFFE01), L2 handles 1 and 2 in 10 (reserved IIVIDs
// 8188/0x1FFC and 8187/0x1FFF), L3 handle 1 in 30 (VPN 0xFFE02).
#pragma once

#include <cstdint>

struct of_chip_entry;

int ard_add_regions(of_chip_entry* chip);
int ard_del_regions(of_chip_entry* chip);
int ard_add_def_entries(of_chip_entry* chip, uint8_t default_action);
int ard_upd_def_entries(of_chip_entry* chip, uint8_t default_action);

inline constexpr uint32_t ARD_DFLT_L2_VPN = 0xFFE01;
inline constexpr uint32_t ARD_DFLT_L3_VPN = 0xFFE02;
inline constexpr uint16_t ARD_RSVD_IVID1 = 8188;
inline constexpr uint32_t ARD_RSVD_IVID1_MASK = 0x1FFC;
inline constexpr uint16_t ARD_RSVD_IVID2 = 8187;
inline constexpr uint32_t ARD_RSVD_IVID2_MASK = 0x1FFF;
