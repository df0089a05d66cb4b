// A group as the chips see it: its type, the multicast group or next hop the manager chose for it,
// and its buckets in message order. The group base that owns these records is the groups engine's
// (groups_meters/group_db.h); the backends read them when they program a group.
#pragma once

#include <cstdint>

#include "chip/chip_req.h"
#include "foundation/dce_avl_tree.h"

inline constexpr uint32_t OF_LP_GROUP_ALL = 0;
inline constexpr uint32_t OF_LP_GROUP_SELECT = 1;
inline constexpr uint32_t OF_LP_GROUP_INDIRECT = 2;
inline constexpr uint32_t OF_LP_GROUP_FAST_FAILOVER = 3;
// A bucket's VLAN id that names no VLAN: the out port's pvid applies. Also the mgid and nhopid of
// a group after its hardware delete.
inline constexpr uint32_t OF_GROUP_NONE_ID = 4096;

struct group_bucket {
  uint16_t weight = 0;  // paths of a SELECT group's next hop: 1, else 0
  uint16_t port_id = 0;
  uint32_t vlan_id = 0;
  uint32_t mac_hi = 0;  // first four bytes of the out MAC
  uint32_t mac_lo = 0;  // last two bytes, in the upper half
  group_bucket* next = nullptr;
};

struct group_node {
  dce_avl_node link;  // the group base's tree; first, so that an insert allocates nothing
  uint32_t group_id;
  uint32_t type;      // ALL, SELECT, INDIRECT, FAST_FAILOVER
  uint32_t all_type;  // for ALL: 0 an L2 group, else L3
  uint32_t bucket_count;
  uint32_t mgid;
  uint32_t nhopid;
  uint32_t carried_word;  // kept across a modify; nothing reads it
  uint16_t carried_half;
  group_bucket* bucket_list;
};

inline of_mac group_bucket_mac(const group_bucket& b) {
  return {static_cast<uint8_t>(b.mac_hi >> 24), static_cast<uint8_t>(b.mac_hi >> 16),
          static_cast<uint8_t>(b.mac_hi >> 8),  static_cast<uint8_t>(b.mac_hi),
          static_cast<uint8_t>(b.mac_lo >> 24), static_cast<uint8_t>(b.mac_lo >> 16)};
}
