// The agent's own entry in the module table: the chip layer calls it back at chip up and at warm
// chip up.
#include "adapter/chip_up.h"
#include "agent/agent_globals.h"
#include "agent/top/openflow_agt_main.h"

void ofa_register_agent() {
  openflow_module& m = openflow_modules[OF_MODULE_AGT];
  m.id = OF_MODULE_AGT;
  m.name = "OF AGT";
  m.chip_up = ofa_chip_up;
  m.chip_warm_up = ofa_region_del;
}
