// The process-wide records and the module table.
#include "agent/agent_globals.h"

openflow_agt_pcb openflowAgtPcb{};
of_corvu_state_t of_corvu_state{};
openflow_lp_globals g_openflow_lp{};
int openflow_init_completed = 0;

openflow_module openflow_modules[OF_MODULE_COUNT] = {};
