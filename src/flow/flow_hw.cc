#include "flow/flow_hw.h"

#include <new>

#include "agent/flow_record.h"
#include "agent/trace.h"
#include "chip/if_table.h"
#include "flow/flow_acl.h"
#include "flow/reply.h"
#include "ports/port_mask.h"

namespace {

using acl_fn = int (*)(uint16_t, fd_entry*, of_flow_hw_ref*);

struct hw_step {
  acl_fn l3;
  acl_fn l2;
  const char* generic_done;  // the trace after a generic add
};

const hw_step kLocal{
    of_dpx_l3_flow_acl, of_dpx_l2_flow_acl,
    "OPENFLOW HARDWARE: Added (L23/L3/L2)generic flow cam entry for flow_id - %d\n"};
const hw_step kRemote{of_dpx_l3_flow_acl_remote_port, of_dpx_l2_flow_acl_remote_port,
                      "OPENFLOW HARDWARE: Added (L23/L3)generic flow cam entry for flow_id - %d\n"};

int hw_add(const hw_step& s, uint16_t port_id, fd_entry* flow, port_hw_data* hw) {
  for (uint32_t chip = 0; chip < 3; ++chip)
    hw->hw.set(chip, of_flow_hw_ref::kNone);
  if (port_id == OF_PORT_NONE) {
    int ok = of_dpx_generic_flow_hw_add(flow, hw);
    file_printf(s.generic_done, flow->flow_id);
    return ok;
  }
  switch (port_is_openflow_type(port_id)) {
    case OF_PORT_TYPE_L23:
      file_printf("OPENFLOW HARDWARE: Openflow L23 flow cam entry - not supported\n");
      return 0;
    case OF_PORT_TYPE_L3:
      file_printf("OPENFLOW HARDWARE: Adding Openflow L3 flow cam entry\n");
      if (s.l3(port_id, flow, &hw->hw) == 0) {
        file_printf("Error - Cannot Create L3 Flow Cam entry for port %d\n", port_id);
        return 0;
      }
      ofa_debug_printf("OPENFLOW HARDWARE: Added L3ACL Flow cam entry for port %d\n", port_id);
      return 1;
    default:
      file_printf("OPENFLOW HARDWARE: Adding Openflow L2 flow cam entry\n");
      if (s.l2(port_id, flow, &hw->hw) == 0) {
        file_printf("Error - Cannot Create L2 Flow Cam entry for port %d\n", port_id);
        return 0;
      }
      ofa_debug_printf("OPENFLOW HARDWARE: Added L2ACL Flow cam entry for port %d\n", port_id);
      return 1;
  }
}

int hw_mod(const hw_step& s, uint16_t port_id, fd_entry* flow, port_hw_data* hw) {
  if (!hw) return 0;
  if (port_id == OF_PORT_NONE) {
    file_printf(
        "OPENFLOW HARDWARE: Unsupported Modify (L23/L3)generic flow cam entry for flow_id - %d\n",
        flow->flow_id);
    return 0;
  }
  switch (port_is_openflow_type(port_id)) {
    case OF_PORT_TYPE_L23:
      return 0;
    case OF_PORT_TYPE_L3:
      ofa_debug_printf("OPENFLOW HARDWARE: Modify Openflow L3 flow cam entry\n");
      if (s.l3(port_id, flow, &hw->hw) == 0) {
        file_printf("Error - Cannot Modify L3 Flow Cam entry for port %d\n", port_id);
        return 0;
      }
      ofa_debug_printf("OPENFLOW HARDWARE: Modified L3ACL Flow cam entry for port %d\n", port_id);
      return 1;
    default:
      ofa_debug_printf("OPENFLOW HARDWARE: Modifying L2ACL Flow cam entry\n");
      if (s.l2(port_id, flow, &hw->hw) == 0) {
        file_printf("Error - Cannot Modify L2 Flow Cam entry for port %d\n", port_id);
        return 0;
      }
      ofa_debug_printf("OPENFLOW HARDWARE: Modified L2ACL Flow cam entry for port %d\n", port_id);
      return 1;
  }
}

}  // namespace

port_hw_data* of_new_port_hw_data(const fd_entry* flow, uint16_t port_id) {
  auto* hw = new (std::nothrow) port_hw_data;
  if (!hw) return nullptr;
  hw->flow_id = flow->flow_id;
  hw->priority = flow->priority;
  hw->port_id = port_id;
  return hw;
}

