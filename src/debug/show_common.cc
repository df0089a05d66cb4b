#include "debug/show_common.h"

#include "agent/agent_globals.h"
#include "debug/cli.h"

bool ofa_show_check_version(ofa_writer* w, bool single) {
  if (g_openflow_lp.mode == OFA_MODE_NONE) {
    cli_printf(w, single ? "Error: Openflow is disabled \n" : "Openflow not enabled!\n");
    return false;
  }
  if (g_openflow_lp.mode <= 3) {
    cli_printf(w, "Openflow version must be equal or more than 1.3 to give this command\n");
    return false;
  }
  return true;
}

bool ofa_show_list_head(ofa_writer* w, const char* total, uint32_t count) {
  if (!ofa_show_check_version(w, false)) return false;
  if (count == 0) {
    cli_printf(w, "Total no. of entries printed: %u\n", 0);
    return false;
  }
  cli_printf(w, total, count);
  return true;
}
