// Taking flows out: one by id, one record, all of them, and those of a port. A delete always goes
// through: a chip that refuses leaves an orphan entry behind and the record goes all the same.
#include "agent/agent_globals.h"
#include "agent/flow_record.h"
#include "agent/timebase.h"
#include "agent/trace.h"
#include "chip/if_table.h"
#include "flow/action_chain.h"
#include "flow/flow_acl.h"
#include "flow/flow_engine.h"
#include "flow/flow_hw.h"
#include "flow/flow_internal.h"
#include "flow/flow_list.h"
#include "flow/flow_table.h"
#include "flow/member_list.h"
#include "groups_meters/meter.h"
#include "manager/flow_status.h"
#include "ports/port_mask.h"

namespace {

int delete_port_flow(fd_entry* flow) {
  port_hw_data* hw = of_process_flow_delete(flow->priority, flow->flow_id);
  of_flow_clean_multicast(flow, "openflow_generic_mode_delete_one_flow");
  if (!hw) {
    openflow_cleanup_fd_entry(flow);
    return 1;
  }
  openflow_dec_meter_flow_count(flow->meter_id);
  const of_if_entry* port = ofLookupIfEntrybyPortId(flow->in_port_id);
  if (!port || !port->is_local) {
    file_printf("remote port cleanup...\n");
    delete hw;
    openflow_cleanup_fd_entry(flow);
    return 1;
  }
  switch (port_is_openflow_type(flow->in_port_id)) {
    case OF_PORT_TYPE_L3:
      ofa_debug_printf("OPENFLOW FORWARDING: Deleting L3ACL flow cam entry\n");
      if (of_dpx_l3_flow_acl_rem(flow->in_port_id, flow->flow_id, &hw->hw)) {
        ofa_debug_printf("OPENFLOW FORWARDING: Deleted L3ACL Flow cam entry\n");
      } else {
        ofa_debug_printf("OPENFLOW FORWARDING: Error - Cannot Delete L3 Flow Cam entry\n");
      }
      break;
    case OF_PORT_TYPE_L2:
      ofa_debug_printf("OPENFLOW FORWARDING: Deleting L2ACL Flow cam entry\n");
      if (of_dpx_l2_flow_acl_rem(flow->in_port_id, flow->flow_id, &hw->hw)) {
        ofa_debug_printf("OPENFLOW FORWARDING: Deleted L2ACL Flow cam entry\n");
      } else {
        ofa_debug_printf("OPENFLOW FORWARDING: Error - Cannot Delete L2 Flow Cam entry\n");
      }
      break;
    default:
      break;
  }
  delete hw;
  openflow_cleanup_fd_entry(flow);
  return 1;
}

int delete_generic_flow(fd_entry* flow) {
  of_flow_clean_multicast(flow, "openflow_generic_mode_delete_one_flow");
  if (flow->rule_kind == 0) {
    for (uint16_t p = 0; p <= OF_MAX_PORT; ++p) {
      const of_if_entry* port = ofLookupIfEntrybyPortId(p);
      if (!of_port_is_local_openflow(port)) continue;
      if (!port->of_hybrid && port->of_l3_type && !(flow->rule_kind & 0x2)) {
        ofa_debug_printf("OPENFLOW FORWARDING: Port %d is is not a valid L3 RULE \n",
                         flow->in_port_id);
      } else if (!port->of_hybrid && !port->of_l3_type && !(flow->rule_kind & 0x1)) {
        ofa_debug_printf("OPENFLOW FORWARDING: PPort %d is is not a valid L2 RULE \n",
                         flow->in_port_id);
      } else {
        openflow_delete_flow_in_list(p, flow->flow_id);
      }
    }
  }
  if (port_hw_data* hw = of_process_flow_delete(flow->priority, flow->flow_id)) {
    ofa_debug_printf("OPENFLOW FORWARDING: Deleting L2ACL Flow cam entry\n");
    if (of_dpx_l2_flow_acl_rem(flow->in_port_id, flow->flow_id, &hw->hw)) {
      ofa_debug_printf("OPENFLOW FORWARDING: Deleted L2ACL Flow cam entry\n");
    } else {
      ofa_debug_printf("OPENFLOW FORWARDING: Error - Cannot Delete L2 Flow Cam entry\n");
    }
    delete hw;
  }
  openflow_cleanup_fd_entry(flow);
  return 1;
}

uint32_t delete_in_walk(fd_entry* flow, void*) {
  openflow_generic_mode_delete_one_flow(flow);
  return 1;
}

int of_dpx_delete_all_pri_flows_for_port(uint16_t port_id) {
  if (port_id == OF_PORT_NONE) {
    file_printf("Invalid Port-id (%d)\n", port_id);
    return 0;
  }
  // No operation puts a flow on the priority flow list: it is always empty.
  ofa_debug_printf("OPENFLOW FORWARDING: No flow entry\n");
  return 0;
}

}  // namespace

