// The flow shows: the flow table in flow order ("flow_tree"), each chip's L2 and L3 trees, and the
// detail of one flow (header, match, actions, hardware places, statistics), alone or for every
// flow by flow id, at most 5000.
#include <algorithm>
#include <vector>

#include "agent/flow_record.h"
#include "agent/trace.h"
#include "chip/chip_flow_tree.h"
#include "chip/chip_table.h"
#include "chip/if_table.h"
#include "debug/cli.h"
#include "debug/shows.h"
#include "flow/flow_engine.h"
#include "flow/flow_table.h"
#include "foundation/avl_tree.h"
#include "stats/stats.h"

namespace {

// Wildcard bits of the fields the match lines show (agent/flow_record.h has those the engine
// reads itself).
constexpr uint32_t kWcSrcMac = 0x00000004;
constexpr uint32_t kWcDstMac = 0x00000008;
constexpr uint32_t kWcProto = 0x00000020;
constexpr uint32_t kWcVlanPcp = 0x00008000;
constexpr uint32_t kWcSrcMacMask = 0x00010000;
constexpr uint32_t kWcDstMacMask = 0x00020000;
constexpr uint32_t kWcTos = 0x00200000;
constexpr uint32_t kWcIcmpv6Type = 0x00800000;
constexpr uint32_t kWcIcmpv6Code = 0x01000000;
constexpr uint32_t kWcSrcIp = 0x10000000;
constexpr uint32_t kWcDstIp = 0x20000000;

bool has_mac(const std::array<uint8_t, 6>& mac) {
  return std::any_of(mac.begin(), mac.end(), [](uint8_t b) { return b != 0; });
}

void tree_lines(ofa_writer* w, avl_tree* tree, bool chip) {
  cli_printf(w, chip ? "       priority     flow id\n" : "       Priority     Flow id\n");
  for (avl_node* n = tree ? avl_getfirst(tree) : nullptr; n; n = avl_getnext(tree, n)) {
    const auto* f = static_cast<const of_chip_flow_node*>(n->info);
    cli_printf(w, "       %4d          %6d\n", f->priority, f->flow_id);
  }
}

void chip_tree(ofa_writer* w, uint32_t chip_id, of_flow_tree_kind kind) {
  of_chip_entry* chip = ofLookupChip(chip_id);
  if (!chip) {
    cli_printf(w, "Chip Id: %d doesn't exist\n", chip_id);
    return;
  }
  cli_printf(w, "Chip Id: %d\n", chip_id);
  tree_lines(w, of_chip_flow_tree(kind, chip), true);
}

void show_openflow_flow_entry_header(const fd_entry& f) {
  if (f.not_on_lp) cli_out("[Flow not in this LP]\n");
  cli_out("Flow Id: %d, ", f.flow_id);
  cli_out("Priority: %d, ", f.priority);
  cli_out("FD Id: %d, ", f.fd_id);
  cli_out("PW Id: %d\n", f.pw_id);
}

void show_openflow_flow_entry_rule_match(const fd_entry& f) {
  auto on = [&](uint32_t bit) { return (f.wildcards & bit) == 0; };
  cli_out("\tRule:\n");
  if (on(OF_WC_IN_PORT)) cli_out("\t   In Port:\t %d\n", f.in_port_id);
  if (on(OF_WC_IN_VLAN)) {
    if (f.in_tagged) {
      cli_out("\t   In Vlan:\t Tagged[%d]\n", f.in_vlan_id);
    } else {
      cli_out("\t   In Vlan:\t Untagged\n");
    }
  }
  if (on(kWcVlanPcp)) cli_out("\t   Vlan PCP:\t %d\n", f.vlan_upbit);
  if (on(kWcSrcMac)) cli_out("\t   Source Mac:\t %m \n", f.src_mac.data());
  if (on(kWcDstMac)) cli_out("\t   Destination Mac:\t %m \n", f.dst_mac.data());
  if (on(kWcSrcMacMask)) cli_out("\t   Source Mac Mask:\t %m \n", f.src_mac_mask.data());
  if (on(kWcDstMacMask)) cli_out("\t   Destination Mac Mask:\t %m \n", f.dst_mac_mask.data());
  if (on(OF_WC_ETHER_TYPE)) cli_out("\t   Ether type:\t 0x%x \n", f.ether_type);
  if (on(kWcSrcIp)) cli_out("\t   Source IP :\t %I\tSubnet IP :\t %I \n", f.src_ip, f.src_ip_mask);
  if (on(kWcDstIp)) {
    cli_out("\t   Destination IP:\t %I\tSubnet IP :\t %I \n", f.dest_ip, f.dest_ip_mask);
  }
  if (on(kWcTos)) {
    cli_out(f.version == OFV_100 ? "\t   IP TOS:\t  \t %u \n" : "\t   IP DSCP:\t   \t %u \n",
            f.ip_tos);
  }
  if (on(kWcProto)) cli_out("\t   IP Protocol:\t %u \n", f.ip_protocol);
  if (on(OF_WC_TP_SRC)) cli_out("\t   IP Protocol Source Port:\t %u \n", f.src_port);
  if (on(OF_WC_TP_DST)) cli_out("\t   IP Protocol Destination Port:\t %u \n", f.dst_port);
  if (on(OF_WC_ICMPV4_TYPE)) cli_out("\t   ICMPV4 Type:     \t %u \n", f.icmpv4_type);
  if (on(OF_WC_ICMPV4_CODE)) cli_out("\t   ICMPV4 Code:     \t %u \n", f.icmpv4_code);
  if (on(kWcIcmpv6Type)) cli_out("\t   ICMPV6 Type:     \t %u \n", f.icmpv6_type);
  if (on(kWcIcmpv6Code)) cli_out("\t   ICMPV6 Code:     \t %u \n", f.icmpv6_code);
}

void old_form_member(const of_flow_member& m) {
  if (m.out_port_id == OF_PORT_CONTROLLER) {
    cli_out("\t   Out Port: send to controller\n");
    return;
  }
  cli_out("\t   Out Port:  %d", m.out_port_id);
  if (m.out_tagged == 2) {
    cli_out(", Vlan: STRIPPED");
  } else {
    cli_out(", %s", m.out_tagged == 1 ? "Tagged" : "Untagged");
    if (m.out_tagged == 1 && m.out_vlan_id != OF_OUT_VLAN_NONE)
      cli_out(", Vlan: %d", m.out_vlan_id);
  }
  if (m.vlan_upbits != OF_UPBITS_NONE) cli_out(", Vlan PCP: %d", m.vlan_upbits);
  if (has_mac(m.set_src_mac)) cli_out(", Source MAC: %m", m.set_src_mac.data());
  if (has_mac(m.set_dst_mac)) cli_out(", Destination MAC: %m", m.set_dst_mac.data());
  if (m.nw_tos != OF_TOS_NONE) {
    cli_out("\n\t   Replace TOS: %d\n", m.nw_tos * 4);
  } else {
    cli_out("\n");
  }
}

void new_form_member(const of_flow_member& m) {
  if (m.out_port_id == OF_PORT_CONTROLLER) {
    cli_out("\t\tOut Port:\tsend to controller");
  } else if (m.out_port_id == OF_PORT_NORMAL) {
    cli_out("\t\tOut Port:\tNORMAL");
  } else if (m.group_id != OF_GROUP_NONE) {
    cli_out("\t\tOut-Group: %d", m.group_id);
  } else if (m.out_port_id != OF_PORT_NONE) {
    cli_out("\t\tOut Port:\t%d", m.out_port_id);
  }
  if (m.action_bits & OF_ACT_POP_VLAN) cli_out(", Pop-vlan-tag");
  if (m.action_bits & OF_ACT_PUSH_VLAN) cli_out(", Push-vlan-tag: 0x%4x", m.push_vlan_type);
  if (m.action_bits & OF_ACT_SET_VLAN) cli_out(", Vlan id: %d", m.out_vlan_id);
  if (m.vlan_upbits != OF_UPBITS_NONE) cli_out(", Vlan PCP: %d", m.vlan_upbits);
  if (m.queue_id != OF_QUEUE_NONE) cli_out(", Queue: %d", m.queue_id);
  if (has_mac(m.set_src_mac)) cli_out(", Source MAC: %m", m.set_src_mac.data());
  if (has_mac(m.set_dst_mac)) cli_out(", Destination MAC: %m", m.set_dst_mac.data());
  if (m.inner_flags & 0x8000) cli_out("   Pop-in-vlan-tag");
  if (m.inner_flags & 0x4000) cli_out("   Push-in-vlan-tag: 0x%4x", m.push_inner_type);
  if (m.inner_flags & 0x2000) {
    cli_out("   In Vlan:");
    cli_out(" %d", m.inner_vlan_id);
    if (m.inner_upbits != OF_UPBITS_NONE) cli_out(", In Vlan PCP: %d", m.inner_upbits);
  }
  if (m.nw_tos != OF_TOS_NONE) cli_out("\n\t\t\tIP DSCP Replacement: %d", m.nw_tos);
  if (m.set_ttl != OF_TTL_NONE && m.set_ttl != 0) cli_out("\n\t\t\tSet IP TTL: %d", m.set_ttl);
  if (m.action_bits & OF_ACT_DEC_TTL) cli_out("\n\t\tDec IP TTL");
  cli_out("\n");
}

void show_openflow_flow_entry_rule_actions(const fd_entry& f) {
  if (f.version != OFV_100 && f.version != OFV_130) return;
  cli_out("\tAction: %s\n", f.forward_action ? "FORWARD" : "DROP");
  for (const of_flow_member* m = f.members; m; m = m->next) {
    if (f.version == OFV_100) {
      old_form_member(*m);
    } else {
      new_form_member(*m);
    }
  }
  if (f.version == OFV_100) {
    cli_out("\t   FID: ");
    cli_out(f.fid != OF_FID_NONE ? "0x%x" : "-N/A-", f.fid);
    cli_out(", MVID: ");
    cli_out(f.mvid != OF_MVID_NONE ? "0x%x" : "-N/A-", f.mvid);
    cli_out("\n");
  } else if (f.meter_id != 0) {
    cli_out("\n\tMeter id: %d\n", f.meter_id);
  }
}

port_hw_data* hw_of(const fd_entry& f) {
  of_flow_node* n = of_lookup_flow(f.priority, f.flow_id);
  return n ? n->hw : nullptr;
}

void show_openflow_flow_entry_hardware_info(const fd_entry& f, const port_hw_data* hw) {
  cli_out("\tHardware Information:\n");
  if (!hw) {
    cli_out("\t   No Hardware entry found\n");
    return;
  }
  if (f.is_generic) {
    for (uint16_t p = 0; p <= OF_MAX_PORT; ++p) {
      const of_if_entry* port = ofLookupIfEntrybyPortId(p);
      if (!port || !port->of_enabled || !port->is_local || !port->chip) continue;
      cli_out("\tPort: %p   Chip Id : %d, TTI Index: %d ", p, port->chip->chip_id,
              hw->hw.get(port->chip->chip_id));
      cli_out(" Counter Index: -N/A- Bytes: 0\n");
    }
    return;
  }
  const of_if_entry* port = ofLookupIfEntrybyPortId(f.in_port_id);
  if (!port) {
    cli_out("Invalid Port \n");
    return;
  }
  if (!port->chip) {
    file_printf("OPENFLOW Error: chip NULL\n");
    return;
  }
  cli_out("\tPort: %p   Chip Id : %d, Cam Index: 0x%x Packets: %s\n", f.in_port_id,
          port->chip->chip_id, hw->hw.get(port->chip->chip_id),
          cu_print_counter64(hw->packet_count).text);
}

// A flow that only goes to the controller: every member sends there.
bool openflow_check_if_cntllr_only_flow(const fd_entry& f) {
  if (!f.send_to_ctrl) return false;
  for (const of_flow_member* m = f.members; m; m = m->next) {
    if (m->out_port_id != OF_PORT_CONTROLLER && m->out_port_id != OF_PORT_NONE) return false;
  }
  return true;
}

void show_openflow_flow_entry_rule_stats(const port_hw_data* hw, const fd_entry& f) {
  file_printf("Enter %s for DPX\n", "show_openflow_flow_entry_rule_stats");
  cli_out("\tStatistics:\n");
  if (!hw) {
    cli_out("\t   No Hardware entry found\n");
    return;
  }
  cli_out("\t   Total Pkts: %s\n", cu_print_counter64(f.packet_count).text);
  cli_out("\t   Total Bytes: %s\n", cu_print_counter64(f.byte_count).text);
}

void flow_block(const fd_entry& f) {
  const port_hw_data* hw = hw_of(f);
  show_openflow_flow_entry_header(f);
  show_openflow_flow_entry_rule_match(f);
  show_openflow_flow_entry_rule_actions(f);
  show_openflow_flow_entry_hardware_info(f, hw);
  if (!openflow_check_if_cntllr_only_flow(f)) show_openflow_flow_entry_rule_stats(hw, f);
  cli_out("\n");
}

uint32_t collect_id(fd_entry* f, void* arg) {
  static_cast<std::vector<uint32_t>*>(arg)->push_back(f->flow_id);
  return 0;
}

}  // namespace

