// A VLAN as the chips see it: the manager's VLAN id, the internal VLAN id the chips use for it,
// its flood group, and its member ports (a tree of of_if_entry by interface index). VLAN id
// 0xFFFFFFFF is the all-ports pseudo-VLAN. The VLAN tables that own these records are the ports
// engine's; the backends read them when they program a VLAN or its flood group.
#pragma once

#include <cstdint>

struct avl_tree;

inline constexpr uint32_t OF_ALL_PORTS_VLAN = 0xFFFFFFFF;

struct of_vlan_entry {
  uint32_t vlan_id = 0;
  uint32_t iivid = 0;
  uint32_t mgid = 0;
  avl_tree* port_tree = nullptr;
};
