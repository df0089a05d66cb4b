#include "flow/flow_acl.h"

#include "adapter/chip_ops.h"
#include "adapter/tcam_id_pool.h"
#include "agent/flow_record.h"
#include "agent/trace.h"
#include "chip/chip_table.h"
#include "chip/if_table.h"
#include "flow/flow_table.h"

namespace {

// The two kinds of flow entry: their slots, their pool, and the words that differ.
struct acl_kind {
  const of_slot<of_flow_fn>* add;
  const of_slot<of_flow_fn>* mod;
  const of_slot<of_flow_del_fn>* del;
  of_id_list** pool;
  const char* null_flow;
  const char* null_hw;
};

const acl_kind kL2{&of_l2flow_add_ioctl_fn,
                   &of_l2flow_mod_ioctl_fn,
                   &of_l2flow_del_ioctl_fn,
                   &l2flow_tcam_idpool_node,
                   "Error: Openflow L2 FLow CAM Add/Mod - flow entry is NULL on port %d\n",
                   "Error: Openflow L2 FLow CAM Add/Mod - flow port hw data is NULL on port %d\n"};
const acl_kind kL3{&of_l3flow_ipv4add_ioctl_fn,
                   &of_l3flow_ipv4mod_ioctl_fn,
                   &of_l3flow_ipv4del_ioctl_fn,
                   &l3ipv4flow_tcam_idpool_node,
                   "Error: Openflow L3 FLow CAM Add/Mod - flow entry is NULL on port %d\n",
                   "Error: Openflow L3 FLow CAM Add/Mod - flow port hw data is NULL on port %d\n"};

of_chip_entry* port_chip(uint16_t port_id) {
  of_if_entry* e = ofLookupIfEntrybyPortId(port_id);
  return e ? e->chip : nullptr;
}

void parse(const fd_entry* flow, of_flow_actions* actions) {
  if (of_dpx_parse_flow_actions(flow, actions) == 0)
    file_printf("%s: Flow action parsing failure\n", "of_dpx_flow_acl");
}

// One add on one chip with the handle stored for it: 1, or 0 with the handle back in the pool.
int add_on_chip(const acl_kind& k, of_chip_entry* chip, fd_entry* flow, of_flow_actions* actions,
                of_flow_hw_ref* hw, uint32_t handle) {
  of_flow_fn fn = of_chip_op(*k.add);
  if (!fn) {
    file_printf("no handler for chip:%d flow_id:%d", chip->chip_id, flow->flow_id);
    checkin_id(*k.pool, handle);
    hw->set(chip->chip_id, of_flow_hw_ref::kNone);
    return 0;
  }
  int rc = fn(chip, flow, actions, hw);
  if (rc != 0) {
    file_printf("Unable to program flow for chip:%d flow_id:%d rc:%d", chip->chip_id, flow->flow_id,
                rc);
    checkin_id(*k.pool, handle);
    hw->set(chip->chip_id, of_flow_hw_ref::kNone);
    return 0;
  }
  return 1;
}

int modify_on_chip(const acl_kind& k, of_chip_entry* chip, fd_entry* flow, of_flow_actions* actions,
                   of_flow_hw_ref* hw) {
  of_flow_fn fn = of_chip_op(*k.mod);
  if (!fn) {
    file_printf("no handler for chip:%d flow_id:%d", chip->chip_id, flow->flow_id);
    return 0;
  }
  int rc = fn(chip, flow, actions, hw);
  if (rc != 0) {
    file_printf("Unable to program flow for chip:%d flow_id:%d rc:%d", chip->chip_id, flow->flow_id,
                rc);
    return 0;
  }
  return 1;
}

int generic_l2_add(fd_entry* flow, of_flow_actions* actions, of_flow_hw_ref* hw) {
  uint32_t handle = checkout_new_id(l2flow_tcam_idpool_node);
  avl_node* cursor = nullptr;
  for (of_chip_entry* chip = ofGetFirstChip(&cursor); chip; chip = ofGetNextChip(&cursor)) {
    hw->set(chip->chip_id, static_cast<int32_t>(handle));
    file_printf("Calling ioctl for handle:%d in chip_id:%d\n", handle, chip->chip_id);
    if (!add_on_chip(kL2, chip, flow, actions, hw, handle)) return 0;
  }
  return 1;
}

int flow_acl(const acl_kind& k, bool l3, uint16_t port_id, fd_entry* flow, of_flow_hw_ref* hw) {
  if (!flow) {
    file_printf(k.null_flow, port_id);
    return 0;
  }
  if (!hw) {
    file_printf(k.null_hw, port_id);
    return 0;
  }
  if (port_id == OF_PORT_NONE) {
    if (l3) {
      file_printf("Error: Openflow L3 FLow CAM Add/Mod - invalid port id\n");
      return 0;
    }
    file_printf("Error: Openflow L2 FLow CAM Add/Mod - invalid port id\n");
    file_printf("%s: OpenFlow Generic L2 Flow CAM Add/Mod - with invalid port support\n",
                "of_dpx_l2_flow_acl");
  }
  of_flow_actions actions;
  parse(flow, &actions);
  if (flow->mod_pending) {
    of_chip_entry* chip = port_chip(port_id);
    if (!chip) return 0;
    int ok = modify_on_chip(k, chip, flow, &actions, hw);
    if (ok && !l3) file_printf("flow modification: psel programming done\n");
    return ok;
  }
  if (port_id == OF_PORT_NONE) return generic_l2_add(flow, &actions, hw);
  of_chip_entry* chip = port_chip(port_id);
  if (!chip) return 0;
  if (l3 && (flow->wildcards & OF_WC_ETHER_TYPE)) {
    file_printf(
        "Error: Openflow L3 FLow CAM Add/Mod - Invalid flow %d - Ether_type must be present in "
        "the openflow rule\n",
        flow->flow_id);
    return 0;
  }
  if ((l3 && flow->ether_type == OF_ETHER_TYPE_IPV6) || !of_chip_op(*k.add)) {
    // No IPv6 entry exists: the no-handler words, and no handle is drawn.
    file_printf("no handler for chip:%d flow_id:%d", chip->chip_id, flow->flow_id);
    return 0;
  }
  uint32_t handle = checkout_new_id(*k.pool);
  hw->set(chip->chip_id, static_cast<int32_t>(handle));
  if (l3) {
    file_printf("Calling ioctl for handle:%d\n", handle);
  } else {
    file_printf("Calling ioctl for handle:%d in chip_id:%d\n", handle, chip->chip_id);
  }
  if (!add_on_chip(k, chip, flow, &actions, hw, handle)) return 0;
  if (!l3) {
    file_printf("done l2 acl addd..\n");
    if (!flow->members) file_printf("fd member empty\n");
  }
  return 1;
}

int flow_acl_rem(const acl_kind& k, bool l3, uint16_t port_id, uint32_t flow_id,
                 of_flow_hw_ref* hw) {
  if (!hw) {
    if (l3) {
      file_printf("Error: flow hw data for port %d is NULL\n", port_id);
    } else if (port_id == OF_PORT_NONE) {
      file_printf("ERROR:  Generic hw flow data is Null\n");
    }
    return 0;
  }
  fd_entry* flow = openflow_lookup_flow_by_id(flow_id);
  if (!flow) {
    file_printf("Error: Cannot find the flow entry for flow id :%d\n", flow_id);
    return 0;
  }
  of_chip_entry* chip = nullptr;
  if (port_id == OF_PORT_NONE) {
    if (l3) {
      file_printf("Error: Openflow L3 FLow IPV4 CAM Rem - invalid port id\n");
      return 0;
    }
    file_printf("ALTR_OF_GEN_FLOW_SUP: L2 Generic Flow id :%d\n", flow_id);
  } else if (!(chip = port_chip(port_id))) {
    return 0;
  }
  file_printf("Calling ioctl for handle:%d\n", chip ? hw->get(chip->chip_id) : hw->get(0));
  of_flow_del_fn fn = of_chip_op(*k.del);
  if (!fn) {
    file_printf("no handler for chip:%d flow_id:%d", chip ? chip->chip_id : 0, flow_id);
    return 0;
  }
  auto remove_on = [&](of_chip_entry* c) {
    int rc = fn(c, flow, hw);
    if (rc != 0) {
      file_printf("Unable to program flow for chip:%d flow_id:%d rc:%d", c->chip_id, flow_id, rc);
      return false;
    }
    checkin_id(*k.pool, static_cast<uint32_t>(hw->get(c->chip_id)));
    hw->set(c->chip_id, of_flow_hw_ref::kNone);
    return true;
  };
  if (chip) return remove_on(chip) ? 1 : 0;
  avl_node* cursor = nullptr;
  for (of_chip_entry* c = ofGetFirstChip(&cursor); c; c = ofGetNextChip(&cursor))
    if (!remove_on(c)) return 0;
  return 1;
}

}  // namespace