void openflow_cleanup_fd_entry(fd_entry* flow) {
  fd_entry* stored = openflow_lookup_flow_by_id(flow->flow_id);
  if (!stored) {
    file_printf(
        "WARNING: openflow_cleanup_fd_entry: Double deletion for flow id :%d. Prevented. Please "
        "debug\n",
        flow->flow_id);
    return;
  }
  if (stored != flow) {
    file_printf(
        "WARNING: openflow_cleanup_fd_entry: input fd:0x%x->flow id :%d in hash fd:0x%x->flow id "
        ":%d. Please debug\n",
        static_cast<unsigned>(reinterpret_cast<uintptr_t>(flow)), flow->flow_id,
        static_cast<unsigned>(reinterpret_cast<uintptr_t>(stored)), stored->flow_id);
    return;
  }
  of_flow_set_members(flow, nullptr, 0);
  if (flow->is_generic && g_generic_flow_cnt > 0) --g_generic_flow_cnt;
  openflow_flow_id_remove(flow->flow_id);
  delete flow;
}

void of_discard_flow_copy(fd_entry* flow) {
  of_flow_set_members(flow, nullptr, 0);
  delete flow;
}

int openflow_generic_mode_delete_one_flow(fd_entry* flow) {
  if (!flow) {
    file_printf("Error: flow entry is NULL\n");
    return 0;
  }
  of_action_chain_leave(flow, "openflow_generic_mode_delete_one_flow");
  return flow->is_generic ? delete_generic_flow(flow) : delete_port_flow(flow);
}

int openflow_generic_mode_delete_flow(const uint32_t ids[3], int status_flag) {
  uint64_t start = ofa_timebase_ms();
  fd_entry* flow = openflow_lookup_flow_by_id(ids[0]);
  if (!flow) {
    file_printf("openflow_generic_mode_delete_flow - Cannot find the flow entry for flow id :%d\n",
                ids[0]);
    ofa_debug_printf(
        "openflow_generic_mode_delete_flow - Cannot find the flow entry for flow id :%d\n", ids[0]);
    return 0;
  }
  int rc = openflow_generic_mode_delete_one_flow(flow);
  if (status_flag == 1)
    openflow_send_status_ipc_to_mp(ids, OFM_DELETE_FLOW, rc > 0 ? 1 : 0, 0,
                                   static_cast<uint32_t>(start >> 32), static_cast<uint32_t>(start),
                                   rc ? "SUCCESS" : "FAILED");
  return 1;
}

int openflow_delete_all_flows() {
  if (openflow_flow_count() == 0) return 0;
  return static_cast<int>(openflow_walk_flows(delete_in_walk, nullptr));
}

void openflow_remove_all_flows_for_port(uint16_t port_id) {
  if (port_id == OF_PORT_NONE) return;
  const of_if_entry* port = ofLookupIfEntrybyPortId(port_id);
  if (!port || !port->is_local) {
    file_printf("Port : %d is not a local port, ignoring flow deletion\n", port_id);
    return;
  }
  if (!port->of_enabled) {
    file_printf("Interface %d is not an OPENFLOW port!\n", port_id);
    return;
  }
  of_dpx_delete_all_pri_flows_for_port(port_id);
}

void openflow_remove_all_flows_for_portmask(std::span<const uint8_t> bytes) {
  of_port_mask mask = port_mask_from_wire(bytes);
  for (uint16_t p = port_mask_get_first_port(&mask); p < OF_PORT_MASK_END;
       p = port_mask_get_next_port(&mask, p)) {
    const of_if_entry* port = ofLookupIfEntrybyPortId(p);
    if (!is_physical_port(p) || !port || !port->is_local) continue;
    if (g_openflow_lp.mode == 1 || g_openflow_lp.mode == OFA_MODE_GENERIC)
      openflow_remove_all_flows_for_port(p);
  }
}
