#include "backends/ard/ard_flow_result.h"

#include "agent/flow_record.h"
#include "agent/status.h"
#include "agent/trace.h"
#include "chip/engine_lookups.h"
#include "chip/if_table.h"

namespace {

bool adding(ard_flow_op op) {
  return op == ard_flow_op::add;
}

// The flood group of the all-ports VLAN (OFPP_ALL) or of the flow's VLAN (OFPP_FLOOD): false and
// 0 while that VLAN is unknown.
bool flood_mgid(uint16_t out_port, const fd_entry& f, uint32_t* mgid) {
  of_vlan_view v;
  bool known = out_port == OF_PORT_ALL ? of_lookup_all_ports_vlan_view(&v)
                                       : of_lookup_vlan_view(f.in_vlan_id, &v);
  *mgid = known ? v.mgid : 0;
  return known;
}

// What an output action names: nothing (no port, the controller), a flood group, or a port.
struct out_target {
  enum { none, flood, to_port } kind = none;
  bool mgid_known = false;
  uint32_t mgid = 0;
  const of_if_entry* port = nullptr;
};

// After the `head` line, the target with its log line; false after "Out port doesn't exist !!".
bool resolve_output(const of_flow_member& m, const fd_entry& f, const char* head, out_target* t) {
  file_printf(head, m.out_port_id, m.group_id);
  switch (m.out_port_id) {
    case OF_PORT_NONE:
      return true;
    case OF_PORT_ALL:
    case OF_PORT_FLOOD:
      t->kind = out_target::flood;
      t->mgid_known = flood_mgid(m.out_port_id, f, &t->mgid);
      if (m.out_port_id == OF_PORT_ALL)
        file_printf("OFPP_ALL .... mgid:%d\n", t->mgid);
      else
        file_printf("OFPP_FLOOD .... mgid:%d\n", t->mgid);
      return true;
    case OF_PORT_CONTROLLER:
      file_printf("OPENFLOW_RESERVED_PORT_STC ....\n");
      return true;
    default:
      break;
  }
  t->kind = out_target::to_port;
  t->port = ofLookupIfEntrybyPortId(m.out_port_id);
  if (!t->port) {
    file_printf("Out port doesn't exist !!\n");
    return false;
  }
  file_printf("out port_id:%d egr_ifindex:%x\n", m.out_port_id, t->port->ifIndex);
  return true;
}

void log_rewrites(const of_flow_member& m) {
  file_printf("vlan_upbits:%d\n", m.vlan_upbits);
  file_printf("dscp:%d\n", m.nw_tos);
}

uint32_t policer_of(const fd_entry& f, uint32_t flat_chip_id) {
  uint32_t id = of_lookup_policer_of_meter(flat_chip_id, f.meter_id);
  file_printf("policer_id:%d\n", id);
  return id;
}

// ---- L2 ---------------------------------------------------------------------------------------

int l2_output(const of_flow_member& m, const fd_entry& f, ard_flow_op op, of_l2_result* r) {
  out_target t;
  const char* head =
      adding(op) ? "OFA add out_port_id:%d group_id:%d" : "OFA modify out_port_id:%d group_id:%d";
  if (!resolve_output(m, f, head, &t)) return OFA_E_INVALID_ARG;
  if (t.kind == out_target::flood) {
    r->dest = t.mgid;
    r->flags |= OF_L2_FLAG_ACTION_VALID | OF_L2_FLAG_DEST_MGID;
  } else if (t.kind == out_target::to_port) {
    r->dest = t.port->ifIndex;
    r->flags |= OF_L2_FLAG_ACTION_VALID;
    r->fwd_action = OF_L2_FWD_DEST;
  }
  return 0;
}

// Only an L2 ALL group has a destination here: its mgid.
void l2_group(const of_flow_member& m, const fd_entry& f, of_l2_result* r) {
  file_printf("group_id:%d\n", m.group_id);
  of_group_view g;
  if (!of_lookup_group_view(m.group_id, &g)) return;
  if (g.type != OF_LP_GROUP_ALL) {
    file_printf("mgid type: Unexpected !! OF_LP_GROUP_SELECT or INDIRECT\n");
  } else if (g.all_type != 0) {
    file_printf("mgid type: Unexpected !! OF_LP_GROUP_ALL_L3\n");
  } else {
    file_printf("mgid type: OF_LP_GROUP_ALL_L2\n");
    r->flags |= OF_L2_FLAG_ACTION_VALID | OF_L2_FLAG_DEST_MGID;
    r->dest = g.mgid;
    if (f.send_to_ctrl) r->fwd_action = OF_L2_FWD_DEST;  // forward, and copy to the controller
  }
}

// ---- L3 ---------------------------------------------------------------------------------------

constexpr uint32_t kL3Forward = OF_L3_FA_ACTION_VALID | OF_L3_FA_DEST_VALID;

int l3_output(const of_flow_member& m, const fd_entry& f, ard_flow_op op, of_l3_result* r) {
  out_target t;
  const char* head =
      adding(op) ? "OFA ADD out_port_id:%d group_id:%d" : "OFA modify out_port_id:%d group_id:%d";
  if (!resolve_output(m, f, head, &t)) return OFA_E_INVALID_ARG;
  if (t.kind == out_target::none) return 0;
  r->flags_a |= kL3Forward;
  if (t.kind == out_target::flood && t.mgid_known)
    r->mcast = OF_L3_MC_VALID | of_l3_mc_mgid(t.mgid) | of_l3_mc_type(1) | OF_L3_MC_L2;
  if (t.kind == out_target::to_port) {
    // A real port is reached through its own next hop, made at port enable.
    r->nhop_id = t.port->of_def_nhop_id;
    r->flags_b |= OF_L3_FB_PORT_DEFAULT_NHOP;
  }
  return 0;
}

void l3_group(const of_flow_member& m, of_l3_result* r) {
  of_group_view g;
  bool known = of_lookup_group_view(m.group_id, &g);
  file_printf("group_id:%d\n", m.group_id);
  if (!known) return;
  r->flags_a |= kL3Forward;
  if (g.type != OF_LP_GROUP_ALL) {
    file_printf("group_type: OF_LP_GROUP_INDIRECT or SELECT\n");
    r->nhop_id = g.nhopid;
    return;
  }
  r->mcast = OF_L3_MC_VALID | of_l3_mc_mgid(g.mgid);
  if (g.all_type != 0) {
    file_printf("group_type: OF_LP_GROUP_ALL_L3\n");
    r->mcast |= of_l3_mc_type(3);
  } else {
    file_printf("group_type: OF_LP_GROUP_ALL_L2\n");
    r->mcast |= of_l3_mc_type(1) | OF_L3_MC_L2;
  }
}

}  // namespace

