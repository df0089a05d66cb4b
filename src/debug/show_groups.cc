// "group all" and "group N": the group base by id, each group with its buckets (a multicast group,
// type ALL, shows no MAC) and the multicast group or next hop it took in the chips.
#include "debug/cli.h"
#include "debug/show_common.h"
#include "debug/shows.h"
#include "groups_meters/group_db.h"

const char* ofa_show_openflow_group_type_string(uint32_t type) {
  switch (type) {
    case OF_LP_GROUP_ALL:
      return "ALL";
    case OF_LP_GROUP_SELECT:
      return "SELECT";
    case OF_LP_GROUP_INDIRECT:
      return "INDIRECT";
    case OF_LP_GROUP_FAST_FAILOVER:
      return "FF";
    default:
      return "UNKNOWN";
  }
}

void ofa_show_openflow_single_group_internal(ofa_writer* w, const group_node* g) {
  if (!g) return;
  cli_printf(w, "Group Id: %d       %s\n", g->group_id,
             ofa_show_openflow_group_type_string(g->type));
  cli_printf(w, "    Total Buckets:: %d\n", g->bucket_count);
  for (const group_bucket* b = g->bucket_list; b; b = b->next) {
    if (g->type == OF_LP_GROUP_ALL) {
      cli_printf(w, "    Out port: %4d Out vlan: %4d\n", b->port_id, b->vlan_id);
    } else {
      cli_printf(w, "    Out port: %4d Out vlan: %4d Out MAC: 0x%08x%04x\n", b->port_id, b->vlan_id,
                 b->mac_hi, b->mac_lo >> 16);
    }
  }
  cli_printf(w, "    HW Info:\n");
  cli_printf(w, "       mgid: %d nhopid: %d\n", g->mgid, g->nhopid);
}

void ofa_show_openflow_groups(ofa_writer* w) {
  if (!ofa_show_list_head(w, "Total Number of Groups: %u\n", of_lp_group_get_group_count())) return;
  for (const group_node* g = of_lp_group_get_first_group_entry(); g;
       g = of_lp_group_get_next_group_entry_key(g->group_id))
    ofa_show_openflow_single_group_internal(w, g);
}

void ofa_show_openflow_single_group(ofa_writer* w, uint32_t group_id) {
  if (!ofa_show_check_version(w, true)) return;
  const group_node* g = of_lp_retrieve_group_from_groupbase(group_id);
  if (!g) {
    cli_printf(w, "No entry for group id: %u found\n", group_id);
    return;
  }
  ofa_show_openflow_single_group_internal(w, g);
}
