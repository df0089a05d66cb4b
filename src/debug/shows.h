// The show renderers: one per table, each printing the table's text through the writer `cli`
// (debug/cli.h). They change nothing; a null record prints nothing.
#pragma once

#include <cstdint>

struct fd_entry;
struct group_node;
struct meter_node;
struct of_chip_entry;
struct of_if_entry;
struct of_ivid_mac_entry;
struct of_vlan_entry;
struct ofa_writer;

// Flows (show_flows.cc). The detail walk shows at most OFA_SHOW_FLOW_MAX flows, by flow id.
inline constexpr uint32_t OFA_SHOW_FLOW_MAX = 5000;
void ofa_show_openflow_flow_tree();
void show_openflow_flow_database_detail_callback(uint32_t arg);
void show_openflow_single_flow(uint32_t flow_id);
void ofa_show_openflow_single_chip_l2flow_tree(ofa_writer* w, uint32_t chip_id);
void ofa_show_openflow_single_chip_l3flow_tree(ofa_writer* w, uint32_t chip_id);

// Chips (show_chips.cc), highest flat id first.
void ofa_show_openflow_chips(ofa_writer* w);
void ofa_show_openflow_single_chip(ofa_writer* w, uint32_t chip_id);
void ofa_show_openflow_chip_internal(ofa_writer* w, const of_chip_entry* chip);

// Ports (show_ports.cc), highest port id first.
void ofa_show_openflow_ports(ofa_writer* w);
void ofa_show_openflow_single_port(ofa_writer* w, uint32_t port_id);
void ofa_show_openflow_port_internal(ofa_writer* w, const of_if_entry* port);

// VLANs (show_vlans.cc), highest id first, so the all-ports pseudo-VLAN (-1) leads.
void ofa_show_openflow_vlans(ofa_writer* w);
void ofa_show_openflow_single_vlan(ofa_writer* w, uint32_t vlan_id);
void ofa_show_openflow_vlan_internal(ofa_writer* w, const of_vlan_entry* vlan);

// Groups and meters (show_groups.cc, show_meters.cc), by id; before OpenFlow is on, or below
// version 1.3, the texts of show_common.h. A meter's renderer gives its lines: 8, and 7 or 8 a
// band.
void ofa_show_openflow_groups(ofa_writer* w);
void ofa_show_openflow_single_group(ofa_writer* w, uint32_t group_id);
void ofa_show_openflow_single_group_internal(ofa_writer* w, const group_node* group);
// "ALL", "SELECT", "INDIRECT", "FF", else "UNKNOWN".
const char* ofa_show_openflow_group_type_string(uint32_t type);
void ofa_show_openflow_meters(ofa_writer* w);
void ofa_show_openflow_single_meter(ofa_writer* w, uint32_t meter_id);
int ofa_show_openflow_single_meter_internal(ofa_writer* w, const meter_node* meter);

// Egress VLAN translations (show_evt.cc), port by port as the ports show, and L2 forwarding
// entries (show_l2fwd.cc), by IIVID, then MAC.
void ofa_show_openflow_evt_ports(ofa_writer* w);
void ofa_show_openflow_single_evt_port(ofa_writer* w, uint32_t port_id);
void ofa_show_openflow_evt_port_internal(ofa_writer* w, const of_if_entry* port);
void ofa_show_openflow_l2fwd_info(ofa_writer* w);
void ofa_show_openflow_l2fwd_info_internal(ofa_writer* w, const of_ivid_mac_entry* entry);
