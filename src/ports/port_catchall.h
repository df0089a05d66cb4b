// The catch-all entries of OpenFlow ports as ports come and go and as the default action
// changes: programming them for the ports of a mask, removing them for a port or a mask, and
// reprogramming every port's and every chip's default entries with the agent's default action.
// The records and the slot calls are the adapter's (adapter/catchall.h).
#pragma once

#include <cstdint>

struct of_port_mask;

// Each physical, local port of the mask gets its catch-all (an L2 or L3 one by the port's kind;
// an L23 port none, though it is marked programmed). 1; 0 at the first port already programmed,
// which leaves the ports before it programmed and those after it untouched, or without a record.
int lp_cam_add_openflow_catchall_cams(const of_port_mask* mask);
// 1, or 0 for a port without a local entry or record. The record stays marked programmed until
// it is reset.
int lp_cam_rem_openflow_catchall_cams(uint16_t port_id);
// Each physical, local port of the mask; with null, each port of the interface table.
void lp_cam_rem_openflow_catchall_cams_for_portmask(const of_port_mask* mask);
// After a default-action change: the catch-all of each OpenFlow port that is not hybrid, then
// the default entries of each chip.
void openflow_lp_interface_reprogram_catch_all_entry();
