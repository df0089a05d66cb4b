// MODIFY_FLOW and MODIFY_FLOW_PREFIX: new actions, chain and meter for a flow that keeps its
// match, its place and its handles; the chips' entries are rewritten through the update slots.
#include "agent/flow_record.h"
#include "agent/trace.h"
#include "chip/if_table.h"
#include "flow/action_chain.h"
#include "flow/flow_engine.h"
#include "flow/flow_hw.h"
#include "flow/flow_internal.h"
#include "flow/flow_list.h"
#include "flow/flow_msg.h"
#include "flow/flow_stats_clear.h"
#include "flow/flow_table.h"
#include "flow/member_list.h"
#include "flow/reply.h"
#include "groups_meters/meter.h"
#include "platform/wire.h"

uint8_t generic_modify = 0;

namespace {

int finish(fd_entry* flow, int result) {
  if (result) {
    if (flow->prefix_only == 0) create_add_action_chain_in_hash_table(flow);
    flow->mod_pending = 0;
    return 1;
  }
  openflow_generic_mode_delete_one_flow(flow);
  return 0;
}

}  // namespace

int openflow_generic_mode_update_hardware(fd_entry* flow) {
  if (flow->keep_counters == 0) flow->packet_count = flow->byte_count = 0;
  if (flow->wildcards & OF_WC_IN_PORT) {
    flow->is_generic = 1;
    of_generic_walk walk = of_walk_generic_ports(
        flow,
        [](uint16_t p, fd_entry* f) {
          port_hw_data* hw = openflow_search_flow_in_list(p, f->flow_id, f->priority);
          uint8_t change = 0;
          return openflow_generic_mode_port_specific_hw_mod(p, f, hw, &change);
        },
        false);
    of_generic_reply(flow, walk);
    return finish(flow, walk.noted ? walk.result : 1);
  }
  flow->is_generic = 0;
  const of_if_entry* port = ofLookupIfEntrybyPortId(flow->in_port_id);
  if (!port) {
    of_flow_not_enabled_reply(flow);
    return finish(flow, 0);
  }
  port_hw_data* hw = openflow_search_flow_in_list(flow->in_port_id, flow->flow_id, flow->priority);
  uint8_t change = 0;
  if (port->is_local) {
    if (!port->of_enabled) {
      of_flow_not_enabled_reply(flow);
      return finish(flow, 0);
    }
    return finish(flow,
                  openflow_generic_mode_port_specific_hw_mod(flow->in_port_id, flow, hw, &change));
  }
  of_flow_remote_reply(flow);
  if (port->of_enabled == 1)
    openflow_generic_mode_remote_port_specific_hw_mod(flow->in_port_id, flow, hw, &change);
  return finish(flow, 1);
}

int openflow_generic_mode_mod_flow(std::span<const uint8_t> msg, int prefix) {
  ofa::wire::Reader r(msg);
  uint32_t more = of_flow_msg_more_fragments(msg);
  of_lp_message_clear();
  uint32_t id = r.u32_at(OF_FLOW_OFF_FLOW_ID);
  fd_entry* flow = openflow_lookup_flow_by_id(id);
  if (!flow) {
    ofa_debug_printf("Flow entry(%d) is not available for modify, creating new... \n", id);
    return openflow_generic_mode_add_flow(msg);
  }
  bool has_group = of_flow_has_group_member(flow);
  flow->stats_flag = r.u32_at(148);
  uint32_t key = r.u32_at(140);
  uint8_t forward_action = r.u8_at(113);
  uint32_t meter_id = r.u32_at(144);
  if (flow->action_key == key && !has_group && flow->forward_action == forward_action &&
      flow->meter_id == meter_id && meter_id != 0) {
    if (more) flow->same_key_frag = 1;
    of_lp_message_set("PSEUDO_SUCCESS:Mod Flow(%d) has same old action key, NO LP Prog.", id);
    ofa_debug_printf("Mod Flow(%d) has same key, Fragment: %d \n", id, more);
    flow->keep_counters = r.u32_at(128);
    if (flow->keep_counters == 0 || flow->version == OFV_100) lp_openflow_clear_stat_for_flow(flow);
    return 1;
  }
  flow->instance_word = r.u32_at(32);
  of_action_chain_leave(flow, "openflow_generic_mode_mod_flow()");
  if (meter_id != flow->meter_id) {
    // The old meter gains and the new one loses a flow: the sense is kept as it always was.
    openflow_inc_meter_flow_count(flow->meter_id);
    openflow_dec_meter_flow_count(meter_id);
    flow->meter_id = meter_id;
  }
  of_flow_clean_multicast(flow, "openflow_generic_mode_mod_flow");
  if (flow->prefix_only == 0 || has_group) {
    flow->older_words = flow->chain_words;
  } else {
    flow->older_words = {};
  }
  flow->chain_words = {};
  flow->chain_link = 0;
  // The record lets go of its old list; the list is freed once no chain or record holds it.
  of_flow_set_members(flow, nullptr, 0);
  flow->flow_id = id;
  flow->cid = r.u32_at(OF_FLOW_OFF_CID);
  flow->xid = r.u32_at(OF_FLOW_OFF_XID);
  flow->action_key = key;
  flow->mp_id = r.u8_at(152);
  flow->fid = r.u16_at(108);
  flow->mvid = r.u16_at(110);
  flow->forward_action = forward_action;
  flow->action_param = r.u32_at(132);
  flow->send_to_ctrl = r.u8_at(114);
  flow->mod_pending = 1;
  flow->prefix_only = 0;
  flow->same_key_frag = 0;
  if (prefix) {
    of_action_chain_join(flow, "mod_flow_prefix");
  } else {
    openflow_generic_mode_copy_flow_action(flow, msg);
  }
  flow->keep_counters = r.u32_at(128);
  if (more) return 1;
  return openflow_generic_mode_update_hardware(flow);
}
