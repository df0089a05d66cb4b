// Decoding of chip requests: the golden requests the agent builds (the fields decoded from their
// bytes), then for each family the refusals, limits and table changes, from requests written at
// the offsets of the wire tables.
#include <gtest/gtest.h>

#include <ostream>

#include <functional>

#include "chipsim_test_util.h"
#include "golden_requests.h"
#include "model/commands.h"
#include "model/status.h"

namespace ofa::chipsim::test {
namespace {

constexpr uint32_t kPort = platform::port_ifindex(1, 5);

Family family_of(of_req_family f) {
  return f == of_req_family::ard    ? Family::ard
         : f == of_req_family::ard2 ? Family::ard2
                                    : Family::zim;
}

Answer send_golden(Model& m, const ofa::test::GoldenRequest& g) {
  return call(m, ofa::test::sparse(g.extent, g.bytes));
}

std::vector<ofa::test::GoldenRequest> decoded_goldens() {
  std::vector<ofa::test::GoldenRequest> out;
  for (const auto& g : ofa::test::golden_requests())
    if (!g.decoded.empty()) out.push_back(g);
  return out;
}

class GoldenDecode : public ::testing::TestWithParam<ofa::test::GoldenRequest> {};

TEST_P(GoldenDecode, Fields) {
  const auto& g = GetParam();
  Model m(config(family_of(g.family)));
  for (const auto& n : g.needs)
    ASSERT_EQ(send_golden(m, ofa::test::golden_request(n)).status, 0) << n;
  Answer a = send_golden(m, g);
  EXPECT_EQ(a.status, g.status) << a.log;
  EXPECT_NE(a.log.find("\"fields\":" + g.decoded + ",\"status\""), std::string::npos)
      << g.decoded << "\n"
      << a.log;
  EXPECT_TRUE(check_invariants(m).empty());
  // A result naming an mgid the chip lacks.
  std::vector<std::string> dangling;
  if (g.name == "l2flow_upd")
    dangling = {"chip 2218786816: ldev 10 region 20 handle 257: no mgid 4097"};
  EXPECT_EQ(check_dangling(m), dangling);
}

INSTANTIATE_TEST_SUITE_P(AgentRequests, GoldenDecode, ::testing::ValuesIn(decoded_goldens()),
                         [](const auto& info) { return info.param.name; });

struct DecodeCase {
  const char* name;
  Family family;
  std::vector<Req> setup;  // sent first, each must succeed
  Req req;
  int32_t status;
  std::vector<std::string> log_has;  // pieces of the request log line
  std::function<void(const ChipState&)> check = nullptr;
  uint32_t target = kChip;
};
void PrintTo(const DecodeCase& c, std::ostream* os) {
  *os << c.name;
}

Req port_wide(uint32_t len) {
  Req r(0x04272003, len);
  r.u32(28, kPort).u32(36, (1u << 26) | (1u << 22)).u32(40, (1u << 29) | (1u << 22)).u32(48, 4004);
  r.u32(84 + 4 * (4000 / 32), 0xFFFFFFFFu);  // IIVIDs 4000 to 4031
  return r;
}

Req translation(uint32_t len, uint32_t change, uint32_t n, bool second) {
  Req r(0x04272003, len);
  r.u32(28, kPort).u32(36, change).u32(40, 1u << 21).u32(56, n);
  for (uint32_t i = 0; i < n; ++i) {
    r.u32(84 + 4 * i, 4001 + i).u32(84 + 4 * (n + i), 100 + i);
    if (second) r.u32(84 + 8 * n + 4 * i, 100 + i);
  }
  return r;
}

Req one_pair(uint32_t command, uint32_t len, uint32_t scope, uint32_t change, uint32_t values,
             bool second) {
  Req r(command, len);
  r.u32(28, scope).u32(36, change).u32(40, values).u32(56, 1).u32(84, 4001).u32(88, 100);
  if (second) r.u32(92, 100);
  return r;
}

Req policer_add(uint32_t id, uint32_t instance) {
  return Req(0x09270002, 88)
      .u32(28, 0x80000000u)
      .u32(36, 5000)
      .u32(44, 100000)
      .u32(76, instance << 28)
      .u32(80, id);
}

Req policer_del(uint32_t id, uint32_t instance) {
  return Req(0x09270003, 36).u32(28, 1).u32(32, (instance << 28) | id);
}

// An mgid add of `members` members, each with `ports` ports; word 0 by `marked`.
Req mgid(uint32_t command, uint32_t id, uint32_t members, uint32_t ports,
         std::function<bool(uint32_t)> marked, uint32_t fixed_len = 0) {
  uint32_t len = fixed_len ? fixed_len : 36 + members * (20 + 4 * ports);
  Req r(command, len);
  r.u32(28, id).u32(32, members);
  size_t at = 36;
  for (uint32_t m = 0; m < members; ++m) {
    r.u32(at, marked(m) ? 0xFFFFFFFFu : 0)
        .u32(at + 4, 4001)
        .u8(at + 12, 1)
        .u16(at + 14, static_cast<uint16_t>(ports));
    for (uint32_t p = 0; p < ports; ++p)
      r.u32(at + 20 + 4 * p, platform::port_ifindex(1, p + 1));
    at += 20 + 4 * ports;
  }
  return r;
}

Req nhop(uint8_t kind, uint8_t count, uint8_t marker, uint32_t len) {
  Req r(0x0427180C, len);
  r.u32(28, 77).u8(33, count).u8(34, kind).u8(35, marker);
  for (uint32_t i = 0; i < count; ++i)
    r.u32(36 + 20 * i, kPort).u16(40 + 20 * i, 4001).mac(42 + 20 * i, {0, 1, 2, 3, 4, 5});
  return r;
}

std::vector<DecodeCase> cases() {
  auto first_only = [](uint32_t m) { return m == 0; };
  auto all = [](uint32_t) { return true; };
  return {
      // clang-format off
      {"region_delete_all", Family::ard,
       {region_add(10, 10, 24, 2, 4), region_add(23, 30, 24, 1, 4)},
       Req(0x07270229, 36).u32(28, (10u << 24) | 0x00C00000u), 0, {R"("ldev":10)"},
       [](const ChipState& c) { EXPECT_EQ(c.regions.count({10, 10}) + c.regions.size(), 1u); }},
      {"region_delete_all_bad_bits", Family::ard, {},
       Req(0x07270229, 36).u32(28, (10u << 24) | 0x00C04000u), status::kInvalid, {}},
      {"l3flow_del_absent", Family::ard, {region_add(23, 20, 100, 6, 16)}, flow_del(true, 5, 20),
       status::kNoEntry, {R"("error":"no handle 5)"}},
      {"port_cfg_owner_bit31", Family::ard, {},
       Req(0x04272001, 52).u32(16, 0x80000000u).u8(28, 6).u32(32, 0x80000000u), status::kInvalid,
       {}},
      {"port_control_bad_selector", Family::ard, {}, Req(0x04272001, 84).u8(28, 3),
       status::kInvalid, {}},
      {"port_vlan_wide_ard2_short", Family::ard2, {}, port_wide(1108), status::kInvalid,
       {R"(is none of 2132, 92, 2084)"}},
      {"port_vlan_wide_no_bit29", Family::ard, {}, port_wide(1108).u32(40, 0), status::kInvalid,
       {}},
      {"translation_zim_without_bit24", Family::zim, {},
       one_pair(0x04272003, 96, kPort, (1u << 19) | (1u << 21), 1u << 21, true), status::kInvalid,
       {}},
      {"translation_batch_zim", Family::zim, {},
       translation(3084, (1u << 19) | (1u << 21) | (1u << 24), 250, true), 0,
       {R"({"iivid":4250,"vlan":349,"vlan2":349})"},
       [](const ChipState& c) { EXPECT_EQ(c.translations.size(), 250u); }},
      {"translation_vlan_4096", Family::ard, {},
       one_pair(0x04272003, 92, kPort, (1u << 19) | (1u << 21), 0, false).u32(88, 4096),
       status::kInvalid, {R"("error":"vlan 4096")"}},
      {"partition_all_vlans", Family::ard, {},
       Req(0x04272006, 48).u16(28, 7).u16(30, 1).u32(36, 1).u32(40, 4001).u32(44, kAllVlans), 0,
       {}, [](const ChipState& c) { EXPECT_EQ(c.partition.at({1, kAllVlans}), 4001u); }},
      {"partition_vlan_5000", Family::ard, {},
       Req(0x04272006, 48).u16(28, 7).u32(36, 1).u32(40, 4001).u32(44, 5000), status::kInvalid,
       {}},
      {"port_control_class_bits_by_mask", Family::ard, {},
       Req(0x04272001, 84).u32(32, kPort).u32(36, 1u << 16).u32(48, (1u << 6) | (1u << 7)), 0, {},
       [](const ChipState& c) {
         EXPECT_EQ(c.ports.at(kPort).typ_cls, true);
         EXPECT_FALSE(c.ports.at(kPort).mac_cls.has_value());
       }},
      {"translation_batch_251", Family::ard, {},
       translation(2084, (1u << 19) | (1u << 21), 3, false).u32(56, 251), status::kInvalid, {}},
      {"evt_not_on_ard", Family::ard, {},
       one_pair(0x04272004, 92, kPort, (1u << 19) | (1u << 21) | (1u << 22), 1u << 22, false),
       status::kUnknownCommand, {R"("error":"command not of this family")"}},
      {"vid_to_mgid_iivid_too_wide_ard", Family::ard, {},
       Req(0x04272007, 56).u32(44, 1).u16(50, 9000), status::kInvalid, {}},
      {"vid_to_mgid_iivid_14_bits_ard2", Family::ard2, {},
       Req(0x04272007, 56).u32(44, 1).u16(50, 9000), 0, {}},
      {"port_l2_ctrl_bad_word", Family::ard, {},
       Req(0x04272014, 60).u32(28, 1).u32(32, 0x00010000).u32(36, 4), status::kInvalid, {}},
      // The VLAN form of an IVT entry without its marker (14 in bits 14-17 of word 52).
      {"ivt_bad_marker", Family::ard2, {},
       Req(0x04272025, 152).u32(28, 1).u32(32, 19u << 24).u32(36, (100u << 20) | 0x000E0000u)
           .u32(52, 4001u << 18), status::kInvalid, {}},
      {"mgid_add_l3_ard_all_marked", Family::ard, {}, mgid(0x05270008, 8003, 3, 1, all),
       status::kInvalid, {R"(word 0 not 0)"}},
      {"mgid_add_l3_zim_fixed_target", Family::zim, {}, mgid(0x05270008, 8003, 3, 1, all), 0,
       {R"("count":3)"}, [](const ChipState& c) { EXPECT_TRUE(c.mcast_only); }, 0x8BC00000u},
      {"mgid_add_l3_zim_unmarked", Family::zim, {}, mgid(0x05270008, 8003, 3, 1, first_only),
       status::kInvalid, {}, nullptr, 0x8BC00000u},
      {"zim_fixed_target_refuses_regions", Family::zim, {}, region_add(10, 10, 96, 2, 4),
       status::kNoDevice, {}, nullptr, 0x8BC00000u},
      {"mgid_members_past_end", Family::ard, {},
       mgid(0x05270008, 8002, 1, 5, first_only).u16(36 + 14, 50), status::kInvalid, {}},
      {"mgid_update_absent", Family::ard, {}, mgid(0x05270009, 8001, 1, 2, first_only, 312),
       status::kNoEntry, {}},
      {"nhop_single_path_no_bucket", Family::ard, {}, nhop(1, 0, 0, 36), 0, {}},
      {"nhop_multi_path_short", Family::ard, {}, nhop(2, 3, 0, 96), status::kInvalid,
       {R"(request length 96, want 196)"}},
      {"nhop_port_without_bit7", Family::ard, {}, nhop(16, 1, 0, 56), status::kInvalid, {}},
      {"nhop_mgid_zim", Family::zim, {}, nhop(8, 1, 1, 56).u8(48, 0x10).u8(49, 0x05), 0,
       {R"("byte12":16,"byte13":5)"}},
      {"nhop_zim_marker_on_ard", Family::ard, {}, nhop(1, 1, 1, 56), status::kInvalid, {}},
      {"nhop_delete_short_zim_without_id", Family::zim, {nhop(16, 1, 0x81, 56)},
       Req(0x0427180D, 36), status::kInvalid, {}},
      {"nhop_delete_short_on_ard", Family::ard, {nhop(1, 1, 0, 56)}, Req(0x0427180D, 36),
       status::kInvalid, {}},
      {"policer_add_instance3_ard2", Family::ard2, {}, policer_add(12, 3), 0, {}},
      {"policer_add_instance3_ard", Family::ard, {}, policer_add(12, 3), status::kInvalid, {}},
      {"policer_add_burst_high_word", Family::ard, {}, policer_add(12, 0).u32(32, 1),
       status::kInvalid, {}},
      {"policer_delete_absent", Family::ard, {}, policer_del(12, 0), status::kNoEntry, {}},
      {"stats_read_keys_without_65535", Family::ard, {},
       Req(0x06270000, 56, 84).u32(28, 12).u8(33, 20).u16(34, 1).u16(36, 1).u32(48, 3),
       status::kInvalid, {}},
      {"stats_read_wrong_length", Family::ard, {},
       Req(0x06270000, 60).u32(28, 12).u16(34, 1).u16(36, 1), status::kInvalid, {}},
      {"stats_bad_class", Family::ard, {}, Req(0x06270000, 48).u32(28, 13), status::kInvalid, {}},
      {"bulk_flag_ard2", Family::ard2, {},
       Req(0x00070000, 36).u32(28, 0x80000000u).sub(policer_add(3, 0)), 0,
       {R"("flag":2147483648)"}},
      {"bulk_flag_on_ard", Family::ard, {},
       Req(0x00070000, 36).u32(28, 0x80000000u).sub(policer_add(3, 0)), status::kInvalid, {}},
      {"bulk_stops_at_first_failure", Family::ard, {},
       Req(0x00070000, 36).sub(policer_add(3, 0)).sub(policer_del(9, 0)).sub(policer_add(3, 1)),
       status::kNoEntry, {R"("status":-2,"error":"no policer 9/0")"},
       [](const ChipState& c) { EXPECT_EQ(c.policers.size(), 1u); }},
      {"bulk_in_bulk", Family::ard, {}, Req(0x00070000, 36).sub(Req(0x00070000, 36)),
       status::kInvalid, {}},
      {"bulk_count_too_big", Family::ard, {}, Req(0x00070000, 36).sub(policer_add(3, 0)).u16(32, 2),
       status::kInvalid, {}},
      {"unknown_command", Family::ard, {}, Req(0x07270099, 36), status::kUnknownCommand,
       {R"("command":"unknown","code":"0x07270099")"}},
      // clang-format on
  };
}

class Decode : public ::testing::TestWithParam<DecodeCase> {};

TEST_P(Decode, AnswersAndKeeps) {
  const DecodeCase& c = GetParam();
  Model m(config(c.family));
  for (const auto& s : c.setup)
    ASSERT_EQ(call(m, s.b, c.target).status, 0) << "setup of " << c.name;
  Answer a = call(m, c.req.b, c.target);
  EXPECT_EQ(a.status, c.status) << a.log;
  for (const auto& piece : c.log_has)
    EXPECT_NE(a.log.find(piece), std::string::npos) << piece << "\n" << a.log;
  if (c.check) c.check(m.chips().at(c.target));
  EXPECT_TRUE(check_invariants(m).empty());
}

INSTANTIATE_TEST_SUITE_P(AllCommands, Decode, ::testing::ValuesIn(cases()),
                         [](const auto& info) { return std::string(info.param.name); });

// A fixed-length request of each group of handlers (command, length) is refused one word short
// and one word long (the exact lengths are accepted in the golden requests).
TEST(Lengths, FixedOnesRefusedWhenOff) {
  const std::pair<uint32_t, uint32_t> fixed[] = {
      {0x00070001, 460}, {0x04272006, 48}, {0x0527000A, 36}, {0x07270050, 184}, {0x09270002, 88}};
  for (auto [command, len] : fixed) {
    Model m(config(Family::ard));
    for (uint32_t l : {len - 4, len + 4}) {
      Answer a = call(m, Req(command, l).b);
      EXPECT_EQ(a.status, status::kInvalid) << std::hex << command << std::dec << " len " << l;
      EXPECT_NE(a.log.find("request length " + std::to_string(l) + ", want " + std::to_string(len)),
                std::string::npos)
          << a.log;
    }
    EXPECT_EQ(m.stats().malformed, 2u) << std::hex << command;
  }
}

// The header's own length rules, whatever the command.
TEST(Header, LengthRules) {
  Model m(config(Family::ard));
  // A reply length not a multiple of 4, a reply length past the limit, a request length that says
  // more than came.
  const std::pair<size_t, uint32_t> words[] = {{12, 50}, {12, 0x100004}, {8, 96}};
  for (auto [off, value] : words) {
    Req r = region_add(10, 10, 24, 2, 4);
    r.u32(off, value);
    EXPECT_EQ(status_of(m, r), status::kInvalid) << off << ": " << value;
  }
  EXPECT_EQ(status_of(m, Req(0x07270220, 24)), status::kInvalid);  // shorter than the header
  EXPECT_TRUE(m.chips().at(kChip).regions.empty());
}

}  // namespace
}  // namespace ofa::chipsim::test
