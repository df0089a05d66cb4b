// `ard` group handlers: slots 29 to 38 of the operation table. Every request goes to all chips in
// table order (highest flat id first); a chip that fails stops the dispatch there and nothing sent
// is taken back.
//
// L2 multicast group: one 312-byte mgid add or update with one member, the IIVID of the first
// bucket's VLAN (0 when unknown) and the interface index of each bucket's known port, at most 64
// (more are left out with a trace). L3 multicast group: one member of one port per bucket, 36 +
// 24 per bucket, 0xFFFFFFFF in the first member only. Both refuse an empty bucket list with -128.
//
// Next hops: single path (kind 1) from the first bucket, multi path (kind 2, always 196 bytes) of
// at most 8 paths, each bucket giving `weight` paths. A path's egress IIVID is its VLAN's, the out
// port's pvid for VLAN 4096, else 0 (single path) or the path before's (multi path); its MAC is
// the bucket's and its interface index 0: the exact-match entry of (IIVID, MAC) gives the port.
//
// L2 exact-match entries (slots 14, 15): a 76-byte add with the port's interface index (0 for an
// unknown port) and a 48-byte delete, to all chips.
#pragma once

#include <cstdint>

struct group_node;

int ard_of_group_l2_mgid_add(uint32_t mgid, uint32_t nhopid, group_node* group);
int ard_of_group_l2_mgid_upd(uint32_t mgid, uint32_t nhopid, group_node* group);
int ard_of_group_l3_mgid_add(uint32_t mgid, uint32_t nhopid, group_node* group);
int ard_of_group_l3_mgid_upd(uint32_t mgid, uint32_t nhopid, group_node* group);
int ard_of_group_mgid_del(uint32_t mgid, uint32_t nhopid);
int ard_of_group_mp_nhop_add(uint32_t nhopid, group_node* group);
int ard_of_group_sp_nhop_add(uint32_t nhopid, group_node* group);
int ard_of_group_nhop_del(uint32_t nhopid, uint32_t nhopid_again);

int ard_of_l2fwd_add(uint32_t zero, uint32_t iivid, const uint8_t* mac, uint32_t port);
int ard_of_l2fwd_del(uint32_t zero, uint32_t iivid, const uint8_t* mac);

inline constexpr uint32_t ARD_L2_MGID_MAX_PORTS = 64;
