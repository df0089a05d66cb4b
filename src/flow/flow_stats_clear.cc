#include "flow/flow_stats_clear.h"

#include "adapter/chip_ops.h"
#include "agent/agent_globals.h"
#include "agent/flow_record.h"
#include "agent/trace.h"
#include "chip/chip_table.h"
#include "chip/if_table.h"
#include "flow/flow_list.h"
#include "flow/flow_table.h"
#include "foundation/hash_fast.h"
#include "foundation/kprintf.h"
#include "ports/port_mask.h"

int of_dpx_clr_flow_stats(uint32_t handle, uint32_t l3) {
  of_clr_flow_stats_fn fn = of_chip_op(of_dpx_clr_flow_stats_fn);
  if (!fn) {
    file_printf("no handler for flow stats clear handle:%d", handle);
    return 0;
  }
  return fn(handle, l3) == 0 ? 1 : 0;
}

int lp_openflow_clear_stat_for_flow(fd_entry* flow) {
  uint32_t handle = 0;
  uint32_t l3 = 0;
  if (flow->is_generic) {
    file_printf("%s:%d, clear flows stats for L2 Generic Flows \n", __func__, __LINE__);
    port_hw_data* hw = of_dpx_search_flow_in_flow_tree(OF_PORT_NONE, flow->flow_id, flow->priority);
    if (!hw) {
      file_printf("%s:%d, port_hw_data is NULL \n", __func__, __LINE__);
      return 1;
    }
    handle = static_cast<uint32_t>(hw->hw.get(0));
  } else {
    const of_if_entry* port = ofLookupIfEntrybyPortId(flow->in_port_id);
    if (!port) {
      file_printf("Invalid Port \n");
      return 0;
    }
    if (!port->is_local || !port->chip) return 0;
    port_hw_data* hw =
        of_dpx_search_flow_in_flow_tree(flow->in_port_id, flow->flow_id, flow->priority);
    handle = hw ? static_cast<uint32_t>(hw->hw.get(port->chip->chip_id)) : 0;
    l3 = port_is_openflow_type(flow->in_port_id) == OF_PORT_TYPE_L3 ? 1 : 0;
  }
  of_dpx_clr_flow_stats(handle, l3);
  return 1;
}

namespace {
bool clearing_all = false;
uint32_t clear_one(void* data, void*, hash_node*) {
  lp_openflow_clear_stat_for_flow(static_cast<fd_entry*>(data));
  return 1;
}
}  // namespace

void lp_clear_openflow_stats_count_flow(uint32_t flow_id) {
  if (!openflow_init_completed) return;
  if (flow_id == 0) {
    if (clearing_all) {
      file_printf("CLEAR OPENFLOW STATS: Clearing stats for all flows is already in progress \n");
      return;
    }
    clearing_all = true;
    if (openflow_flow_count() > 0)
      hashFastGenericTraverseBySortedKey(of_flow_id_table, clear_one, 0, 0xffffffffu, nullptr);
    clearing_all = false;
    return;
  }
  fd_entry* flow = openflow_lookup_flow_by_id(flow_id);
  if (!flow) {
    uprintf("Error: Cannot find the flow entry for flow id :%d\n", flow_id);
    return;
  }
  lp_openflow_clear_stat_for_flow(flow);
}
