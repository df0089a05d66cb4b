// The interface table: adds with and without a chip, the fake chip up, duplicates, deletes, the
// walk; and, on their own, the parts nothing calls yet: the show, the index decoders and the
// physical order.
#include "chip/chip_req.h"
#include "chip_env.h"
#include "foundation/avl_tree.h"

namespace {

using ofa::platform::port_ifindex;
using ofa::test::ChipEnv;
using ofa::test::TraceCapture;

class IfTable : public ChipEnv {
 protected:
  void SetUp() override {
    ofa::test::reset_agent({.chips = 2});
    chip_up(1, 0);
    hsl().requests.clear();
  }
};

TEST_F(IfTable, PhysicalPortIsTiedToItsChip) {
  TraceCapture words;
  of_if_entry* e = ofProcessPortAdd(port_ifindex(1, 3), "ethernet1/3", 3);
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(std::tuple(e->chip, e->is_local, e->port_db_index), std::tuple(ofLookupChip(0), 1u, 2));
  EXPECT_STREQ(e->ifName, "ethernet1/3");
  EXPECT_NE(e->evt_tree, nullptr);
  EXPECT_EQ(of_dlist_count(&ofLookupChip(0)->ports), 1);
  EXPECT_EQ(ofLookupIfEntrybyPortId(3), e);
  EXPECT_TRUE(words.has("Added Interface ethernet1/3 port_id 3 is_local 1 ifindex: 0x18418000"));
  EXPECT_TRUE(hsl().requests.empty());
}

TEST_F(IfTable, LogicalInterfaceHasNoChipAndNoValidation) {
  // Types 61 (a LAG) and 14 (not a front-panel port).
  for (auto [ifindex, id] : {std::pair{0xF4000001u, 200}, {0x38400000u, 201}}) {
    of_if_entry* e = ofProcessPortAdd(ifindex, "logical", static_cast<uint16_t>(id));
    ASSERT_NE(e, nullptr) << std::hex << ifindex;
    EXPECT_EQ(e->chip, nullptr) << std::hex << ifindex;
  }
}

TEST_F(IfTable, SamePortIdTwiceKeepsTheFirst) {
  of_if_entry* first = ofProcessPortAdd(port_ifindex(1, 3), "ethernet1/3", 3);
  std::string out =
      printed([&] { EXPECT_EQ(ofProcessPortAdd(port_ifindex(1, 4), "other", 3), nullptr); });
  EXPECT_NE(out.find("ifEntry already exists for interface other"), std::string::npos);
  EXPECT_EQ(ofLookupIfEntrybyPortId(3), first);
  EXPECT_STREQ(first->ifName, "ethernet1/3");
  EXPECT_EQ(of_get_port_count(), 1);
}

TEST_F(IfTable, UnknownChipIsMadeOnceThroughTheWarmPath) {
  static int chip_ups;
  chip_ups = 0;
  openflow_modules[3].chip_up = [](of_chip_entry*) { return ++chip_ups, 0; };
  std::string out = printed(
      [&] { ASSERT_NE(ofProcessPortAdd(port_ifindex(1, 30), "ethernet1/30", 30), nullptr); });
  EXPECT_NE(out.find("Unknown chip 1 for port add ethernet1/30"), std::string::npos);
  of_chip_entry* c = ofLookupChip(1);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(ofLookupIfEntrybyPortId(30)->chip, c);
  EXPECT_EQ(chip_ups, 1);
  EXPECT_EQ(std::pair(hsl().requests.at(0).command, hsl().requests.at(0).target),
            std::pair(OF_CMD_REGION_DEL_ALL, ofa::platform::chip_ifindex(1, 1)));
  size_t sent = hsl().requests.size();
  ASSERT_NE(ofProcessPortAdd(port_ifindex(1, 31), "ethernet1/31", 31), nullptr);
  EXPECT_EQ(chip_ups, 1);
  EXPECT_EQ(hsl().requests.size(), sent);
  EXPECT_EQ(of_dlist_count(&c->ports), 2);
}

TEST_F(IfTable, PortOfNoChipOfThePlatformIsRefused) {
  TraceCapture words;
  EXPECT_EQ(ofProcessPortAdd(port_ifindex(1, 90), "ethernet1/90", 90), nullptr);
  EXPECT_TRUE(words.has("Unable to derive chip index from ifindex for port ethernet1/90"));
  EXPECT_EQ(of_get_port_count(), 0);
}

TEST_F(IfTable, PortDbIndexWraps) {
  EXPECT_EQ(ofProcessPortAdd(0xF4000001, "a", 0)->port_db_index, -1);
  EXPECT_EQ(ofProcessPortAdd(0xF4000002, "b", 290)->port_db_index, 0);
  EXPECT_EQ(ofProcessPortAdd(0xF4000003, "c", 289)->port_db_index, 288);
}

TEST_F(IfTable, WalkFromTheHighestPortIdAndDeleteWhileWalking) {
  for (uint16_t id : {5, 1, 9, 3})
    ofProcessPortAdd(port_ifindex(1, id), "p", id);
  std::vector<uint16_t> seen;
  avl_node* cur = nullptr;
  for (of_if_entry* e = of_get_first_port(&cur); e;) {
    seen.push_back(e->port_id);
    of_if_entry* next = of_get_next_port(&cur);
    ofProcessPortDelete(e->ifIndex, e->port_id);
    e = next;
  }
  EXPECT_EQ(seen, (std::vector<uint16_t>{9, 5, 3, 1}));
  EXPECT_EQ(of_get_port_count(), 0);
  EXPECT_TRUE(of_dlist_empty(&ofLookupChip(0)->ports));
  avl_node* null_cursor = nullptr;
  EXPECT_EQ(of_get_next_port(&null_cursor), nullptr);
  EXPECT_EQ(of_get_next_port(nullptr), nullptr);
}

TEST_F(IfTable, DeleteOfAnUnknownPortIsNoErrorAndLookupByIndexFindsNothing) {
  EXPECT_EQ(ofProcessPortDelete(port_ifindex(1, 3), 77), 0);
  ofProcessPortAdd(port_ifindex(1, 3), "ethernet1/3", 3);
  EXPECT_EQ(ofLookupIfEntry(port_ifindex(1, 3)), nullptr);
}

TEST_F(IfTable, ShowListsSlotsChipsThenInterfaces) {
  ofProcessSlotUp(1);
  ofProcessPortAdd(port_ifindex(1, 3), "ethernet1/3", 3);
  ofProcessPortAdd(0xF4000001, "lag1", 200);
  static std::string text;
  text.clear();
  of_show_ifTable([](const char* s) { text += s; });
  EXPECT_NE(text.find("SlotID : 1\n"), std::string::npos);
  EXPECT_EQ(text.find("SlotID : 0\n"), std::string::npos);
  EXPECT_NE(text.find("ethernet1/3\tifindex = 0x18418000, ChipId = 0, Chip IfIndex = 0x84400000\n"),
            std::string::npos);
  EXPECT_NE(text.find("lag1\tifindex = 0xf4000001, ChipId = -1, Chip IfIndex = 0x00000000\n"),
            std::string::npos);
  EXPECT_LT(text.find("Chip 0 (1/0):\n"),
            text.find("Interface Name  ifIndex    ChipId     ChipIfIndex\n"));
  EXPECT_EQ(ofInitIfClis(7), 7);
}

TEST(IfIndexDecode, PortNumberByType) {
  const std::pair<uint32_t, int32_t> cases[] = {
      {0x18418000, 3},
      {(26u << 26) | (2u << 22) | (100u << 15), 100},
      {(32u << 26) | (5u << 15), 5},
      {(62u << 26) | (0x3FFu << 10), 0x3FF},
      {(61u << 26) | (0xABu << 12), 0xAB},
      {(14u << 26) | (1u << 22), -1},
      {(3u << 26) | (1u << 21) | (2u << 13), -1},  // no mapped transceiver table here
      {(33u << 26) | 5u, -1},
  };
  for (auto [ifindex, port] : cases)
    EXPECT_EQ(of_if_port_num(ifindex), port) << std::hex << ifindex;
}

// Types compare b - a; slots and ports the other way round; types without a slot by the raw
// index; type 33 by its low 16 bits.
TEST(IfIndexDecode, PhysicalOrder) {
  const std::tuple<uint32_t, uint32_t, int> cases[] = {
      {0x18408000, 26u << 26, 20},  {0x18808000, 0x18448000, 1}, {0x18448000, 0x18808000, -1},
      {0x18448000, 0x18418000, 1},  {0x18418000, 0x18418000, 0}, {0x08000005, 0x08000001, 1},
      {0x08000001, 0x08000005, -1}, {0x84400010, 0x84400002, 1},
  };
  for (auto [a, b, want] : cases) {
    of_if_entry x, y;
    x.ifIndex = a;
    y.ifIndex = b;
    EXPECT_EQ(ofCmpIfEntry(&x, &y), want) << std::hex << a << " " << b;
  }
}

}  // namespace