int openflow_generic_mode_port_specific_hw_add(uint16_t port_id, fd_entry* flow, port_hw_data* hw,
                                               uint8_t* change) {
  if (change) *change = 0;
  return hw_add(kLocal, port_id, flow, hw);
}

int openflow_generic_mode_remote_port_specific_hw_add(uint16_t port_id, fd_entry* flow,
                                                      port_hw_data* hw, uint8_t* change) {
  if (change) *change = 0;
  return hw_add(kRemote, port_id, flow, hw);
}

int openflow_generic_mode_port_specific_hw_mod(uint16_t port_id, fd_entry* flow, port_hw_data* hw,
                                               uint8_t* change) {
  if (change) *change = 0;
  return hw_mod(kLocal, port_id, flow, hw);
}

int openflow_generic_mode_remote_port_specific_hw_mod(uint16_t port_id, fd_entry* flow,
                                                      port_hw_data* hw, uint8_t* change) {
  if (change) *change = 0;
  return hw_mod(kRemote, port_id, flow, hw);
}

bool of_port_is_local_openflow(const of_if_entry* port) {
  return port && port->is_local && port->of_enabled;
}

int of_generic_port_fits(const of_if_entry* port, const fd_entry* flow) {
  if (!of_port_is_local_openflow(port)) return -1;
  if (port->of_hybrid) return 1;
  if (port->of_l3_type) {
    if (flow->rule_kind & 0x2) return 1;
    ofa_debug_printf("OPENFLOW FORWARDING: Port %d is not a valid L3 RULE \n", port->port_id);
    return 0;
  }
  if (flow->rule_kind & 0x1) return 1;
  ofa_debug_printf("OPENFLOW FORWARDING: Port %d is not a valid L2 RULE \n", port->port_id);
  return 0;
}

of_generic_walk of_walk_generic_ports(fd_entry* flow, int (*step)(uint16_t port, fd_entry* flow),
                                      bool stop_on_failure) {
  of_generic_walk walk;
  for (uint16_t p = 0; p <= OF_MAX_PORT; ++p) {
    int fits = of_generic_port_fits(ofLookupIfEntrybyPortId(p), flow);
    if (fits < 0) continue;
    walk.noted = true;
    walk.result = fits ? step(p, flow) : 1;
    if (!walk.result && stop_on_failure) break;
  }
  return walk;
}

void of_generic_reply(fd_entry* flow, const of_generic_walk& walk) {
  if (!walk.noted) {
    of_lp_message_set("PSEUDO_SUCCESS: No openflow ports on the LP.");
    flow->not_on_lp = 1;
  } else if (of_lp_message_empty()) {
    of_lp_message_set(walk.result ? "SUCCESS" : "FAILED");
  }
}

void of_flow_clean_multicast(fd_entry* flow, const char* who) {
  if (flow->mvid == OF_MVID_NONE && flow->fid == OF_FID_NONE) return;
  if (flow->mvid != OF_MVID_NONE) {
    ofa_debug_printf("OPENFLOW HARDWARE: %s - Cleaning multicast replication entry MVID %d\n", who,
                     flow->mvid);
  } else {
    ofa_debug_printf("OPENFLOW HARDWARE: %s - Cleaning multicast replication entry FID %d\n", who,
                     flow->fid);
  }
  flow->mvid = OF_MVID_NONE;
}

void of_flow_not_enabled_reply(const fd_entry* flow) {
  of_lp_message_set("Openflow not enabled in: %P (%d)", flow->in_port_id, flow->in_port_id);
}

void of_flow_remote_reply(fd_entry* flow) {
  if (flow->mvid == OF_MVID_NONE) {
    of_lp_message_set("PSEUDO_SUCCESS: IN Port: %P NOT in LP, no MVID, NO LP Prog.",
                      flow->in_port_id);
    flow->not_on_lp = 1;
    if (flow->fid == OF_FID_NONE)
      ofa_debug_printf(
          "OPENFLOW FORWARDING: Port %d is not a local port, mvid not used, flow will not be "
          "added\n",
          flow->in_port_id);
  } else {
    of_lp_message_set("SUCCESS: IN Port: %P NOT in LP, MVID: %d, Only MVID prog.", flow->in_port_id,
                      flow->mvid);
  }
}
