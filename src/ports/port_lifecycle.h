// The OpenFlow port lifecycle: a port of the manager's configuration becomes an OpenFlow port (an
// interface entry with its enable column written, the chip family's enable, the all-ports
// pseudo-VLAN and its flood group), goes online and offline, and stops being one again.
//
// Enable, disable, online and offline write the port's fields first and then call the chip
// family's slot (8, 9, 10); the fields stay as written whatever the chip answers. They return 0
// or a negative status: OFA_E_NO_HANDLER when the family has no handler, else the handler's.
#pragma once

#include <cstdint>

#include "ports/port_mask.h"

struct of_if_entry;

// Ports whose of_enabled is set.
extern uint16_t of_port_count;

// What a configuration message says about its port.
struct of_port_config {
  of_port_mask ports;
  of_port_mask l3_ports;  // members are Layer3 ports, the others Layer2
  uint16_t pvid = 0;
  char if_name[33] = {};  // 32 bytes on the wire, always terminated here
  uint32_t if_index = 0;
  uint8_t port_address[6] = {};
  uint32_t def_nhop_id = 0;
};

void port_set_openflow_port(uint16_t port_id, uint8_t value);
// hybrid nonzero: of_hybrid 1 and of_l3_type 0; else of_hybrid 0 and of_l3_type `type`.
void port_set_openflow_type(uint16_t port_id, uint8_t type, uint8_t hybrid);

// Add (add 1) or delete OpenFlow on the first port of the mask that is physical and has an
// entry (an add makes the entry); the mask's further members are not looked at. Sets debug bits
// 31 to 29 on every call. An add answers the pseudo-VLAN's flood refresh (1 or 0); 0 otherwise.
int openflow_lp_interface_config(uint8_t add, const of_port_config& cfg);
// Takes OpenFlow off a port that has an entry: count, disable, pseudo-VLAN, catch-all record.
void openflow_lp_interface_config_del(uint16_t port_id);
// Every OpenFlow port through openflow_lp_interface_config_del, then every entry deleted.
void openflow_lp_interface_del_all();

int openflow_lp_port_of_enable(of_if_entry* port);
int openflow_lp_port_of_disable(of_if_entry* port);
int openflow_lp_port_online(of_if_entry* port, uint32_t spare);
int openflow_lp_port_offline(of_if_entry* port, uint32_t spare);
