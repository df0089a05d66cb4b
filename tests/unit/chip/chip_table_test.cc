// Slot and chip tables: chip add on the cold and warm paths, duplicates, slots, chip down, bulk
// reconciliation, requests to all chips, capabilities, show.
#include <gtest/gtest.h>

#include "chip/chip_req.h"
#include "chip_test_env.h"
#include "foundation/avl_tree.h"

namespace {

using chiptest::ChipEnv;
using chiptest::fake;
using chiptest::word;

constexpr uint32_t kRegionsAndEntries = 6 + 4;

class ChipTable : public ChipEnv {};

TEST_F(ChipTable, ColdChipUpFillsTheEntryAndPreparesTheChip) {
  auto rec = chip_rec(1, 0);
  ASSERT_EQ(ofProcessChipAdd(&rec, 0), 0);
  of_chip_entry* c = ofLookupChip(0);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->ifindex, 0x84400000u);
  EXPECT_EQ(c->slot, 1u);
  EXPECT_EQ(c->local_chip_id, 0u);
  EXPECT_EQ(c->chip_type, 1u);
  EXPECT_EQ(c->is_local, 1u);
  EXPECT_EQ(c->slot_entry, ofLookupSlot(1));
  EXPECT_EQ(of_dlist_count(&ofLookupSlot(1)->chips), 1);
  EXPECT_EQ(c->l2_size, 2048u - 24u);
  EXPECT_NE(c->l2_flow_tree, nullptr);
  ASSERT_EQ(fake().requests.size(), kRegionsAndEntries);
  EXPECT_EQ(fake().requests[0].command, OF_CMD_REGION_ADD);
  EXPECT_EQ(fake().requests[0].target, 0x84400000u);
  EXPECT_EQ(fake().requests[6].command, OF_CMD_L2FLOW_ADD);
}

TEST_F(ChipTable, WarmChipAddDeletesRegionsFirst) {
  auto rec = chip_rec(1, 0);
  std::string out = printed([&] { ASSERT_EQ(ofProcessChipAdd(&rec, 1), 0); });
  EXPECT_NE(out.find("Call to ofa_region_del call back"), std::string::npos);
  auto cmds = commands();
  ASSERT_EQ(cmds.size(), 2 + kRegionsAndEntries);
  EXPECT_EQ(cmds[0], OF_CMD_REGION_DEL_ALL);
  EXPECT_EQ(chiptest::byte(fake().requests[0], 28), 10u);
  EXPECT_EQ(cmds[1], OF_CMD_REGION_DEL_ALL);
  EXPECT_EQ(chiptest::byte(fake().requests[1], 28), 23u);
  EXPECT_EQ(cmds[2], OF_CMD_REGION_ADD);
}

TEST_F(ChipTable, DuplicateChipUpChangesNothingAndCallsNoModule) {
  auto rec = chip_rec(1, 0);
  ofProcessChipAdd(&rec, 0);
  fake().requests.clear();
  std::string out = printed([&] { EXPECT_EQ(ofProcessChipAdd(&rec, 1), 0); });
  EXPECT_NE(out.find("Ignoring duplicate CHIP_UP event for chip 1/0(0)"), std::string::npos);
  EXPECT_TRUE(fake().requests.empty());
  EXPECT_EQ(avl_get_tree_size(ofChipTable), 1);
}

TEST_F(ChipTable, SlotTenPassesTheLookupAndElevenFails) {
  auto rec = chip_rec(1, 0);
  rec.slot = 10;
  EXPECT_EQ(ofProcessChipAdd(&rec, 0), 0);
  EXPECT_EQ(ofLookupChip(0)->slot_entry, ofLookupSlot(10));
  Reset(1);
  rec.slot = 11;
  std::string out = printed([&] { EXPECT_EQ(ofProcessChipAdd(&rec, 0), -125); });
  EXPECT_NE(out.find("Unable to derive slot for chip 11/0"), std::string::npos);
  EXPECT_EQ(ofLookupChip(0), nullptr);
}