int of_dpx_parse_flow_actions(const fd_entry* flow, of_flow_actions* actions) {
  *actions = of_flow_actions{};
  if (!flow->members || flow->member_count == 0) return 1;
  uint32_t n = 0;
  for (const of_flow_member* m = flow->members; m && n < flow->member_count; m = m->next, ++n) {
    if (m->action_bits & OF_ACT_POP_VLAN) {
      file_printf("%d:OFA_ACT_POP_VLAN action type\n", n);
      actions->pop_vlan = m;
    } else if (m->action_bits & OF_ACT_PUSH_VLAN) {
      file_printf("%d:OFA_ACT_PUSH_VLAN action type\n", n);
      actions->push_vlan = m;
    } else if (m->group_id != OF_GROUP_NONE) {
      file_printf("%d:OFA_ACT_GROUP id:%d action type\n", n, m->group_id);
      actions->group = m;
    } else if (m->out_port_id < OF_PORT_NONE) {
      file_printf("%d:OFA_ACT_OUTPUT action type port:0x%x\n", n, m->out_port_id);
      actions->output = m;
    } else if (m->queue_id < OF_QUEUE_NONE) {
      file_printf("%d:OFA_ACT_SET_QUEUE action type queue_id:0x%x\n", n, m->queue_id);
      actions->set_queue = m;
    } else if (m->action_bits & OF_ACT_SET_VLAN) {
      actions->set_vlan = m;
    } else {
      file_printf("Unknow action type\n");
      return 0;
    }
  }
  return 1;
}

