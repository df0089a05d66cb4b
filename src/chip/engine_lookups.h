// What the backends ask of the engines above them: a VLAN's IIVID and flood mgid, a group's kind
// and hardware objects, a meter's policer, and the walk over all VLANs that a port's translations
// need. The engines that own
// those tables (ports and VLANs, groups and meters) register their answers at start-up; until
// they do, every lookup answers "unknown", which a backend programs as it would an unknown id.
#pragma once

#include <cstdint>

#include "chip/group_entry.h"

struct avl_node;
struct of_vlan_entry;

struct of_vlan_view {
  uint32_t iivid = 0;
  uint32_t mgid = 0;  // the VLAN's flood group
};

inline constexpr uint32_t OF_POLICER_UNKNOWN = 4096;

struct of_group_view {
  uint32_t type = 0;      // OF_LP_GROUP_ALL, SELECT 1, INDIRECT 2, FAST_FAILOVER 3
  uint32_t all_type = 0;  // for ALL: 0 an L2 group, else L3
  uint32_t mgid = 0;
  uint32_t nhopid = 0;
};

struct of_engine_lookups {
  // A VLAN by its id; false when unknown.
  bool (*vlan)(uint32_t vlan_id, of_vlan_view* out) = nullptr;
  // The all-ports pseudo-VLAN; false while it does not exist.
  bool (*all_ports_vlan)(of_vlan_view* out) = nullptr;
  bool (*group)(int32_t group_id, of_group_view* out) = nullptr;
  // The policer of a meter on a chip, OF_POLICER_UNKNOWN when the meter is unknown.
  uint32_t (*policer_of_meter)(uint32_t flat_chip_id, uint32_t meter_id) = nullptr;
  // The VLAN table in its own order (highest id first: the pseudo-VLAN while it exists) and
  // the number of its records; a walk ends with null.
  uint32_t (*vlan_count)() = nullptr;
  of_vlan_entry* (*first_vlan)(avl_node** it) = nullptr;
  of_vlan_entry* (*next_vlan)(avl_node** it) = nullptr;
};

// Registered by the engines; a null member answers "unknown".
extern of_engine_lookups of_lookups;

bool of_lookup_vlan_view(uint32_t vlan_id, of_vlan_view* out);
bool of_lookup_all_ports_vlan_view(of_vlan_view* out);
bool of_lookup_group_view(int32_t group_id, of_group_view* out);
uint32_t of_lookup_policer_of_meter(uint32_t flat_chip_id, uint32_t meter_id);
// 0 and null until the VLAN table is registered.
uint32_t of_lookup_vlan_count();
of_vlan_entry* of_lookup_first_vlan(avl_node** it);
of_vlan_entry* of_lookup_next_vlan(avl_node** it);
