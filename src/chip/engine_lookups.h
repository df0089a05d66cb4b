// What the backends ask of the engines above them while they build a flow's entry: a VLAN's IIVID
// and flood mgid, a group's kind and hardware objects, a meter's policer. The engines that own
// those tables (ports and VLANs, groups and meters) register their answers at start-up; until
// they do, every lookup answers "unknown", which a backend programs as it would an unknown id.
#pragma once

#include <cstdint>

struct of_vlan_view {
  uint32_t iivid = 0;
  uint32_t mgid = 0;  // the VLAN's flood group
};

inline constexpr uint32_t OF_LP_GROUP_ALL = 0;
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
};

// Registered by the engines; a null member answers "unknown".
extern of_engine_lookups of_lookups;

bool of_lookup_vlan_view(uint32_t vlan_id, of_vlan_view* out);
bool of_lookup_all_ports_vlan_view(of_vlan_view* out);
bool of_lookup_group_view(int32_t group_id, of_group_view* out);
uint32_t of_lookup_policer_of_meter(uint32_t flat_chip_id, uint32_t meter_id);
