#include "chip/engine_lookups.h"

of_engine_lookups of_lookups;

bool of_lookup_vlan_view(uint32_t vlan_id, of_vlan_view* out) {
  return of_lookups.vlan && of_lookups.vlan(vlan_id, out);
}

bool of_lookup_all_ports_vlan_view(of_vlan_view* out) {
  return of_lookups.all_ports_vlan && of_lookups.all_ports_vlan(out);
}

bool of_lookup_group_view(int32_t group_id, of_group_view* out) {
  return of_lookups.group && of_lookups.group(group_id, out);
}

uint32_t of_lookup_policer_of_meter(uint32_t flat_chip_id, uint32_t meter_id) {
  return of_lookups.policer_of_meter ? of_lookups.policer_of_meter(flat_chip_id, meter_id)
                                     : OF_POLICER_UNKNOWN;
}

uint32_t of_lookup_vlan_count() {
  return of_lookups.vlan_count ? of_lookups.vlan_count() : 0;
}

of_vlan_entry* of_lookup_first_vlan(avl_node** it) {
  return of_lookups.first_vlan ? of_lookups.first_vlan(it) : nullptr;
}

of_vlan_entry* of_lookup_next_vlan(avl_node** it) {
  return of_lookups.next_vlan ? of_lookups.next_vlan(it) : nullptr;
}