TEST_F(ChipTable, IndexNamingNoChipOfThePlatformIsRefused) {
  auto rec = chip_rec(1, 5);  // the platform has no chip 5 in slot 1
  EXPECT_EQ(ofProcessChipAdd(&rec, 0), -125);
  EXPECT_EQ(avl_get_tree_size(ofChipTable), 0);
  EXPECT_TRUE(of_dlist_empty(&ofLookupSlot(1)->chips));
}

TEST_F(ChipTable, WithoutTheOpenflowProfileTheChipEntersButNothingIsProgrammed) {
  openflowAgtPcb.hw.of_flags = 0;
  auto rec = chip_rec(1, 0);
  std::string out = printed([&] { EXPECT_EQ(ofProcessChipAdd(&rec, 0), 0); });
  EXPECT_NE(ofLookupChip(0), nullptr);
  EXPECT_TRUE(fake().requests.empty());
  EXPECT_NE(out.find("OPENFLOW Agent chip up not handling"), std::string::npos);
}

TEST_F(ChipTable, ChipDownIsIgnored) {
  auto rec = chip_rec(1, 0);
  ofProcessChipAdd(&rec, 0);
  rec.event = OF_HSL_EVENT_CHIP_DOWN;
  std::string out = printed([&] { EXPECT_EQ(ofProcessChipDown(&rec), 0); });
  EXPECT_NE(out.find("Ignoring chip down for chip 1/0 (0)"), std::string::npos);
  EXPECT_NE(ofLookupChip(0), nullptr);
}

TEST_F(ChipTable, ModuleFailureIsPrintedWithoutItsCodeAndLaterModulesRun) {
  static int later_calls;
  later_calls = 0;
  openflow_modules[1].chip_up = [](of_chip_entry*) { return -9; };
  openflow_modules[3].chip_up = [](of_chip_entry*) { return ++later_calls, 0; };
  auto rec = chip_rec(1, 0);
  std::string out = printed([&] { EXPECT_EQ(ofProcessChipAdd(&rec, 0), 0); });
  EXPECT_NE(out.find("Module 1 failed to process chip up, rc: 0"), std::string::npos);
  EXPECT_EQ(later_calls, 1);
}

TEST_F(ChipTable, WalkRunsFromTheHighestFlatIdAndFindsLocalChips) {
  Reset(3);
  for (uint32_t c : {0u, 2u, 1u}) {
    auto rec = chip_rec(1, c);
    ofProcessChipAdd(&rec, 0);
  }
  auto remote = chip_rec(2, 0);
  ofProcessChipAdd(&remote, 0);
  std::vector<uint32_t> order;
  avl_node* cur = nullptr;
  for (of_chip_entry* c = ofGetFirstChip(&cur); c; c = ofGetNextChip(&cur))
    order.push_back(c->chip_id);
  EXPECT_EQ(order, (std::vector<uint32_t>{3, 2, 1, 0}));
  EXPECT_EQ(ofLookupChip(3)->is_local, 0u);
  EXPECT_EQ(ofGetFirstLocalChip(&cur)->chip_id, 2u);
  // Arrival order in the slot's list.
  std::vector<uint32_t> arrival;
  const of_dlist& head = ofLookupSlot(1)->chips;
  for (auto* l = head.next; l != &head; l = l->next)
    arrival.push_back(static_cast<of_chip_entry*>(l->item)->local_chip_id);
  EXPECT_EQ(arrival, (std::vector<uint32_t>{0, 2, 1}));
}

TEST_F(ChipTable, NoLocalChip) {
  auto remote = chip_rec(2, 0);
  ofProcessChipAdd(&remote, 0);
  avl_node* cur = nullptr;
  EXPECT_EQ(ofGetFirstLocalChip(&cur), nullptr);
}

