// "meter all" and "meter N". The meter base is not part of the agent yet: with OpenFlow on, the
// list is that of an empty base and every id is unknown.
#include "debug/cli.h"
#include "debug/show_common.h"
#include "debug/shows.h"

void ofa_show_openflow_meters(ofa_writer* w) {
  if (!ofa_show_check_version(w, false)) return;
  cli_printf(w, "Total no. of entries printed: %u\n", 0);
}

void ofa_show_openflow_single_meter(ofa_writer* w, uint32_t meter_id) {
  if (!ofa_show_check_version(w, true)) return;
  cli_printf(w, "No entry for meter id: %u found\n", meter_id);
}
