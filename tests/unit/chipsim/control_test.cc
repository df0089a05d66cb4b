// The control protocol: answers, faults and traffic through it, and the event datagrams it sends.
#include <gtest/gtest.h>

#include "chipsim_test_util.h"
#include "control/control.h"
#include "control/events.h"
#include "control/platform_config.h"
#include "hex.h"
#include "model/status.h"

namespace ofa::chipsim::test {
namespace {

bool ok(const std::string& answer) {
  return answer.rfind("{\"ok\":true", 0) == 0;
}
bool has(const std::string& s, const std::string& piece) {
  return s.find(piece) != std::string::npos;
}

class ControlTest : public ::testing::Test {
 protected:
  ControlTest() {
    ModelConfig cfg = config(Family::ard);
    cfg.chips = {{1, 0, 1, 0}, {2, 0, 7, 1}, {2, 1, 7, 2}};
    model = std::make_unique<Model>(cfg);
    ctl = std::make_unique<Control>(Control{*model, nullptr, {1, 2}, {}, 0});
    ctl->send = [this](std::span<const uint8_t> d) -> std::optional<std::string> {
      if (refuse) return "no agent";
      sent.emplace_back(d.begin(), d.end());
      return std::nullopt;
    };
  }
  std::string run(const std::string& line) { return control_command(*ctl, line); }