TEST_F(ChipTable, SlotUpCallsModulesOnceAndSlotDownOnlyWhenUp) {
  static int ups, downs;
  ups = downs = 0;
  openflow_modules[3].slot_up = [](of_slot_entry*) { return ++ups, 0; };
  openflow_modules[3].slot_down = [](of_slot_entry*) { return ++downs, 0; };
  EXPECT_EQ(ofProcessSlotUp(3), 0);
  EXPECT_EQ(ofProcessSlotUp(3), 0);
  EXPECT_EQ(ups, 1);
  EXPECT_EQ(ofLookupSlot(3)->state, 1u);
  EXPECT_EQ(ofProcessSlotDown(3), 0);
  EXPECT_EQ(ofProcessSlotDown(3), 0);
  EXPECT_EQ(downs, 1);
  std::string out = printed([] {
    EXPECT_EQ(ofProcessSlotUp(11), -125);
    EXPECT_EQ(ofProcessSlotDown(11), 0);
  });
  EXPECT_NE(out.find("Failed to find slot 11 entry to process slot up event"), std::string::npos);
  EXPECT_NE(out.find("Failed to find slot entry for slot 11"), std::string::npos);
}

// ---- requests to all chips ----------------------------------------------------------------

class Dispatch : public ChipEnv {
 protected:
  void SetUp() override {
    Reset(2);
    for (uint32_t c : {0u, 1u}) {
      auto rec = chip_rec(1, c);
      ofProcessChipAdd(&rec, 0);
    }
    auto remote = chip_rec(2, 0);
    ofProcessChipAdd(&remote, 0);
    fake().requests.clear();
  }
};

TEST_F(Dispatch, EmptyTableSendsNothingAndSucceeds) {
  Reset(1);
  uint32_t len = of_build_mgid_del(ofNLReqArea(), 5);
  EXPECT_EQ(ofDispatchIoctlToAllChips(nullptr, len, nullptr, &len), 0);
  EXPECT_TRUE(fake().requests.empty());
}

TEST_F(Dispatch, SecondChipFailingLeavesTheFirstProgrammed) {
  fake().fail = {1};
  uint32_t len = of_build_mgid_del(ofNLReqArea(), 5);
  std::string out =
      printed([&] { EXPECT_EQ(ofDispatchIoctlToAllChips(nullptr, len, nullptr, &len), -106); });
  ASSERT_EQ(fake().requests.size(), 2u);
  EXPECT_EQ(fake().requests[0].target, ofa::platform::chip_ifindex(2, 0));
  EXPECT_EQ(fake().requests[1].target, ofa::platform::chip_ifindex(1, 1));
  EXPECT_NE(out.find("Dispatching ioctl to chip 84400080 failed, rc: -106"), std::string::npos);
}

TEST_F(Dispatch, StatisticsClearHasWordsTenAndElevenClearedBeforeEachSend) {
  fake().reply = [](size_t, std::span<uint8_t> area) {
    ofa::wire::Writer w(area);
    w.u32_at(40, 0xDEAD);
    w.u32_at(44, 0xBEEF);
  };
  const uint32_t h[] = {9};
  uint32_t len = of_build_flow_stats(ofNLReqArea(), OF_CMD_STATS_CLEAR, 12, h, 0, 0, 56);
  ofa::wire::Writer(ofNLReqArea()).u32_at(40, 7);
  EXPECT_EQ(ofDispatchIoctlToAllChips(nullptr, len, nullptr, &len), 0);
  ASSERT_EQ(fake().requests.size(), 3u);
  for (const auto& q : fake().requests) {
    EXPECT_EQ(word(q, 40), 0u);
    EXPECT_EQ(word(q, 44), 0u);
  }
  // A read keeps what stands there.
  fake().requests.clear();
  len = of_build_flow_stats(ofNLReqArea(), OF_CMD_STATS_READ, 12, h, 1, 1, 48);
  ofDispatchIoctlToAllChips(nullptr, len, nullptr, &len);
  EXPECT_EQ(word(fake().requests[1], 40), 0xDEADu);
}

