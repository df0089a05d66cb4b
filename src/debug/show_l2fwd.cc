// "l2fwd_info": the L2 forwarding entries of the next-hop groups, by IIVID, then MAC.
#include "debug/cli.h"
#include "debug/shows.h"
#include "groups_meters/l2fwd_table.h"

void ofa_show_openflow_l2fwd_info_internal(ofa_writer* w, const of_ivid_mac_entry* e) {
  if (!e) return;
  const of_mac& m = e->mac;
  const uint32_t hi =
      (uint32_t{m[0]} << 24) | (uint32_t{m[1]} << 16) | (uint32_t{m[2]} << 8) | m[3];
  const uint32_t lo = (uint32_t{m[4]} << 8) | m[5];
  cli_printf(w, "%4d         0x%08x%04x       %3d\n", e->iivid, hi, lo, e->port_id);
}

void ofa_show_openflow_l2fwd_info(ofa_writer* w) {
  cli_printf(w, "IIVID       MAC                  Port ID\n");
  for (of_ivid_mac_entry* e = of_get_first_ivid_mac(); e; e = of_get_next_ivid_mac(e))
    ofa_show_openflow_l2fwd_info_internal(w, e);
}
