// Interface indexes of front-panel ports and chips, and the chip numbering derived from them.
//
//   front-panel port p of slot s: type 6 in bits 26-31, s in bits 22-25, p in bits 15-21
//   chip c of slot s:             0x84000000 | (s << 22) | (c << 7)   (type 33)
//
// The flat chip id numbers chips across the switch: the place of the chip in the platform's chip
// table (see platform_file.h), so the ids are dense from 0.
#pragma once

#include <cstdint>

#include "platform/platform_file.h"

namespace ofa::platform {

inline constexpr uint32_t kIfTypePort = 6;
inline constexpr uint32_t kIfTypeChip = 33;

constexpr uint32_t if_type(uint32_t ifindex) {
  return ifindex >> 26;
}
constexpr uint32_t port_ifindex(uint32_t slot, uint32_t port) {
  return (kIfTypePort << 26) | ((slot & 0xf) << 22) | ((port & 0x7f) << 15);
}
constexpr uint32_t chip_ifindex(uint32_t slot, uint32_t local_chip) {
  return 0x84000000u | ((slot & 0xf) << 22) | ((local_chip & 0x1f) << 7);
}

// Slot of an interface index by its type (see the interface table of the agent); -1 for a type
// that carries no slot.
int32_t ifindex_slot(uint32_t ifindex);

// The platform's decoders. An index or flat id that names no chip of the platform's chip table
// answers -1 (the interface index: 0, which names nothing).
int32_t dce_get_flat_chip_id(const Platform& p, uint32_t ifindex);  // port or chip index
int32_t dce_get_slot_id(uint32_t ifindex);
int32_t dce_get_slot_chip_id(const Platform& p, uint32_t flat_id);  // local chip id
uint32_t dce_get_ifindex(const Platform& p, uint32_t flat_id);      // the chip's index

}  // namespace ofa::platform