void ofa_show_openflow_flow_tree() {
  cli_out("       Priority     Flow id\n");
  avl_node* it = nullptr;
  for (of_flow_node* n = of_get_first_flow(&it); n; n = of_get_next_flow(&it))
    cli_out("       %4d          %6d\n", n->priority, n->flow_id);
}

void ofa_show_openflow_single_chip_l2flow_tree(ofa_writer* w, uint32_t chip_id) {
  chip_tree(w, chip_id, of_flow_tree_kind::l2);
}

void ofa_show_openflow_single_chip_l3flow_tree(ofa_writer* w, uint32_t chip_id) {
  chip_tree(w, chip_id, of_flow_tree_kind::l3);
}

void show_openflow_single_flow(uint32_t flow_id) {
  const fd_entry* f = openflow_lookup_flow_by_id(flow_id);
  if (!f) {
    cli_out("Error: Cannot find the flow entry for flow id :%d\n", flow_id);
    return;
  }
  flow_block(*f);
  if (f->send_to_ctrl) {
    cli_out("\nCumulative stats for all flows that trap to send to controller\n");
    cli_out("Total Number of packets trapped to be sent to controller: %20s\n",
            cu_print_counter64(g_openflow_pkt_to_cpu_cnt).text);
    cli_out("Total Number of bytes trapped to be sent to controller  : %20s\n",
            cu_print_counter64(g_openflow_bytes_to_cpu_cnt).text);
  }
}

void show_openflow_flow_database_detail_callback(uint32_t /*arg*/) {
  std::vector<uint32_t> ids;
  ids.reserve(openflow_flow_count());
  openflow_walk_flows(collect_id, &ids);
  size_t shown = std::min<size_t>(ids.size(), OFA_SHOW_FLOW_MAX);
  std::partial_sort(ids.begin(), ids.begin() + static_cast<std::ptrdiff_t>(shown), ids.end());
  for (size_t i = 0; i < shown; ++i)
    show_openflow_single_flow(ids[i]);
}
