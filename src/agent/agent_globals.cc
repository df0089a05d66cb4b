// The process-wide records and the module table.
#include "agent/agent_globals.h"

#include "agent/reset.h"

openflow_agt_pcb openflowAgtPcb{};
of_corvu_state_t of_corvu_state{};
openflow_lp_globals g_openflow_lp{};
int openflow_init_completed = 0;

openflow_module openflow_modules[OF_MODULE_COUNT] = {};

namespace {
void reset_records() {
  openflowAgtPcb = openflow_agt_pcb{};
  of_corvu_state = of_corvu_state_t{};
  g_openflow_lp = openflow_lp_globals{};
  openflow_init_completed = 0;
  for (auto& m : openflow_modules)
    m = openflow_module{};
}
const ofa_reset_hook reset_hook{30, reset_records};
}  // namespace
