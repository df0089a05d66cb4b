// "evt x all" and "evt x N": the egress VLAN translations of the ports. Their table is not part
// of the agent yet: the head line alone, as for ports without translations.
#include "debug/cli.h"
#include "debug/shows.h"

void ofa_show_openflow_evt_ports(ofa_writer* w) {
  cli_printf(w, "(PORT, IIVID:P/V) -> (isTag, Tag)\n");
}

void ofa_show_openflow_single_evt_port(ofa_writer* w, uint32_t /*port_id*/) {
  cli_printf(w, "(PORT, IIVID:P/V) -> (isTag, Tag)\n");
}
