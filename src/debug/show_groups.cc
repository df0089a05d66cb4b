// "group all" and "group N". The group base is not part of the agent yet: with OpenFlow on, the
// list is that of an empty base and every id is unknown.
#include "debug/cli.h"
#include "debug/show_common.h"
#include "debug/shows.h"

void ofa_show_openflow_groups(ofa_writer* w) {
  if (!ofa_show_check_version(w, false)) return;
  cli_printf(w, "Total no. of entries printed: %u\n", 0);
}

void ofa_show_openflow_single_group(ofa_writer* w, uint32_t group_id) {
  if (!ofa_show_check_version(w, true)) return;
  cli_printf(w, "No entry for group id: %u found\n", group_id);
}
