// `ard` egress VLAN translation, slot 40 of the operation table: every request to every chip.
//
// One IIVID: one 92-byte translation on the port, (IIVID, egress VLAN) with the tagged flag; the
// remove flag plays no part. IIVID -1 (all) only goes back to the defaults: without the remove
// flag nothing is sent and the answer is 0; with it, two passes in bulks of up to 25 on the port:
// every port's pvid untagged with the egress VLAN, then every VLAN (the pseudo-VLAN too) tagged
// with its own id. The first refusal ends it; nothing sent is taken back.
#pragma once

#include <cstdint>

struct of_if_entry;

int ard_of_egr_vlan_trans_upd(int32_t iivid, of_if_entry* port, uint32_t tagged, uint32_t egr_vlan,
                              uint32_t remove);
