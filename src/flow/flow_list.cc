#include "flow/flow_list.h"

#include "agent/flow_record.h"
#include "agent/trace.h"
#include "chip/if_table.h"
#include "flow/flow_table.h"

int openflow_add_flow_to_list(uint16_t, port_hw_data* hw, int, uint8_t* change) {
  if (change) *change = 0;
  of_flow_node* node = of_process_flow_add(hw->priority, hw->flow_id, hw);
  if (node && node->hw != hw) delete hw;
  return node ? 1 : 0;
}

port_hw_data* of_dpx_search_flow_in_flow_tree(uint16_t, uint32_t flow_id, uint32_t priority) {
  of_flow_node* node = of_lookup_flow(priority, flow_id);
  return node ? node->hw : nullptr;
}

port_hw_data* openflow_search_flow_in_list(uint16_t port_id, uint32_t flow_id, uint32_t priority) {
  if (port_id != OF_PORT_NONE && !ofLookupIfEntrybyPortId(port_id)) return nullptr;
  return of_dpx_search_flow_in_flow_tree(port_id, flow_id, priority);
}

void* openflow_delete_flow_in_list(uint16_t, uint32_t flow_id) {
  lp_openflow_update_generic_flow_count(flow_id, 0);
  return nullptr;
}

void lp_openflow_update_generic_flow_count(uint32_t flow_id, int add) {
  fd_entry* flow = openflow_lookup_flow_by_id(flow_id);
  if (!flow) {
    ofa_debug_printf(
        "lp_openflow_update_generic_flow_count - Cannot find the flow entry for flow id :%d\n",
        flow_id);
    return;
  }
  if (!(flow->wildcards & OF_WC_IN_PORT)) return;
  if (add) {
    ++flow->generic_port_count;
  } else if (flow->generic_port_count > 0) {
    --flow->generic_port_count;
  }
}

int is_openflow_generic_present_in_lp(uint32_t flow_id) {
  fd_entry* flow = openflow_lookup_flow_by_id(flow_id);
  if (!flow) {
    ofa_debug_printf(
        "lp_openflow_update_generic_flow_count - Cannot find the flow entry for flow id :%d\n",
        flow_id);
    return 0;
  }
  return flow->generic_port_count != 0 ? 1 : 0;
}