int ard_l2_result(const fd_entry& f, const of_flow_actions& a, uint32_t flat_chip_id,
                  ard_flow_op op, of_l2_result* r) {
  *r = {};
  if (f.forward_action == 0) {
    r->flags = OF_L2_FLAG_ACTION_VALID;
    r->fwd_action = OF_L2_FWD_DROP;
  } else {
    if (f.send_to_ctrl) {
      r->flags |= OF_L2_FLAG_ACTION_VALID | OF_L2_FLAG_COPY_CTRL;
      r->fwd_action = OF_L2_FWD_LOCAL;
    }
    // Sending to the controller takes the group, never the output.
    bool output = a.output && !f.send_to_ctrl;
    const of_flow_member* m = output ? a.output : a.group;
    if (output) {
      int rc = l2_output(*m, f, op, r);
      if (rc != 0) return rc;
    } else if (m) {
      l2_group(*m, f, r);
    }
    // An add names the rewrites after a group only; an update after either destination.
    if (m && (!output || !adding(op))) log_rewrites(*m);
    if (m && m->vlan_upbits != OF_UPBITS_NONE)
      r->qos |= OF_L2_QOS_VALID | of_l2_qos_vpri(m->vlan_upbits);
    if (m && m->nw_tos != OF_TOS_NONE)
      r->flags |= OF_L2_FLAG_REWRITE_DSCP | of_l2_flag_dscp(m->nw_tos);
    if (a.set_queue) {
      file_printf("queue_id:%d\n", a.set_queue->queue_id);
      r->qos |= OF_L2_QOS_VALID | of_l2_qos_queue(a.set_queue->queue_id);
    }
  }
  if (f.meter_id != 0) {
    r->policer_id = policer_of(f, flat_chip_id);  // unknown meters program 4096
    r->flags |= OF_L2_FLAG_POLICER;
  }
  if (f.stats_flag == 0) r->qos |= OF_L2_QOS_NO_STATS;
  return 0;
}

int ard_l3_result(const fd_entry& f, const of_flow_actions& a, uint32_t flat_chip_id,
                  ard_flow_op op, of_l3_result* r) {
  *r = {};
  if (f.forward_action == 0) {
    r->fwd_action = OF_L3_FWD_LOCAL;
    r->flags_a = kL3Forward;
  } else {
    if (f.send_to_ctrl) {
      r->flags_a |= OF_L3_FA_TO_CTRL | kL3Forward;
      if (adding(op)) {
        r->flags_b |= OF_L3_FB_TO_CTRL;
        r->fwd_action = OF_L3_FWD_LOCAL;
      }
    }
    // The output wins over a group.
    const of_flow_member* m = a.output ? a.output : a.group;
    if (a.output) {
      int rc = l3_output(*m, f, op, r);
      if (rc != 0) return rc;
    } else if (m) {
      l3_group(*m, r);
    }
    if (m && m->vlan_upbits != OF_UPBITS_NONE) {
      r->flags_a |= OF_L3_FA_QOS_VALID | OF_L3_FA_QOS_REWRITE;
      r->flags_b |= of_l3_fb_vpri(m->vlan_upbits);
    }
    if (m && m->nw_tos != OF_TOS_NONE)
      r->flags_a |= OF_L3_FA_REWRITE_DSCP | of_l3_fa_dscp(m->nw_tos);
    if (a.set_queue) {
      r->flags_a |=
          OF_L3_FA_QOS_VALID | OF_L3_FA_QOS_REWRITE | of_l3_fa_queue(a.set_queue->queue_id);
      file_printf("queue_id:%d\n", a.set_queue->queue_id);
    }
  }
  if (f.meter_id != 0) {
    r->flags_b |= of_l3_fb_policer(policer_of(f, flat_chip_id));
    r->flags_a |= OF_L3_FA_POLICER | OF_L3_FA_POLICER2;
  }
  if (f.stats_flag == 0) r->flags_a |= OF_L3_FA_NO_STATS;
  return 0;
}
