// A flow's programming on the chips: its actions reduced to one member per kind, the TCAM handle
// drawn and given back, and the family's flow slots called for the port's chip or, for a generic
// flow, for every chip in table order. Answers are 1 for success and 0 for failure.
//
// An add or a modify is chosen by the record's mod_pending. A flow with a port has one handle, on
// its port's chip; a generic flow has one handle on every chip. Handles live in the record's
// hardware reference by flat chip id.
#pragma once

#include <cstdint>

struct fd_entry;
struct of_flow_actions;
struct of_flow_hw_ref;
struct port_hw_data;

// 1, or 0 at a member of no known kind (the members before it are kept).
int of_dpx_parse_flow_actions(const fd_entry* flow, of_flow_actions* actions);
int of_dpx_l2_flow_acl(uint16_t port_id, fd_entry* flow, of_flow_hw_ref* hw);
int of_dpx_l3_flow_acl(uint16_t port_id, fd_entry* flow, of_flow_hw_ref* hw);
int of_dpx_l2_flow_acl_rem(uint16_t port_id, uint32_t flow_id, of_flow_hw_ref* hw);
int of_dpx_l3_flow_acl_rem(uint16_t port_id, uint32_t flow_id, of_flow_hw_ref* hw);
// Flows on ports of another LP: nothing goes to a chip.
int of_dpx_l2_flow_acl_remote_port(uint16_t port_id, fd_entry* flow, of_flow_hw_ref* hw);
int of_dpx_l3_flow_acl_remote_port(uint16_t port_id, fd_entry* flow, of_flow_hw_ref* hw);
// A generic flow into the L2 TCAM of every chip; the record's port id must be 65535.
int of_dpx_generic_flow_hw_add(fd_entry* flow, port_hw_data* hw);
