// ADD_FLOW and ADD_FLOW_PREFIX: the record, its place in the id table, its hardware on the port's
// chip or on every chip, the reply text, and the action chain of a full add.
#include "agent/flow_record.h"
#include "agent/trace.h"
#include "chip/if_table.h"
#include "flow/action_chain.h"
#include "flow/flow_engine.h"
#include "flow/flow_hw.h"
#include "flow/flow_internal.h"
#include "flow/flow_list.h"
#include "flow/flow_msg.h"
#include "flow/flow_table.h"
#include "flow/member_list.h"
#include "flow/reply.h"
#include "groups_meters/meter.h"
#include "platform/wire.h"

namespace {

// The multicast replication of a flow with an mvid or fid has nothing to program on this LP.
void multicast_step(const fd_entry* flow) {
  if (flow->mvid != OF_MVID_NONE) {
    ofa_debug_printf("OPENFLOW HARDWARE: Setting multicast MVID %d\n", flow->mvid);
  } else if (flow->fid != OF_FID_NONE) {
    ofa_debug_printf("OPENFLOW HARDWARE: Setting multicast FID %d\n", flow->fid);
  }
}

// The hardware record of one port: programmed and stored, or freed. 1 or 0.
int add_and_store(uint16_t port_id, uint16_t record_port, fd_entry* flow, bool remote) {
  port_hw_data* hw = of_new_port_hw_data(flow, record_port);
  if (!hw) return 0;
  uint8_t change = 0;
  int ok = remote ? openflow_generic_mode_remote_port_specific_hw_add(port_id, flow, hw, &change)
                  : openflow_generic_mode_port_specific_hw_add(port_id, flow, hw, &change);
  if (!ok) {
    delete hw;
    return 0;
  }
  openflow_add_flow_to_list(record_port, hw, 0, &change);
  return 1;
}

// A full add's flow on a port.
int add_port_flow(fd_entry* flow) {
  flow->is_generic = 0;
  const of_if_entry* port = ofLookupIfEntrybyPortId(flow->in_port_id);
  if (!port) {
    of_flow_not_enabled_reply(flow);
    return 0;
  }
  if (!port->is_local && !(flow->mvid == OF_MVID_NONE && flow->fid == OF_FID_NONE))
    multicast_step(flow);
  if (port->is_local) {
    if (port->of_enabled != 1) {
      of_flow_not_enabled_reply(flow);
      return 0;
    }
    return add_and_store(flow->in_port_id, flow->in_port_id, flow, false);
  }
  of_flow_remote_reply(flow);
  if (port->of_enabled == 1) add_and_store(flow->in_port_id, flow->in_port_id, flow, true);
  return 1;
}

// A full add's generic flow: one entry on every chip under one handle.
int add_generic_flow(fd_entry* flow) {
  flow->is_generic = 1;
  if (!(flow->mvid == OF_MVID_NONE && flow->fid == OF_FID_NONE)) multicast_step(flow);
  // With no rule kind the ports are only looked at: whether this LP has an OpenFlow port.
  bool noted = flow->rule_kind == 0 && of_walk_generic_ports(
                                           flow, [](uint16_t, fd_entry*) { return 1; }, false)
                                           .noted;
  of_generic_walk walk{noted, add_and_store(OF_PORT_NONE, OF_PORT_NONE, flow, false)};
  of_generic_reply(flow, walk);
  return noted ? walk.result : 1;
}

int end_of_add(fd_entry* flow, int result, bool make_chain) {
  if (result) {
    if (make_chain) create_add_action_chain_in_hash_table(flow);
    return 1;
  }
  openflow_generic_mode_delete_one_flow(flow);
  return 0;
}

}  // namespace

void of_replace_same_id(const fd_entry* flow) {
  fd_entry* old = openflow_lookup_flow_by_id(flow->flow_id);
  if (!old) return;
  if (old->mp_id != flow->mp_id)
    file_printf(" Old MP %d Flow exist for flow id %d, New Mp is %d \n", old->mp_id, flow->flow_id,
                flow->mp_id);
  uint8_t old_mp = old->mp_id;
  if (openflow_generic_mode_delete_one_flow(old)) {
    ofa_debug_printf(" Old MP %d Flow %d Delete success \n", old_mp, flow->flow_id);
  } else {
    ofa_debug_printf(" Old flow Version Delete failed \n");
  }
}

