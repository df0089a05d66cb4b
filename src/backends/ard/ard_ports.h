// `ard` port handlers: slots 8 to 10 of the operation table. Every request goes to the port's
// chip alone.
//
// Enable: one bulk of 7, in this order: port-wide VLAN configuration (IIVID bit set, lrn,
// rx_fwd, tx_en, pvid), port VPN, port control (ppid, class bits), QoS init on, the port's own
// next hop (of_def_nhop_id, kind 16, one path: ifIndex and pvid), port L2 control, port
// configuration (port_address); then the port's VLAN translations, tagged.
// Disable: the first three as above, QoS init off, next hop delete, port L2 control (a bulk of
// 6); then the translations, untagged. The port's fields already hold what is to be sent.
// State: the port-wide VLAN configuration alone (how tx_en reaches the chip).
//
// Translations: batches of at most 250 (IIVID, VLAN id) pairs, as many as of_get_vlan_count
// says, each batch taken from the head of the VLAN table again; so with more than 250 VLANs the
// later batches repeat the head and the tail is never sent.
#pragma once

#include <cstdint>

struct of_if_entry;

int ard_of_port_enable(of_if_entry* port, uint32_t spare);
int ard_of_port_disable(of_if_entry* port);
int ard_of_port_state(of_if_entry* port, uint32_t spare);
int ard_of_port_setup_vlan_trans(of_if_entry* port, uint32_t tagged);
