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
#include <functional>
#include <span>

#include "chip/chip_req.h"
#include "chip/hsl_transport.h"

struct of_vlan_entry;

int ard_of_iivid_add_cfg_ioctl(of_vlan_entry* vlan);
int ard_of_iivid_rem_cfg_ioctl(of_vlan_entry* vlan, uint32_t spare);
int ard_of_vlan_flood_mgid_upd_ioctl(of_vlan_entry* vlan);

inline constexpr uint32_t ARD_EVT_BULK_MAX = 25;

// The request standing in the request area to every chip: 0, the first failure, or
// OFA_E_HSL_SEND for a request that could not be built (length 0), which is not sent.
int ard_dispatch_all(uint32_t len);

// One translation row on a port: (IIVID, VLAN), tagged or not.
struct ard_xlate_row {
  uint32_t ifindex = 0;
  uint32_t port_id = 0;  // for the logs
  of_vlan_pair pair;
  bool tagged = false;
};
// The rows in bulks of up to ARD_EVT_BULK_MAX translations, each bulk to every chip: `row_log`
// for each row put in, `sending` with the bulk's length, `sent` with its status. The first
// failure ends the walk and is returned; 0 when every bulk went (or there was none).
int ard_send_xlate_bulks(std::span<const ard_xlate_row> rows,
                         const std::function<void(const ard_xlate_row&)>& row_log,
                         const std::function<void(uint32_t)>& sending,
                         const std::function<void(int)>& sent);
inline constexpr uint32_t ARD_FLOOD_MAX_PORTS = (OF_NL_MAX_REQUEST - 56) / 4;
