// "evt x all" and "evt x N": the egress VLAN translations, port by port in the interface table's
// order, each port's records highest IIVID first.
#include "chip/if_table.h"
#include "debug/cli.h"
#include "debug/show_common.h"
#include "debug/shows.h"
#include "foundation/avl_tree.h"
#include "ports/evt.h"

namespace {

constexpr const char* kHead = "(PORT, IIVID:P/V) -> (isTag, Tag)\n";

}  // namespace

void ofa_show_openflow_evt_port_internal(ofa_writer* w, const of_if_entry* port) {
  if (!port || !port->evt_tree) return;
  for (avl_node* n = avl_getfirst(port->evt_tree); n; n = avl_getnext(port->evt_tree, n)) {
    const auto* e = static_cast<const of_evt_entry*>(n->info);
    cli_printf(w, "(%4d, %4d:%s) -> (%d, %4d)\n", port->port_id, e->iivid,
               e->type == OF_EVT_TYPE_VLAN ? "V" : "P", e->is_tag, e->out_vlan);
  }
}

void ofa_show_openflow_evt_ports(ofa_writer* w) {
  cli_printf(w, kHead);
  ofa_show_each(w, of_get_first_port, of_get_next_port, ofa_show_openflow_evt_port_internal);
}

void ofa_show_openflow_single_evt_port(ofa_writer* w, uint32_t port_id) {
  cli_printf(w, kHead);
  if (port_id <= 0xffff)
    ofa_show_openflow_evt_port_internal(w, ofLookupIfEntrybyPortId(static_cast<uint16_t>(port_id)));
}