int openflow_generic_mode_add_flow(std::span<const uint8_t> msg) {
  uint32_t more = of_flow_msg_more_fragments(msg);
  of_lp_message_clear();
  uint16_t count = ofa::wire::Reader(msg).u16_at(OF_FLOW_OFF_MEMBER_COUNT);
  fd_entry* flow = openflow_generic_mode_copy_flow(msg, count);
  if (!flow) return 0;
  if (flow->ether_type == OF_ETHER_TYPE_NOOP) {
    // Nothing is stored; the copy goes again.
    of_discard_flow_copy(flow);
    return 1;
  }
  openflow_inc_meter_flow_count(flow->meter_id);
  ofa_debug_printf(
      "openflow_generic_mode_add_flow: entered for flow_id: %d fid:%d ethtype:%d in_port_id:%d\n",
      flow->flow_id, flow->fid, flow->ether_type, flow->in_port_id);
  of_replace_same_id(flow);
  openflow_flow_id_insert(flow);
  if (more) return 1;
  flow->member_count = count;
  flow->prefix_only = 0;
  int result = (flow->wildcards & OF_WC_IN_PORT) ? add_generic_flow(flow) : add_port_flow(flow);
  return end_of_add(flow, result, true);
}

int openflow_generic_mode_program_hardware(fd_entry* flow) {
  if (flow->wildcards & OF_WC_IN_PORT) {
    flow->is_generic = 1;
    of_generic_walk walk = of_walk_generic_ports(
        flow, [](uint16_t p, fd_entry* f) { return add_and_store(p, f->in_port_id, f, false); },
        true);
    of_generic_reply(flow, walk);
    return walk.noted ? walk.result : 1;
  }
  flow->is_generic = 0;
  const of_if_entry* port = ofLookupIfEntrybyPortId(flow->in_port_id);
  if (!port) {
    of_flow_not_enabled_reply(flow);
    return 0;
  }
  if (port->is_local) return add_and_store(flow->in_port_id, flow->in_port_id, flow, false);
  file_printf("PSEUDO_SUCCESS: Port %d is not a local port, mvid not used", flow->in_port_id);
  flow->not_on_lp = 1;
  add_and_store(flow->in_port_id, flow->in_port_id, flow, true);
  return 1;
}

int openflow_generic_mode_add_flow_prefix(std::span<const uint8_t> msg) {
  of_lp_message_clear();
  fd_entry* flow = openflow_generic_mode_copy_flow(msg, 0);
  if (!flow) return 0;
  if (flow->ether_type == OF_ETHER_TYPE_NOOP) {
    of_discard_flow_copy(flow);
    return 1;
  }
  file_printf(
      "openflow_generic_mode_add_flow_prefix: flow_id: %d fid:%d ethtype:%d in_port_id:%d\n",
      flow->flow_id, flow->fid, flow->ether_type, flow->in_port_id);
  of_replace_same_id(flow);
  int rc = openflow_flow_id_insert(flow);
  file_printf("%s: flow_id:%d rc:%d\n", "openflow_generic_mode_add_flow_prefix", flow->flow_id, rc);
  of_action_chain_join(flow, "add_flow_prefix");
  flow->prefix_only = 1;
  return end_of_add(flow, openflow_generic_mode_program_hardware(flow), false);
}

int openflow_generic_mode_add_remaining_members(std::span<const uint8_t> msg) {
  ofa::wire::Reader r(msg);
  uint32_t more = r.u32_at(OF_FLOW_OFF_MORE_FRAGS);
  uint32_t id = r.u32_at(OF_FLOW_OFF_FLOW_ID);
  uint16_t count = r.u16_at(OF_FRAG_OFF_MEMBER_COUNT);
  fd_entry* flow = openflow_lookup_flow_by_id(id);
  if (!flow) {
    file_printf("Error: Cannot find the flow entry for flow id :%d\n", id);
    return 0;
  }
  if (flow->same_key_frag) {
    if (!more) flow->same_key_frag = 0;
    ofa_debug_printf(
        "OPENFLOW FORWARDING: Ignore Add remaining members as it is part of Flow mod(%u) with "
        "Same action entry\n",
        id);
    return 1;
  }
  if (!openflow_generic_mode_copy_members(flow, msg, OF_FRAG_OFF_MEMBERS, count)) {
    file_printf("Error - %s - Copy Flow Action Failed\n",
                "openflow_generic_mode_add_remaining_members");
    return 0;
  }
  if (more) return 1;
  flow->prefix_only = 0;
  if (!flow->mod_pending) {
    int ok = openflow_generic_mode_program_hardware(flow);
    if (ok) create_add_action_chain_in_hash_table(flow);
    return ok;
  }
  return openflow_generic_mode_update_hardware(flow);
}
