// "port all" and "port N": the interface table, one block per port, highest port id first.
#include "chip/chip_table.h"
#include "chip/if_table.h"
#include "debug/cli.h"
#include "debug/show_common.h"
#include "debug/shows.h"

void ofa_show_openflow_port_internal(ofa_writer* w, const of_if_entry* port) {
  if (!port) return;
  int chip_id = port->chip ? static_cast<int>(port->chip->chip_id) : -1;
  cli_printf(w, "Port Id: %d\n", port->port_id);
  cli_printf(w, "      OF enabled: %d type: %s\n", port->of_enabled,
             port->of_l3_type ? "L3" : "L2");
  cli_printf(w, "      ifIndex: 0x%x ifName: %s chip_id: %d is_local: %d\n", port->ifIndex,
             port->ifName, chip_id, port->is_local);
  cli_printf(w, "      iivid_min: %d iivid_max: %d lrn: %d rx_fwd: %d tx_en: %d\n", port->iivid_min,
             port->iivid_max, port->lrn, port->rx_fwd, port->tx_en);
  cli_printf(w, "      is_mac_cls: %d is_typ_cls: %d pvid: %d ppid: %d vpnid: %d\n",
             port->is_mac_cls, port->is_typ_cls, port->pvid, port->ppid, port->vpnid);
  cli_printf(w, "      of_def_nhop_id: %d\n", port->of_def_nhop_id);
  cli_printf(w, "\n");
}

void ofa_show_openflow_ports(ofa_writer* w) {
  ofa_show_each(w, of_get_first_port, of_get_next_port, ofa_show_openflow_port_internal);
}

void ofa_show_openflow_single_port(ofa_writer* w, uint32_t port_id) {
  if (port_id > 0xffff) return;
  ofa_show_openflow_port_internal(w, ofLookupIfEntrybyPortId(static_cast<uint16_t>(port_id)));
}
