// `ard` VLAN handlers: slots 11 to 13 of the operation table. Every request goes to all chips in
// table order (highest flat id first); a chip that fails stops the dispatch there.
//
// Add: partition id on rte 0 then rte 1 (VLAN -> IIVID), then for every port of the interface
// table a one-pair translation (IIVID, VLAN) tagged, in bulks of up to 25, then vid-to-mgid
// (IIVID -> the VLAN's mgid). Remove: the same three steps, classifying the VLAN to the default
// IIVID, the translations untagged and the IIVID pointing at the default mgid. Each step only
// after the one before succeeded; nothing sent is taken back.
//
// Flood group: one mgid add (not update) of the VLAN's mgid with one member, the VLAN's IIVID and
// every port of its port tree in the tree's walk from its root: (n + 14) * 4 bytes for n ports.
// A tree too large for the request buffer is sent with the ports that fit (ARD_FLOOD_MAX_PORTS).
#pragma once

#include <cstdint>

#include "chip/chip_req.h"
#include "chip/hsl_transport.h"

struct of_vlan_entry;

int ard_of_iivid_add_cfg_ioctl(of_vlan_entry* vlan);
int ard_of_iivid_rem_cfg_ioctl(of_vlan_entry* vlan, uint32_t spare);
int ard_of_vlan_flood_mgid_upd_ioctl(of_vlan_entry* vlan);

inline constexpr uint32_t ARD_EVT_BULK_MAX = 25;
inline constexpr uint32_t ARD_FLOOD_MAX_PORTS = (OF_NL_MAX_REQUEST - 56) / 4;