TEST_F(Dispatch, AggregateVisitsLocalChipsOnly) {
  static int calls;
  calls = 0;
  uint32_t len = of_build_queue_stats(ofNLReqArea(), 1);
  EXPECT_EQ(ofAggregateStatsFromAllChips([](void*, uint8_t*) { return ++calls, 0; }, nullptr,
                                         nullptr, len, nullptr, &len, 0),
            0);
  EXPECT_EQ(calls, 2);
  ASSERT_EQ(fake().requests.size(), 2u);
  EXPECT_EQ(fake().requests[0].target, ofa::platform::chip_ifindex(1, 1));
  fake().requests.clear();
  ofAggregateStatsFromAllChips(nullptr, nullptr, nullptr, len, nullptr, &len, 1);
  EXPECT_EQ(fake().requests.size(), 1u);
  fake().requests.clear();
  fake().fail = {0};
  std::string out = printed([&] {
    EXPECT_EQ(ofAggregateStatsFromAllChips(nullptr, nullptr, nullptr, len, nullptr, &len, 0), -106);
  });
  EXPECT_EQ(fake().requests.size(), 1u);
  EXPECT_NE(out.find("Failed to retrieve stats from chip: 84400080"), std::string::npos);
}

// ---- bulk reconciliation ------------------------------------------------------------------

TEST_F(ChipTable, BulkEventAddsUnknownChipsWarmAndMarksAndSweeps) {
  Reset(3);
  auto a = chip_rec(1, 0);
  auto c = chip_rec(1, 2);
  ofProcessChipAdd(&a, 0);
  ofProcessChipAdd(&c, 0);
  fake().requests.clear();
  const of_bulk_chip listed[] = {{1, 0, 0, ofa::platform::chip_ifindex(1, 0)},
                                 {1, 1, 1, ofa::platform::chip_ifindex(1, 1)}};
  std::vector<uint8_t> event(8 + 2 * OF_BULK_CHIP_RECORD_SIZE);
  ASSERT_EQ(of_bulk_chip_encode(listed, event), event.size());
  std::string out = printed([&] { EXPECT_EQ(ofProcessBulkChipUp(event), 0); });
  EXPECT_NE(out.find("Unable to find chip ifidx: 84400080, slot/chip: 1/1, flat_chip: 1 in db"),
            std::string::npos);
  EXPECT_NE(out.find("Ignoring chip down for chip 1/2 (2)"), std::string::npos);
  EXPECT_EQ(out.find("Ignoring chip down for chip 1/0"), std::string::npos);
  ASSERT_NE(ofLookupChip(1), nullptr);
  EXPECT_EQ(commands().front(), OF_CMD_REGION_DEL_ALL);  // the new chip came the warm way
  for (uint32_t id : {0u, 1u, 2u})
    EXPECT_EQ(ofLookupChip(id)->seen, 0u) << id;
}

TEST_F(ChipTable, BulkEventThatCountsMoreThanItHoldsIsCut) {
  std::vector<uint8_t> event(8 + OF_BULK_CHIP_RECORD_SIZE);
  const of_bulk_chip one[] = {{1, 0, 0, ofa::platform::chip_ifindex(1, 0)}};
  of_bulk_chip_encode(one, event);
  ofa::wire::Writer(event).u32_at(4, 1000);
  EXPECT_EQ(ofProcessBulkChipUp(event), 0);
  EXPECT_EQ(avl_get_tree_size(ofChipTable), 1);
}

// ---- fake chip up, capability, show --------------------------------------------------------

TEST_F(ChipTable, ChipFromChipIdTakesTheWarmPath) {
  EXPECT_EQ(ofGetChipFromChipId(0), 0);
  ASSERT_NE(ofLookupChip(0), nullptr);
  EXPECT_EQ(ofLookupChip(0)->slot, 1u);
  EXPECT_EQ(commands().front(), OF_CMD_REGION_DEL_ALL);
  // Flat id 2 lies beyond the chip table (slot 1 chip 0, slot 2 chip 0).
  std::string out = printed([] { EXPECT_EQ(ofGetChipFromChipId(2), -125); });
  EXPECT_NE(out.find("Fake chip up failed, rc: -125"), std::string::npos);
}

