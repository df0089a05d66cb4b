#include "platform/ifindex.h"

#include <gtest/gtest.h>

namespace {

using namespace ofa::platform;

TEST(Ifindex, SlotByType) {
  struct Case {
    uint32_t ifindex;
    int32_t slot;
  };
  const Case cases[] = {
      {port_ifindex(9, 1), 9},         {chip_ifindex(5, 31), 5},
      {(3u << 26) | (17u << 21), 17},  {(61u << 26) | (40u << 20), 40},
      {(62u << 26) | (63u << 20), 63}, {(14u << 26) | (2u << 22), 2},
      {(2u << 26) | 0x3fffff, -1},
  };
  for (const auto& c : cases)
    EXPECT_EQ(dce_get_slot_id(c.ifindex), c.slot) << std::hex << c.ifindex;
}

TEST(Ifindex, FlatChipIdsAreDenseBySlotThenLocalId) {
  // Slot 3 with chips 0 and 2, described before slot 1 with chip 5: flat ids 1, 2 and 0.
  Platform p = std::get<Platform>(parse_platform(
      "[switch]\nmodel = 1004\nmy_slot = 3\n[slot 3]\nchip.2.ports = 9-16\nchip.0.ports = 1-8\n"
      "[slot 1]\nchip.5.ports = 1-4\n",
      "t"));
  struct Case {
    uint32_t ifindex;
    int32_t flat;
  };
  const Case cases[] = {
      {chip_ifindex(1, 5), 0},        {chip_ifindex(3, 2), 2},
      {port_ifindex(1, 4), 0},        {port_ifindex(3, 8), 1},
      {port_ifindex(3, 9), 2},        {port_ifindex(3, 20), -1},  // no chip serves it
      {port_ifindex(4, 1), -1},                                   // no such slot
      {chip_ifindex(3, 1), -1},                                   // not in the chip table
      {(14u << 26) | (3u << 22), -1},
  };
  for (const auto& c : cases)
    EXPECT_EQ(dce_get_flat_chip_id(p, c.ifindex), c.flat) << std::hex << c.ifindex;
  EXPECT_EQ(dce_get_slot_chip_id(p, 0), 5);
  EXPECT_EQ(dce_get_ifindex(p, 1), chip_ifindex(3, 0));
  EXPECT_EQ(dce_get_slot_chip_id(p, 3), -1);  // beyond the table
  EXPECT_EQ(dce_get_ifindex(p, 3), 0u);
}

}  // namespace