int of_dpx_l2_flow_acl(uint16_t port_id, fd_entry* flow, of_flow_hw_ref* hw) {
  return flow_acl(kL2, false, port_id, flow, hw);
}

int of_dpx_l3_flow_acl(uint16_t port_id, fd_entry* flow, of_flow_hw_ref* hw) {
  return flow_acl(kL3, true, port_id, flow, hw);
}

int of_dpx_l2_flow_acl_rem(uint16_t port_id, uint32_t flow_id, of_flow_hw_ref* hw) {
  return flow_acl_rem(kL2, false, port_id, flow_id, hw);
}

int of_dpx_l3_flow_acl_rem(uint16_t port_id, uint32_t flow_id, of_flow_hw_ref* hw) {
  return flow_acl_rem(kL3, true, port_id, flow_id, hw);
}

int of_dpx_l3_flow_acl_remote_port(uint16_t, fd_entry*, of_flow_hw_ref*) {
  return 1;
}

int of_dpx_l2_flow_acl_remote_port(uint16_t port_id, fd_entry* flow, of_flow_hw_ref* hw) {
  if (!flow) {
    file_printf(kL2.null_flow, port_id);
    return 0;
  }
  if (!hw) {
    file_printf(kL2.null_hw, port_id);
    return 0;
  }
  if (port_id == OF_PORT_NONE) {
    file_printf("Error: Openflow L2 FLow CAM Add/Mod - invalid port id\n");
    return 0;
  }
  of_flow_actions actions;
  parse(flow, &actions);
  if (!port_chip(port_id)) return 0;
  if (flow->mod_pending) {
    file_printf("flow modification: psel programming done\n");
  } else if (!flow->members) {
    file_printf("fd member empty\n");
  }
  return 1;
}

int of_dpx_generic_flow_hw_add(fd_entry* flow, port_hw_data* hw) {
  if (hw->port_id != OF_PORT_NONE) {
    file_printf("Error: %s- Port_id should be invalid for flow-id: %d\n",
                "of_dpx_generic_flow_hw_add", flow->flow_id);
    return 0;
  }
  file_printf("OPENFLOW HARDWARE: Adding Openflow L2 flow cam entry\n");
  if (of_dpx_l2_flow_acl(OF_PORT_NONE, flow, &hw->hw) == 0) {
    file_printf("Error - Cannot Create Generic L2 Flow Cam entry for flow-id:%d \n", flow->flow_id);
    return 0;
  }
  ofa_debug_printf("OPENFLOW HARDWARE: Added Generic L2ACL flow cam entry for flow-id: %d\n",
                   flow->flow_id);
  return 1;
}