TEST_F(ChipTable, Capability) {
  auto rec = chip_rec(1, 0);
  ofProcessChipAdd(&rec, 0);
  of_chip_entry* c = ofLookupChip(0);
  fake().requests.clear();
  fake().reply = [](size_t, std::span<uint8_t> area) {
    ofa::wire::Writer w(area);
    w.u32_at(28, 29);
    w.u32_at(440, 1);
    w.u32_at(444, 0);
  };
  EXPECT_EQ(ofGetCoSChipCapability(c), 0);
  EXPECT_EQ(c->chip_class, 2u);
  EXPECT_EQ(c->ipv4_caps, 1u);
  ASSERT_EQ(fake().requests.size(), 1u);
  const auto& q = fake().requests[0];
  EXPECT_EQ(q.command, OF_CMD_CAPABILITY);
  EXPECT_EQ(q.bytes.size(), 460u);
  EXPECT_EQ(static_cast<int32_t>(word(q, 24)), -114);
  fake().reply = [](size_t, std::span<uint8_t> area) { ofa::wire::Writer(area).u32_at(28, 30); };
  EXPECT_EQ(ofGetCoSChipCapability(c), -125);
  of_chip_event_record caps;
  caps.ifm_chip_id = 29;
  caps.ipv4_caps = 1;
  caps.ipv6_caps = 1;
  std::string out = printed([&] { EXPECT_EQ(ofCopyCapsToChip(&caps, c), 0); });
  EXPECT_NE(out.find("IPv4=1 IPV6=1"), std::string::npos);
  caps.ifm_chip_id = 3;
  EXPECT_EQ(ofCopyCapsToChip(&caps, c), -125);
}

TEST_F(ChipTable, ShowTables) {
  auto rec = chip_rec(1, 0);
  ofProcessChipAdd(&rec, 0);
  ofProcessSlotUp(1);
  static std::string text;
  text.clear();
  ofShowSlotTable([](const char* s) { text += s; });
  ofShowChipTable([](const char* s) { text += s; });
  EXPECT_NE(text.find("SlotID : 1\n"), std::string::npos);
  EXPECT_NE(text.find("Chip 0 (1/0):\n"), std::string::npos);
  EXPECT_EQ(text.find("SlotID : 0\n"), std::string::npos);
}

// ---- the chip event record -------------------------------------------------------------------

TEST(ChipEventRecord, RoundTripAndOffsets) {
  of_chip_event_record rec{3, 0x101, 0x202, 33, 0x84400080, 7, 29, 1, 2};
  std::array<uint8_t, OF_CHIP_EVENT_RECORD_SIZE> raw;
  raw.fill(0xEE);
  ASSERT_TRUE(of_chip_event_encode(rec, raw));
  ofa::wire::Reader r(raw);
  EXPECT_EQ(r.u32_at(4), 0x101u);
  EXPECT_EQ(r.u32_at(16), 0x84400080u);
  EXPECT_EQ(r.u32_at(24), 0u);
  EXPECT_EQ(r.u32_at(28), 29u);
  EXPECT_EQ(r.u32_at(464), 1u);
  EXPECT_EQ(r.u32_at(480), 0u);
  of_chip_event_record back;
  ASSERT_TRUE(of_chip_event_decode(raw, &back));
  EXPECT_EQ(back.ifindex, rec.ifindex);
  EXPECT_EQ(back.ipv6_caps, 2u);
  EXPECT_FALSE(of_chip_event_decode(std::span<const uint8_t>(raw).first(483), &back));
  EXPECT_FALSE(of_chip_event_encode(rec, std::span<uint8_t>(raw).first(100)));
}

}  // namespace
