// Where a flow's hardware side is stored and found. The agent always stores it in the flow table
// (the port-list store of the design is never selected), so the port id decides only whether a
// search is made at all.
#pragma once

#include <cstdint>

struct port_hw_data;

// 1 when the flow table gave a node. A record whose (priority, flow id) is already stored is not
// kept: it is freed here, since nothing else refers to it.
int openflow_add_flow_to_list(uint16_t port_id, port_hw_data* hw, int cam_change_req,
                              uint8_t* change);
// The stored record of (flow id, priority), or null; a real port must have an interface entry.
port_hw_data* openflow_search_flow_in_list(uint16_t port_id, uint32_t flow_id, uint32_t priority);
// No port list holds a record: only the generic count is updated, and null comes back.
void* openflow_delete_flow_in_list(uint16_t port_id, uint32_t flow_id);
port_hw_data* of_dpx_search_flow_in_flow_tree(uint16_t port_id, uint32_t flow_id,
                                              uint32_t priority);
void lp_openflow_update_generic_flow_count(uint32_t flow_id, int add);
int is_openflow_generic_present_in_lp(uint32_t flow_id);
