// "vlan all" and "vlan N": the VLAN table, highest id first, so the all-ports pseudo-VLAN (id
// 0xFFFFFFFF, printed -1) leads; member ports by interface index.
#include "chip/if_table.h"
#include "debug/cli.h"
#include "debug/show_common.h"
#include "debug/shows.h"
#include "foundation/avl_tree.h"
#include "ports/vlan_table.h"

void ofa_show_openflow_vlan_internal(ofa_writer* w, const of_vlan_entry* vlan) {
  if (!vlan) return;
  cli_printf(w, "Vlan Id: %d\n", vlan->vlan_id);
  cli_printf(w, "   iivid: %4d mgid: %4d\n", vlan->iivid, vlan->mgid);
  cli_printf(w, "   member ports: ");
  if (vlan->port_tree) {
    for (avl_node* n = avl_getfirst(vlan->port_tree); n; n = avl_getnext(vlan->port_tree, n))
      cli_printf(w, "%3d, ", static_cast<const of_if_entry*>(n->info)->port_id);
  }
  cli_printf(w, "\n");
}

void ofa_show_openflow_vlans(ofa_writer* w) {
  ofa_show_each(w, of_get_first_vlan, of_get_next_vlan, ofa_show_openflow_vlan_internal);
}

void ofa_show_openflow_single_vlan(ofa_writer* w, uint32_t vlan_id) {
  ofa_show_openflow_vlan_internal(w, of_lookup_vlan(vlan_id));
}