  std::unique_ptr<Model> model;
  std::unique_ptr<Control> ctl;
  std::vector<std::vector<uint8_t>> sent;
  bool refuse = false;
};

TEST_F(ControlTest, AnswersAndErrors) {
  EXPECT_TRUE(ok(run("help")));
  for (const char* bad : {"", "frobnicate", "fault", "fault bogus -1", "fault region_add x",
                          "fault region_add -1 times 0", "event", "event chip-sideways",
                          "event chip-up slot", "traffic entry 10 20", "traffic all 1 1 chip"}) {
    std::string a = run(bad);
    EXPECT_TRUE(has(a, R"({"ok":false,"error":")")) << bad << " -> " << a;
  }
}

TEST_F(ControlTest, FaultsThroughTheSocketProtocol) {
  EXPECT_TRUE(ok(run("fault region_add -5 times 2")));
  EXPECT_TRUE(ok(run("fault 0x09270003 -6")));
  EXPECT_TRUE(ok(run("fault region_add -7 chip " + std::to_string(platform::chip_ifindex(2, 1)))));
  EXPECT_TRUE(has(run("fault list"), R"("command":"region_add","status":-7,"chip":)" +
                                         std::to_string(platform::chip_ifindex(2, 1))));
  EXPECT_FALSE(ok(run("fault region_add -7 once chip 0")));
  EXPECT_TRUE(has(run("fault list"), R"("command":"policer_delete","status":-6)"));
  EXPECT_EQ(status_of(*model, region_add(10, 10, 24, 2, 4)), -5);
  EXPECT_EQ(status_of(*model, region_add(10, 10, 24, 2, 4)), -5);
  EXPECT_EQ(status_of(*model, region_add(10, 10, 24, 2, 4)), 0);
  EXPECT_TRUE(ok(run("fault clear policer_delete")));
  EXPECT_EQ(run("fault list").find("policer_delete"), std::string::npos);
  EXPECT_TRUE(ok(run("fault clear")));
  EXPECT_TRUE(model->faults().empty());
}

TEST_F(ControlTest, ChipUpDatagramLayout) {
  ASSERT_TRUE(has(run("event chip-up slot 2 chip 1"), R"("sent":1)"));
  ASSERT_EQ(sent.size(), 1u);
  // The data record (length 532, type 203), class 2 at 28, the chip record from 48 (event 3: chip
  // up, slot, local chip id, flat chip id, ifindex, chip type, chip id from IFM at 76, capabilities
  // at 512), then the closing record at the next 4-byte boundary.
  EXPECT_EQ(sent[0],
            ofa::test::sparse(552,
                              "0: 00000214 00CB0000 00000001 | 28: 00000002 | "
                              "48: 00000003 00000002 00000001 00000002 84800080 00000007 | "
                              "76: 0000001D | 512: 00000001 00000001 | "
                              "532: 00000014 00040000 00000001"));
}

TEST_F(ControlTest, EventsForEveryChipAndSlot) {
  EXPECT_TRUE(has(send_startup_events(*ctl), R"("sent":5)"));
  ASSERT_EQ(sent.size(), 5u);  // slot-up 1 and 2, then chip-up for three chips
  std::vector<std::pair<uint32_t, uint32_t>> got;
  for (const auto& d : sent)
    got.emplace_back(wire::Reader(d).u32_at(48), wire::Reader(d).u32_at(52));
  EXPECT_EQ(got,
            (std::vector<std::pair<uint32_t, uint32_t>>{{5, 1}, {5, 2}, {3, 1}, {3, 2}, {3, 2}}));
  sent.clear();
  EXPECT_TRUE(has(run("event ignored slot 1"), R"("sent":1)"));
  EXPECT_EQ(wire::Reader(sent.back()).u32_at(48), 7u);
  EXPECT_TRUE(has(run("event chip-up slot 5"), R"("ok":false)"));
}

TEST_F(ControlTest, MalformedEventsForTheReceiveChecks) {
  ASSERT_TRUE(ok(run("event chip-up slot 1 close none")));
  EXPECT_EQ(sent.back().size(), 532u);
  ASSERT_TRUE(ok(run("event slot-up slot 1 class 9")));
  EXPECT_EQ(wire::Reader(sent.back()).u32_at(28), 9u);
  // An error record (type 2, the third event sent: code at 20, the type and sequence number it
  // answers at 28 and 32), then the closing record.
  ASSERT_TRUE(ok(run("event error code -5 type 203 seq 42")));
  EXPECT_EQ(sent.back(), ofa::test::sparse(76,
                                           "0: 00000038 00020000 00000003 | 20: FFFFFFFB | "
                                           "28: 00CB0000 0000002A | "
                                           "56: 00000014 00040000 00000003"));
  refuse = true;
  EXPECT_TRUE(has(run("event slot-up"), R"("error":"no agent after 0 sent")"));
  EXPECT_TRUE(has(run("stats"), R"("event_failures":1)"));
}

// Counters that traffic advances come back in statistics reads at the places of the wire table.
TEST_F(ControlTest, TrafficAndStatisticsReads) {
  ASSERT_EQ(status_of(*model, region_add(10, 20, 100, 6, 16)), 0);
  ASSERT_EQ(status_of(*model, l2_add(3, 20, 0, 0)), 0);
  ASSERT_EQ(status_of(*model, l2_add(4, 20, 0, 3).u32(136 + 32, 1u << 15)), 0);  // not counted
  EXPECT_TRUE(has(run("traffic entry 10 20 3 5 500"), R"("advanced":1)"));
  EXPECT_TRUE(ok(run("traffic all 1 64")));
  // A read of handles 4, 3 and an unknown 8: keys, a one-word bit set, then 6-word results.
  Req read(0x06270000, 48 + 8 * 3, 48 + 32 * 3 + 4);
  read.u32(28, 12).u8(33, 20).u16(34, 3).u16(36, 3);
  uint32_t keys[] = {4, 3, 8};
  for (int i = 0; i < 3; ++i)
    read.u32(48 + 8 * i, keys[i]).u32(52 + 8 * i, 65535);
  Answer a = call(*model, read.b);
  ASSERT_EQ(a.status, 0) << a.log;
  // The request back with the results written (3) at 40, then from 72 the 24-byte results:
  // handle 4 counts nothing ("don't count"), handle 3 has 6 packets and 564 bytes, 8 is unknown.
  EXPECT_EQ(std::vector<uint8_t>(a.reply.begin() + 48, a.reply.end()),
            ofa::test::sparse(148,
                              "0: 06270000 | 8: 00000048 00000094 | "
                              "28: 0000000C 00140003 00030000 00000003 00000048 | "
                              "48: 00000004 0000FFFF 00000003 0000FFFF 00000008 0000FFFF | "
                              "76: 00000004 | 100: 00000003 | 112: 00000006 | "
                              "120: 00000234 00000008"));
  // A clear (its counts are what the statistics scenarios read after one).
  Req clear(0x06270001, 56);
  clear.u32(28, 12).u8(33, 20).u16(34, 1).u32(48, 3).u32(52, 65535);
  Answer cleared = call(*model, clear.b);
  ASSERT_EQ(cleared.status, 0);
  // The answer in the buffer as it stands is no new clear: words 40 and 44 must be cleared first.
  std::vector<uint8_t> again(cleared.reply.begin() + 48, cleared.reply.begin() + 48 + 56);
  EXPECT_EQ(call(*model, again).status, status::kInvalid);
  wire::Writer(again).u32_at(40, 0);
  EXPECT_EQ(call(*model, again).status, 0);
}

// Ports, VLANs and translations as `query port` (by ifindex) and `show` give them, from what the
// requests set: on the default platform (IIVIDs 7168-8186, mgids 8000-9018, ports 1-48 on chip 0 of
// slot 1) with a chip of slot 2 besides, which serves none of them. (The fields of each query are
// what the scenarios' `expect chip` lines read.)
TEST(Views, QueriesAndShowOfPortsVlansTranslationsAndL2) {
  auto plat = std::get<platform::Platform>(
      platform::parse_platform(platform::default_platform_text(), "default"));
  ModelConfig cfg = model_config(plat);
  cfg.chips.push_back({2, 0, 1, 1});
  Model m(cfg);
  Control ctl{m, nullptr, {1}, {}, 0};
  const uint32_t p3 = platform::port_ifindex(1, 3), p5 = platform::port_ifindex(1, 5);
  // The port-wide form with IIVIDs 7168-7199 (each request gives the member set whole).
  const Req wide = Req(0x04272003, 1108).u32(28, p3).u32(84 + 4 * (7168 / 32), 0xFFFFFFFFu);
  for (const Req& req : std::vector<Req>{
           Req(wide)
               .u32(36, (1u << 27) | (1u << 30) | (1u << 29) | (1u << 22) | (1u << 26))
               .u32(40, (1u << 29) | (1u << 23) | (1u << 26) | (1u << 25) | (1u << 22))
               .u32(48, 7172),
           // Then the learning bit alone, to 0: what its change mask does not name stays.
           Req(wide).u32(36, 1u << 27).u32(40, 1u << 29).u32(48, 99),
           Req(0x04272006, 48).u16(28, 7).u32(36, 1).u32(40, 7178).u32(44, 100),
           Req(0x04272006, 48).u16(28, 7).u16(30, 1).u32(36, 1).u32(40, 7178).u32(44, 100),
           Req(0x04272007, 56).u32(44, 1).u16(50, 7178).u32(52, 8010),
           Req(0x05270008, 64)
               .u32(28, 8010)
               .u32(32, 1)
               .u32(36, 0xFFFFFFFFu)
               .u32(40, 7178)
               .u8(48, 1)
               .u16(50, 2)
               .u32(56, p3)
               .u32(60, p5),
           Req(0x04272003, 2084)
               .u32(28, p3)
               .u32(36, (1u << 19) | (1u << 21))
               .u32(40, 1u << 21)
               .u32(56, 1)
               .u32(84, 7173)
               .u32(88, kAllVlans),
       })
    ASSERT_EQ(call(m, req.b).status, 0) << call(m, req.b).log;
  // Exact-match entries, against the order in which they show.
  for (auto [iivid, last] : {std::pair<uint16_t, uint8_t>{7178, 10}, {7179, 1}, {7178, 5}}) {
    Req add = Req(0x04270800, 76).u32(40, 1u << 30).u16(42, iivid).mac(44, {0, 0, 0, 0, 0, last});
    ASSERT_EQ(call(m, add.u32(64, p5).u8(68, 3).b, kChip).status, 0);
  }
  // An exact-match delete of an entry the chip does not hold is refused.
  EXPECT_NE(call(m, Req(0x04270802, 48).u16(32, 7179).mac(34, {0, 0, 0, 0, 0, 10}).b, kChip).status,
            0);
  const std::string q = R"({"ok":true,"chip":2218786816,"found":)";
  const std::string p3_fields =
      "id=3 name=ethernet1/3 ifindex=0x18418000 served=1 lrn=0 rx_fwd=1 rx_fwd2=1 tx_en=1 "
      "pvid=7172 iivids=7168-7199 vpn=- ppid=- typ_cls=- mac_cls=- qos=- lldp_ovrd=- l2_ovrd=- "
      "address=- nhop=-";
  for (const auto& [line, answer] : std::vector<std::pair<std::string, std::string>>{
           {"query port 0x18418000", q + R"(true,"fields":")" + p3_fields + R"("})"},
           {"show xlate 3", R"({"ok":true,"text":"chip 0x84400000: slot 1, chip 0\n)"
                            R"(  port iivid vlan tagged\n  3    7173  all  1\n\n)"
                            R"(chip 0x84800000: slot 2, chip 0\n  no translations\n"})"},
           {"show l2", R"({"ok":true,"text":"chip 0x84400000: slot 1, chip 0\n)"
                       R"(  iivid mac               port\n  7178  00:00:00:00:00:05 5\n)"
                       R"(  7178  00:00:00:00:00:0a 5\n  7179  00:00:00:00:00:01 5\n\n)"
                       R"(chip 0x84800000: slot 2, chip 0\n  no L2 entries\n"})"},
           {"show vlans 100", R"({"ok":true,"text":"chip 0x84400000: slot 1, chip 0\n)"
                              R"(  vlan rte0 rte1 mgid flood\n  100  7178 7178 8010 3,5\n\n)"
                              R"(chip 0x84800000: slot 2, chip 0\n  no VLANs\n"})"},
       })
    EXPECT_EQ(control_command(ctl, line), answer) << line;
  for (const char* bad :
       {"query", "query port x", "query vlan 1 chip 5", "query xlate 3", "show ports 3 4",
        "show bogus", "show vlans x", "query l2 7178 00:00:00:00:00", "query policer 9"})
    EXPECT_TRUE(has(control_command(ctl, bad), R"({"ok":false,"error":")")) << bad;
}

// Queue counters at their places in the reply: a zim chip counts queue bytes in units of 8; the
// other families in bytes.
TEST(QueueBytes, ZimCountsInEighths) {
  uint32_t port = platform::port_ifindex(1, 3);
  Req q = Req(0x06270000, 504).u32(28, 49).u32(32, 1).u32(40, 2).u32(48, port);
  for (auto [family, want] : {std::pair{Family::zim, 100u}, std::pair{Family::ard2, 800u}}) {
    Model m(config(family));
    ASSERT_EQ(m.traffic_queue(kChip, port, 2, 1, 800), 1u);
    Answer a = call(m, q.b);
    ASSERT_EQ(a.status, 0) << a.log;
    EXPECT_EQ(wire::Reader(a.reply).u64_at(48 + 248 + 8 * 2), want) << family_name(family);
    EXPECT_EQ(wire::Reader(a.reply).u64_at(48 + 184 + 8 * 2), 1u);
  }
}

}  // namespace
}  // namespace ofa::chipsim::test
