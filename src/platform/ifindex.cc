#include "platform/ifindex.h"

namespace ofa::platform {

int32_t ifindex_slot(uint32_t ifindex) {
  switch (if_type(ifindex)) {
    case 6:
    case 26:
    case 32:
    case 33:
    case 34:
    case 14:
    case 30:
      return static_cast<int32_t>((ifindex >> 22) & 0xf);
    case 3:
      return static_cast<int32_t>((ifindex >> 21) & 0x1f);
    case 61:
    case 62:
      return static_cast<int32_t>((ifindex >> 20) & 0x3f);
    default:
      return -1;
  }
}

int32_t dce_get_slot_id(uint32_t ifindex) {
  return ifindex_slot(ifindex);
}

int32_t dce_get_flat_chip_id(const Platform& p, uint32_t ifindex) {
  int32_t slot = ifindex_slot(ifindex);
  if (slot < 0) return -1;
  const ChipDesc* chip = nullptr;
  switch (if_type(ifindex)) {
    case kIfTypePort:
    case 26:
      chip = p.chip_for_port(static_cast<uint32_t>(slot), (ifindex >> 15) & 0x7f);
      break;
    case kIfTypeChip:
      chip = p.find_chip(static_cast<uint32_t>(slot), (ifindex >> 7) & 0x1f);
      break;
    default:
      return -1;
  }
  if (!chip) return -1;
  return p.flat_chip_id(static_cast<uint32_t>(slot), chip->local_id);
}

int32_t dce_get_slot_chip_id(const Platform& p, uint32_t flat_id) {
  auto place = p.chip_by_flat_id(flat_id);
  return place ? static_cast<int32_t>(place->local_id) : -1;
}

uint32_t dce_get_ifindex(const Platform& p, uint32_t flat_id) {
  auto place = p.chip_by_flat_id(flat_id);
  return place ? chip_ifindex(place->slot, place->local_id) : 0;
}

}  // namespace ofa::platform
