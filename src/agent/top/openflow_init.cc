// The agent's databases: built once at start-up and torn down and rebuilt in place on a global
// OpenFlow disable. Each subsystem's tables are created here as that subsystem joins the agent.
#include "adapter/catchall.h"
#include "agent/agent_globals.h"
#include "agent/top/openflow_agt_main.h"
#include "agent/trace.h"
#include "flow/flow_engine.h"
#include "groups_meters/group_db.h"
#include "groups_meters/l2fwd_table.h"
#include "groups_meters/meter.h"
#include "ports/port_catchall.h"
#include "ports/port_lifecycle.h"
#include "ports/vlan_table.h"
#include "stats/stats.h"

int openflow_init(uint8_t mode) {
  if (openflow_init_completed) return 1;
  openflow_init_completed = 1;
  g_openflow_lp.mode = mode;
  g_openflow_lp.pools[0] = g_openflow_lp.pools[1] = nullptr;
  g_openflow_lp.counters[0] = g_openflow_lp.counters[1] = 0;
  if (!openflow_flow_db_init()) file_printf("openflow_init: flow databases not made\n");
  lp_openflow_init_port_db();
  // Meters, then groups; the per-process flow block, the IIVID-MAC table and the statistics
  // buckets are created here, in that order, by the subsystems that own them.
  if (!openflow_lp_meter_init()) file_printf("openflow_init: meter base not made\n");
  if (!openflow_lp_group_init()) file_printf("openflow_init: group base not made\n");
  of_init_ivid_mac_table();
  ofa_stats_meter_reset();
  if (!ofa_stats_init()) file_printf("openflow_init: statistics buckets not made\n");
  if (openflow_vlan_init() != 0) file_printf("openflow_init: VLAN tables not made\n");
  return 1;
}

void openflow_destroy() {
  g_openflow_lp.mode = OFA_MODE_NONE;
  for (uint32_t& c : g_openflow_lp.counters)
    c = 0;
  openflow_flow_db_destroy();
  openflow_lp_meter_destroy();
  openflow_lp_group_destroy();
  openflow_lp_dpx_del_all();
  lp_cam_rem_openflow_catchall_cams_for_portmask(nullptr);
  openflow_lp_interface_del_all();
  openflow_init_completed = 0;
  of_free_ivid_mac_table();
  openflow_vlan_destroy();
  ofa_stats_destroy();
}
