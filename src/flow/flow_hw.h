// The per-port steps shared by add, modify and delete: which kind a port makes of a flow, and the
// port-specific add and modify with their local and remote forms.
#pragma once

#include <cstdint>

struct fd_entry;
struct port_hw_data;
struct of_if_entry;

// A fresh hardware record for the flow: port id, flow id, priority, chips 0 to 2 empty.
port_hw_data* of_new_port_hw_data(const fd_entry* flow, uint16_t port_id);

int openflow_generic_mode_port_specific_hw_add(uint16_t port_id, fd_entry* flow, port_hw_data* hw,
                                               uint8_t* change);
int openflow_generic_mode_remote_port_specific_hw_add(uint16_t port_id, fd_entry* flow,
                                                      port_hw_data* hw, uint8_t* change);
int openflow_generic_mode_port_specific_hw_mod(uint16_t port_id, fd_entry* flow, port_hw_data* hw,
                                               uint8_t* change);
int openflow_generic_mode_remote_port_specific_hw_mod(uint16_t port_id, fd_entry* flow,
                                                      port_hw_data* hw, uint8_t* change);

// The generic flow's port walk: whether a local OpenFlow port fits the flow's rule_kind (1), does
// not (0; the "not a valid" line is logged), or is no OpenFlow port of this LP (-1).
int of_generic_port_fits(const of_if_entry* port, const fd_entry* flow);
// The generic flow's walk of ports 0 to 288: `step(port id)` for each local OpenFlow port that
// fits the flow; a port that does not fit counts as a success. The walk ends at a failed step when
// `stop_on_failure`. `noted` tells whether this LP has an OpenFlow port at all; `result` is the
// last port's.
struct of_generic_walk {
  bool noted = false;
  int result = 1;
};
of_generic_walk of_walk_generic_ports(fd_entry* flow, int (*step)(uint16_t port, fd_entry* flow),
                                      bool stop_on_failure);
// The reply of a generic flow after its walk: the pseudo success of an LP without OpenFlow ports
// (not_on_lp set), else a text already written, else "SUCCESS" or "FAILED" by the result.
void of_generic_reply(fd_entry* flow, const of_generic_walk& walk);
// Skipped, or counts as a noted OpenFlow port of this LP.
bool of_port_is_local_openflow(const of_if_entry* port);
// A flow with an mvid or fid leaves its (empty, on this LP) multicast replication: the debug line,
// and the mvid becomes 2048.
void of_flow_clean_multicast(fd_entry* flow, const char* who);
// The reply of a flow whose in-port is not an OpenFlow port here (or has no interface entry).
void of_flow_not_enabled_reply(const fd_entry* flow);
// The reply and flag of a flow on a port of another LP (mvid none: pseudo success).
void of_flow_remote_reply(fd_entry* flow);
