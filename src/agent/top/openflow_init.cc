// The agent's databases: built once at start-up and torn down and rebuilt in place on a global
// OpenFlow disable. Each subsystem's tables are created here as that subsystem joins the agent.
#include "adapter/catchall.h"
#include "agent/agent_globals.h"
#include "agent/top/openflow_agt_main.h"
#include "agent/trace.h"
#include "flow/flow_engine.h"
#include "ports/port_catchall.h"

int openflow_init(uint8_t mode) {
  if (openflow_init_completed) return 1;
  openflow_init_completed = 1;
  g_openflow_lp.mode = mode;
  g_openflow_lp.pools[0] = g_openflow_lp.pools[1] = nullptr;
  g_openflow_lp.counters[0] = g_openflow_lp.counters[1] = 0;
  if (!openflow_flow_db_init()) file_printf("openflow_init: flow databases not made\n");
  lp_openflow_init_port_db();
  // Wiring point: the flow id hash table and flow-record pool, meters and groups, the
  // per-process flow block, the flow, VLAN, IIVID-MAC and port-VID tables, the all-ports
  // pseudo-VLAN and the statistics buckets are created here, in that order, by the subsystems
  // that own them.
  openflowAgtPcb.hw.all_ports_vlan = 0xffffffffu;
  return 1;
}

void openflow_destroy() {
  g_openflow_lp.mode = OFA_MODE_NONE;
  for (uint32_t& c : g_openflow_lp.counters)
    c = 0;
  openflow_flow_db_destroy();
  lp_cam_rem_openflow_catchall_cams_for_portmask(nullptr);
  // Wiring point: the mirror of openflow_init (hash table, pools, meters, groups, hardware
  // entries, interfaces, tables, statistics buckets).
  openflow_init_completed = 0;
}
