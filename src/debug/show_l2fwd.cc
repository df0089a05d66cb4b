// "l2fwd_info": the L2 forwarding entries. Their table is not part of the agent yet: the head
// line alone, as for an empty table.
#include "debug/cli.h"
#include "debug/shows.h"

void ofa_show_openflow_l2fwd_info(ofa_writer* w) {
  cli_printf(w, "IIVID       MAC                  Port ID\n");
}
