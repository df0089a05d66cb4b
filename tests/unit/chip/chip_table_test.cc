// Slot and chip tables: chip add on the cold and warm paths, duplicates and limits, modules,
// walks, slots, requests to all chips, the event record; and, on their own, the parts no event
// path calls yet: bulk reconciliation, capabilities, statistics aggregation.
#include "chip/chip_req.h"
#include "chip_env.h"
#include "foundation/avl_tree.h"
#include "hex.h"
#include "platform/wire.h"

namespace {

using ofa::platform::chip_ifindex;
using ofa::test::TraceCapture;

class ChipTable : public ofa::test::ChipEnv {};

TEST_F(ChipTable, ColdChipUpFillsTheEntryAndPreparesTheChip) {
  ASSERT_EQ(chip_up(1, 0), 0);
  of_chip_entry* c = ofLookupChip(0);
  ASSERT_NE(c, nullptr);
  // The entry's fields, and the chip its first request went to.
  EXPECT_EQ(
      std::tuple(c->ifindex, c->is_local, c->slot_entry, c->l2_size, hsl().requests[0].target),
      std::tuple(0x84400000u, 1u, ofLookupSlot(1), 2024u, 0x84400000u));
}

TEST_F(ChipTable, WarmChipAddDeletesBothRegionSetsFirst) {
  TraceCapture words;
  ASSERT_EQ(chip_up(1, 0, 1), 0);
  EXPECT_TRUE(words.has("Call to ofa_region_del call back"));
  const auto& q = hsl().requests;
  ASSERT_EQ(q.size(), 12u);
  EXPECT_EQ(
      std::tuple(q[0].command, q[0].bytes.at(28), q[1].command, q[1].bytes.at(28), q[2].command),
      std::tuple(OF_CMD_REGION_DEL_ALL, 10, OF_CMD_REGION_DEL_ALL, 23, OF_CMD_REGION_ADD));
}

TEST_F(ChipTable, DuplicateChipUpChangesNothingAndCallsNoModule) {
  chip_up(1, 0);
  hsl().requests.clear();
  TraceCapture words;
  EXPECT_EQ(chip_up(1, 0, 1), 0);
  EXPECT_TRUE(words.has("Ignoring duplicate CHIP_UP event for chip 1/0(0)"));
  EXPECT_TRUE(hsl().requests.empty());
  EXPECT_EQ(avl_get_tree_size(ofChipTable), 1);
}

TEST_F(ChipTable, SlotTenPassesTheLookupElevenAndUnknownChipsFail) {
  auto rec = ofa::test::chip_up_record(1, 0);
  rec.slot = 10;
  EXPECT_EQ(ofProcessChipAdd(&rec, 0), 0);
  EXPECT_EQ(ofLookupChip(0)->slot_entry, ofLookupSlot(10));
  ofa::test::reset_agent();
  rec.slot = 11;
  TraceCapture words;
  EXPECT_EQ(ofProcessChipAdd(&rec, 0), -125);
  EXPECT_TRUE(words.has("Unable to derive slot for chip 11/0"));
  EXPECT_EQ(chip_up(1, 5), -125);  // the platform has no chip 5 in slot 1
  EXPECT_EQ(avl_get_tree_size(ofChipTable), 0);
  EXPECT_TRUE(of_dlist_empty(&ofLookupSlot(1)->chips));
}

TEST_F(ChipTable, WithoutTheOpenflowProfileTheChipEntersButNothingIsProgrammed) {
  ofa::test::reset_agent({.profile = false});
  TraceCapture words;
  EXPECT_EQ(chip_up(1, 0), 0);
  EXPECT_NE(ofLookupChip(0), nullptr);
  EXPECT_TRUE(hsl().requests.empty());
  EXPECT_TRUE(words.has("OPENFLOW Agent chip up not handling"));
}

TEST_F(ChipTable, ModuleFailureIsPrintedWithoutItsCodeAndLaterModulesRun) {
  static int later_calls;
  later_calls = 0;
  openflow_modules[1].chip_up = [](of_chip_entry*) { return -9; };
  openflow_modules[3].chip_up = [](of_chip_entry*) { return ++later_calls, 0; };
  TraceCapture words;
  EXPECT_EQ(chip_up(1, 0), 0);
  EXPECT_TRUE(words.has("Module 1 failed to process chip up, rc: 0"));
  EXPECT_EQ(later_calls, 1);
}

TEST_F(ChipTable, WalkRunsFromTheHighestFlatIdAndFindsLocalChips) {
  ofa::test::reset_agent({.chips = 3});
  avl_node* cur = nullptr;
  chip_up(2, 0);
  EXPECT_EQ(ofGetFirstLocalChip(&cur), nullptr);
  for (uint32_t c : {0u, 2u, 1u})
    chip_up(1, c);
  std::vector<uint32_t> order;
  for (of_chip_entry* c = ofGetFirstChip(&cur); c; c = ofGetNextChip(&cur))
    order.push_back(c->chip_id);
  EXPECT_EQ(order, (std::vector<uint32_t>{3, 2, 1, 0}));
  EXPECT_EQ(ofLookupChip(3)->is_local, 0u);
  EXPECT_EQ(ofGetFirstLocalChip(&cur)->chip_id, 2u);
  std::vector<uint32_t> arrival;  // the slot's list keeps the arrival order
  const of_dlist& head = ofLookupSlot(1)->chips;
  for (auto* l = head.next; l != &head; l = l->next)
    arrival.push_back(static_cast<of_chip_entry*>(l->item)->local_chip_id);
  EXPECT_EQ(arrival, (std::vector<uint32_t>{0, 2, 1}));
}

TEST_F(ChipTable, SlotUpCallsModulesOnceAndSlotDownOnlyWhenUp) {
  static int ups, downs;
  ups = downs = 0;
  openflow_modules[3].slot_up = [](of_slot_entry*) { return ++ups, 0; };
  openflow_modules[3].slot_down = [](of_slot_entry*) { return ++downs, 0; };
  EXPECT_EQ(ofProcessSlotUp(3), 0);
  EXPECT_EQ(ofProcessSlotUp(3), 0);
  EXPECT_EQ(ofLookupSlot(3)->state, 1u);
  EXPECT_EQ(ofProcessSlotDown(3), 0);
  EXPECT_EQ(ofProcessSlotDown(3), 0);
  EXPECT_EQ(ups + downs, 2);
  TraceCapture words;
  EXPECT_EQ(ofProcessSlotUp(11), -125);
  EXPECT_EQ(ofProcessSlotDown(11), 0);
  EXPECT_TRUE(words.has("Failed to find slot 11 entry to process slot up event"));
  EXPECT_TRUE(words.has("Failed to find slot entry for slot 11"));
}

// ---- requests to all chips ----------------------------------------------------------------

class Dispatch : public ofa::test::ChipEnv {
 protected:
  void SetUp() override {
    ofa::test::reset_agent({.chips = 2});
    chip_up(1, 0);
    chip_up(1, 1);
    chip_up(2, 0);
    hsl().requests.clear();
  }
};

TEST_F(Dispatch, SecondChipFailingLeavesTheFirstProgrammed) {
  hsl().fail = {1};
  uint32_t len = of_build_mgid_del(ofNLReqArea(), 5);
  TraceCapture words;
  EXPECT_EQ(ofDispatchIoctlToAllChips(nullptr, len, nullptr, &len), -106);
  ASSERT_EQ(hsl().requests.size(), 2u);
  EXPECT_EQ(hsl().requests[0].target, chip_ifindex(2, 0));
  EXPECT_EQ(hsl().requests[1].target, chip_ifindex(1, 1));
  EXPECT_TRUE(words.has("Dispatching ioctl to chip 84400080 failed, rc: -106"));
  ofa::test::reset_agent();
  EXPECT_EQ(ofDispatchIoctlToAllChips(nullptr, len, nullptr, &len), 0);  // no chip: no request
  EXPECT_TRUE(hsl().requests.empty());
}

TEST_F(Dispatch, StatisticsClearHasWordsTenAndElevenClearedBeforeEachSend) {
  hsl().reply = [](size_t, std::span<uint8_t> area) {
    ofa::wire::Writer w(area);
    w.u32_at(40, 0xDEAD);
    w.u32_at(44, 0xBEEF);
  };
  const uint32_t h[] = {9};
  uint32_t len = of_build_flow_stats(ofNLReqArea(), OF_CMD_STATS_CLEAR, 12, h, 0, 0, 56);
  ofa::wire::Writer(ofNLReqArea()).u32_at(40, 7);
  EXPECT_EQ(ofDispatchIoctlToAllChips(nullptr, len, nullptr, &len), 0);
  ASSERT_EQ(hsl().requests.size(), 3u);
  for (const auto& q : hsl().requests)
    EXPECT_EQ(q.word(40) | q.word(44), 0u);
  hsl().requests.clear();  // a read keeps what stands there
  len = of_build_flow_stats(ofNLReqArea(), OF_CMD_STATS_READ, 12, h, 1, 1, 48);
  ofDispatchIoctlToAllChips(nullptr, len, nullptr, &len);
  EXPECT_EQ(hsl().requests[1].word(40), 0xDEADu);
}

TEST_F(Dispatch, AggregateVisitsLocalChipsOnlyAndStopsAtAFailure) {
  static int calls;
  calls = 0;
  uint32_t len = of_build_queue_stats(ofNLReqArea(), 1);
  auto each = [](void*, uint8_t*) { return ++calls, 0; };
  EXPECT_EQ(ofAggregateStatsFromAllChips(each, nullptr, nullptr, len, nullptr, &len, 0), 0);
  EXPECT_EQ(calls, 2);
  ASSERT_EQ(hsl().requests.size(), 2u);
  EXPECT_EQ(hsl().requests[0].target, chip_ifindex(1, 1));
  hsl().requests.clear();
  hsl().fail = {0};
  TraceCapture words;
  EXPECT_EQ(ofAggregateStatsFromAllChips(nullptr, nullptr, nullptr, len, nullptr, &len, 0), -106);
  EXPECT_EQ(hsl().requests.size(), 1u);
  EXPECT_TRUE(words.has("Failed to retrieve stats from chip: 84400080"));
}

TEST_F(ChipTable, BulkEventAddsUnknownChipsWarmAndSweepsTheUnlisted) {
  ofa::test::reset_agent({.chips = 3});
  chip_up(1, 0);
  chip_up(1, 2);
  hsl().requests.clear();
  const of_bulk_chip listed[] = {{1, 0, 0, chip_ifindex(1, 0)}, {1, 1, 1, chip_ifindex(1, 1)}};
  std::vector<uint8_t> event(8 + 2 * OF_BULK_CHIP_RECORD_SIZE);
  ASSERT_EQ(of_bulk_chip_encode(listed, event), event.size());
  TraceCapture words;
  EXPECT_EQ(ofProcessBulkChipUp(event), 0);
  EXPECT_TRUE(words.has("Unable to find chip ifidx: 84400080, slot/chip: 1/1, flat_chip: 1 in db"));
  EXPECT_TRUE(words.has("Ignoring chip down for chip 1/2 (2)"));
  EXPECT_FALSE(words.has("Ignoring chip down for chip 1/0"));
  EXPECT_EQ(hsl().commands().front(), OF_CMD_REGION_DEL_ALL);  // the new chip came the warm way
  ofa::wire::Writer(event).u32_at(4, 1000);  // a count beyond the event is cut to it
  EXPECT_EQ(ofProcessBulkChipUp(event), 0);
  EXPECT_EQ(avl_get_tree_size(ofChipTable), 3);
}

TEST_F(ChipTable, CapabilityOfTheChipsOwnIdOnly) {
  chip_up(1, 0);
  of_chip_entry* c = ofLookupChip(0);
  hsl().requests.clear();
  hsl().reply = [](size_t, std::span<uint8_t> area) {
    ofa::wire::Writer w(area);
    w.u32_at(28, 29);
    w.u32_at(440, 1);
  };
  EXPECT_EQ(ofGetCoSChipCapability(c), 0);
  EXPECT_EQ(std::pair(c->chip_class, c->ipv4_caps), std::pair(2u, 1u));
  EXPECT_EQ(hsl().commands(), std::vector<uint32_t>{OF_CMD_CAPABILITY});
  hsl().reply = [](size_t, std::span<uint8_t> area) { ofa::wire::Writer(area).u32_at(28, 30); };
  EXPECT_EQ(ofGetCoSChipCapability(c), -125);
  of_chip_event_record caps{};
  caps.ifm_chip_id = 29;
  caps.ipv4_caps = caps.ipv6_caps = 1;
  TraceCapture words;
  EXPECT_EQ(ofCopyCapsToChip(&caps, c), 0);
  EXPECT_TRUE(words.has("IPv4=1 IPV6=1"));
  caps.ifm_chip_id = 3;
  EXPECT_EQ(ofCopyCapsToChip(&caps, c), -125);
}

TEST_F(ChipTable, ChipFromChipIdTakesTheWarmPath) {
  EXPECT_EQ(ofGetChipFromChipId(0), 0);
  ASSERT_NE(ofLookupChip(0), nullptr);
  EXPECT_EQ(hsl().commands().front(), OF_CMD_REGION_DEL_ALL);
  TraceCapture words;
  EXPECT_EQ(ofGetChipFromChipId(2), -125);  // beyond the chip table (1/0 and 2/0)
  EXPECT_TRUE(words.has("Fake chip up failed, rc: -125"));
}

TEST(ChipEventRecord, RoundTripAndOffsets) {
  of_chip_event_record rec{3, 0x101, 0x202, 33, 0x84400080, 7, 29, 1, 2};
  std::array<uint8_t, OF_CHIP_EVENT_RECORD_SIZE> raw;
  raw.fill(0xEE);
  ASSERT_TRUE(of_chip_event_encode(rec, raw));
  EXPECT_EQ(std::vector<uint8_t>(raw.begin(), raw.end()),
            ofa::test::sparse(484,
                              "0: 00000003 00000101 00000202 00000021 84400080 00000007 | "
                              "28: 0000001D | 464: 00000001 00000002"));
  of_chip_event_record back;
  ASSERT_TRUE(of_chip_event_decode(raw, &back));
  EXPECT_EQ(std::pair(back.ifindex, back.ipv6_caps), std::pair(0x84400080u, 2u));
  EXPECT_FALSE(of_chip_event_decode(std::span<const uint8_t>(raw).first(483), &back));
  EXPECT_FALSE(of_chip_event_encode(rec, std::span<uint8_t>(raw).first(100)));
}

}  // namespace
