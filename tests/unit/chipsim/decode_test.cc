// Decoding of every chip request for each family, from requests written at the offsets of the
// wire tables: the status answered, the decoded fields in the request log, and the table set.
#include <gtest/gtest.h>

#include <ostream>

#include <functional>

#include "chipsim_test_util.h"
#include "model/commands.h"
#include "model/status.h"

namespace ofa::chipsim::test {
namespace {

constexpr uint32_t kPort = platform::port_ifindex(1, 5);

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

std::ostream& operator<<(std::ostream& os, const DecodeCase& c) {
  return os << c.name;
}

Req qos_init() {
  Req r(0x01271002, 160);
  r.u32(28, kPort);
  for (uint32_t i = 0; i < 32; ++i) {
    uint32_t c = i % 8 == 0 ? 1 : i % 8 == 1 ? 0 : i % 8;
    r.u8(32 + 4 * i, static_cast<uint8_t>(c)).u8(33 + 4 * i, static_cast<uint8_t>(i % 8));
  }
  return r;
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
  if (scope == 0) r.u16(32, 1).u16(34, 7);
  if (second) r.u32(92, 100);
  return r;
}

Req policer_add(uint32_t id, uint32_t instance) {
  return Req(0x09270002, 88)
      .u32(28, 0x80000000u)
      .u64(32, 5000)
      .u64(40, 100000)
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

Req stats_flows(uint32_t command, uint32_t cls, std::vector<uint32_t> handles, uint32_t wanted) {
  auto n = static_cast<uint32_t>(handles.size());
  uint32_t reply = 48 + 32 * n + 4 * ((n + 31) / 32);
  Req r(command, 48 + 8 * n, reply);
  r.u32(28, cls)
      .u8(33, 20)
      .u16(34, static_cast<uint16_t>(n))
      .u16(36, static_cast<uint16_t>(wanted));
  for (uint32_t i = 0; i < n; ++i)
    r.u32(48 + 8 * i, handles[i]).u32(52 + 8 * i, 65535);
  return r;
}

Req ivt(uint32_t command, bool vlan_form) {
  Req r(command, 152);
  r.u32(28, 1);
  if (vlan_form) {
    r.u32(32, 19u << 24).u32(36, (100u << 20) | 0x000E0000u).u32(52, (4001u << 18) | (14u << 14));
  } else {
    r.u32(32, 1u << 24).u32(40, kPort).u32(52, (4001u << 18) | (13u << 14));
  }
  return r;
}

const Region& region_of(const ChipState& c, uint8_t ldev, uint8_t reg) {
  return c.regions.at({ldev, reg});
}

std::vector<DecodeCase> cases() {
  auto first_only = [](uint32_t m) { return m == 0; };
  auto all = [](uint32_t) { return true; };
  std::vector<DecodeCase> v;
  // Regions and TCAM entries (all families share them).
  for (auto [name, f] :
       {std::pair{"region_add_ard", Family::ard}, std::pair{"region_add_ard2", Family::ard2},
        std::pair{"region_add_zim", Family::zim}}) {
    v.push_back({name,
                 f,
                 {},
                 region_add(10, 20, 4072, 254, 16),
                 0,
                 {R"("command":"region_add")", R"("ldev":10,"region":20,"type":1)",
                  R"("size":4072,"initial":254,"increment":16)"},
                 [](const ChipState& c) { EXPECT_EQ(region_of(c, 10, 20).size, 4072u); }});
  }
  v.push_back({"region_delete_all",
               Family::ard,
               {region_add(10, 10, 24, 2, 4), region_add(23, 30, 24, 1, 4)},
               Req(0x07270229, 36).u32(28, (10u << 24) | 0x00C00000u),
               0,
               {R"("ldev":10)"},
               [](const ChipState& c) {
                 EXPECT_EQ(c.regions.size(), 1u);
                 EXPECT_EQ(c.regions.count({23, 30}), 1u);
               }});
  v.push_back({"region_delete_all_bad_bits",
               Family::ard,
               {},
               Req(0x07270229, 36).u32(28, (10u << 24) | 0x00C04000u),
               status::kInvalid,
               {}});
  v.push_back({"l2flow_add_default_entry",
               Family::ard,
               {region_add(10, 30, 24, 1, 4)},
               l2_add(1, 30, 0, 0)
                   .u32(96, 0xFFE01)
                   .u32(112, 1u << 1)
                   .u8(136 + 24, 2)
                   .u32(136 + 28, 0x9)
                   .u32(44, kPort)
                   .mac(76, {0xa, 0xb, 0xc, 0xd, 0xe, 0xf})
                   .u8(88, 5 << 5)
                   .u16(90, 0x0800),
               0,
               {R"("handle":1,"before":0,"after":0,"region":30)", R"("vpn_id":1048065,"valid":2)",
                R"("src_mac":"0a:0b:0c:0d:0e:0f")", R"("vlan_prio":5,"ether_type":2048)",
                R"("fwd_action":2,"flags":9)"},
               [](const ChipState& c) {
                 const auto& e = region_of(c, 10, 30).entries.front();
                 EXPECT_EQ(e.l2key.vpn_id, 0xFFE01u);
                 EXPECT_EQ(e.l2key.in_port, kPort);
                 EXPECT_EQ(e.l2res.flags, 9u);
               }});
  v.push_back({"l2flow_add_iivid_mask",
               Family::ard,
               {region_add(10, 10, 24, 2, 4)},
               l2_add(1, 10, 0, 0).u16(56, 8188).u32(112, (0x1FFCu << 18) | (1u << 8)).u8(160, 3),
               0,
               {R"("iivid":8188,"iivid_mask":8188)", R"("fwd_action":3)"}});
  v.push_back({"l3flow_add_default_entry",
               Family::ard,
               {region_add(23, 30, 24, 1, 4)},
               l3_add(1, 30, 0, 0)
                   .u32(104, 0xFFE02)
                   .u32(116, 1u << 2)
                   .u8(164 + 4, 3)
                   .u32(164 + 20, 1u << 9)
                   .u32(164 + 24, 1u << 31),
               0,
               {R"("vpn_id":1048066)", R"("fwd_action":3,"flags_a":512,"flags_b":2147483648)"}});
  v.push_back({"l3flow_add_key",
               Family::ard2,
               {region_add(23, 20, 100, 6, 16)},
               l3_add(9, 20, 0, 0)
                   .u32(44, kPort)
                   .u16(56, 4001)
                   .u8(80, 46)
                   .u8(81, 3)
                   .u32(92, 0x0A000001)
                   .u32(96, 0x0A000002)
                   .u8(103, 6)
                   .u32(108, (1u << 5) | (1u << 11))
                   .u16(112, 1234)
                   .u16(114, 80)
                   .u16(124, 0xFFFF)
                   .u16(126, 0xFFFF)
                   .u32(128, 0xFFFFFF00)
                   .u32(132, 0xFFFFFFFF)
                   .u32(164 + 32, 1u << 31)
                   .u32(164 + 36, kPort),
               0,
               {R"("dscp":46,"vlan_prio":3,"src_ip":167772161,"src_ip_mask":4294967040)",
                R"("ip_proto":6)", R"("l4_src":1234,"l4_src_mask":65535,"l4_dst":80)",
                R"("egress_valid":2147483648,"egress_if":)"}});
  v.push_back({"l2flow_upd",
               Family::ard,
               {region_add(10, 30, 24, 1, 4), l2_add(1, 30, 0, 0)},
               Req(0x07270051, 84).u32(28, 1).u8(32, 30).u8(33, 1).u8(36 + 24, 2).u32(36 + 28, 1),
               0,
               {R"("handle":1,"region":30,"type":1)", R"("fwd_action":2,"flags":1)"},
               [](const ChipState& c) {
                 EXPECT_EQ(region_of(c, 10, 30).entries.front().l2res.flags, 1u);
                 EXPECT_EQ(region_of(c, 10, 30).entries.front().updates, 1u);
               }});
  v.push_back({"l3flow_upd",
               Family::zim,
               {region_add(23, 30, 96, 8, 4), l3_add(1, 30, 0, 0)},
               Req(0x072700B9, 80).u32(28, 1).u8(32, 30).u8(33, 1).u32(36, 55).u32(36 + 20, 0x210),
               0,
               {R"("nhop":55)", R"("flags_a":528)"}});
  v.push_back({"l2flow_del",
               Family::ard,
               {region_add(10, 20, 100, 6, 16), l2_add(5, 20, 0, 0)},
               flow_del(false, 5, 20),
               0,
               {R"("handle":5,"region":20)"},
               [](const ChipState& c) { EXPECT_TRUE(region_of(c, 10, 20).entries.empty()); }});
  v.push_back({"l3flow_del_absent",
               Family::ard,
               {region_add(23, 20, 100, 6, 16)},
               flow_del(true, 5, 20),
               status::kNoEntry,
               {R"("error":"no handle 5)"}});
  // Ports and VLANs.
  v.push_back({"port_qos_init",
               Family::ard,
               {},
               qos_init(),
               0,
               {R"("classes":[1,0,2,3,4,5,6,7,1,0)", R"("enabled":[0,1,2,3)"},
               [](const ChipState& c) { EXPECT_EQ(c.ports.at(kPort).cos_class[8], 1); }});
  v.push_back({"port_cfg",
               Family::ard,
               {},
               Req(0x04272001, 52)
                   .u32(16, 0x12340000)
                   .u8(28, 6)
                   .u32(32, 0x80000000u)
                   .mac(38, {0, 0xe0, 0x52, 1, 2, 3})
                   .u32(48, kPort),
               0,
               {R"("selector":6)", R"("port_address":"00:e0:52:01:02:03")"}});
  v.push_back({"port_cfg_owner_bit31",
               Family::ard,
               {},
               Req(0x04272001, 52).u32(16, 0x80000000u).u8(28, 6).u32(32, 0x80000000u),
               status::kInvalid,
               {}});
  v.push_back({"port_control",
               Family::ard2,
               {},
               Req(0x04272001, 84)
                   .u32(16, 0x00400000)
                   .u32(32, kPort)
                   .u32(36, (1u << 16) | (1u << 17) | (1u << 2))
                   .u32(40, 1u << 19)
                   .u32(48, (1u << 6) | (1u << 7))
                   .u32(56, 7u << 7),
               0,
               {R"("selector":0)", R"("ppid":7)"},
               [](const ChipState& c) { EXPECT_EQ(c.ports.at(kPort).ppid, 7u); }});
  v.push_back({"port_control_bad_selector",
               Family::ard,
               {},
               Req(0x04272001, 84).u8(28, 3),
               status::kInvalid,
               {}});
  v.push_back({"port_vlan_wide_ard",
               Family::ard,
               {},
               port_wide(1108),
               0,
               {R"("form":"port")", R"("pvid":4004)", R"("iivids":["4000-4031"])"},
               [](const ChipState& c) {
                 EXPECT_EQ(c.ports.at(kPort).iivid_members.size(), 32u);
                 EXPECT_EQ(c.ports.at(kPort).pvid, 4004u);
               }});
  v.push_back({"port_vlan_wide_ard2", Family::ard2, {}, port_wide(2132), 0, {R"("form":"port")"}});
  v.push_back({"port_vlan_wide_zim", Family::zim, {}, port_wide(1108), 0, {R"("form":"port")"}});
  v.push_back({"port_vlan_wide_ard2_short",
               Family::ard2,
               {},
               port_wide(1108),
               status::kInvalid,
               {R"(is none of 2132, 92, 2084)"}});
  v.push_back({"port_vlan_wide_no_bit29",
               Family::ard,
               {},
               port_wide(1108).u32(40, 0),
               status::kInvalid,
               {}});
  v.push_back({"translation_one",
               Family::ard,
               {},
               one_pair(0x04272003, 92, kPort, (1u << 19) | (1u << 21), 1u << 21, false),
               0,
               {R"("form":"translation")", R"("pairs":[{"iivid":4001,"vlan":100}])"},
               [](const ChipState& c) {
                 EXPECT_EQ(c.translations.at({kPort, 4001}).vlan, 100u);
               }});
  v.push_back(
      {"translation_one_zim",
       Family::zim,
       {},
       one_pair(0x04272003, 96, kPort, (1u << 19) | (1u << 21) | (1u << 24), 1u << 21, true),
       0,
       {R"("pairs":[{"iivid":4001,"vlan":100,"vlan2":100}])"}});
  v.push_back({"translation_one_zim_egress_form",
               Family::zim,
               {},
               one_pair(0x04272003, 92, kPort, (1u << 19) | (1u << 21), 1u << 21, false),
               0,
               {R"("pairs":[{"iivid":4001,"vlan":100}])"}});
  v.push_back({"translation_zim_without_bit24",
               Family::zim,
               {},
               one_pair(0x04272003, 96, kPort, (1u << 19) | (1u << 21), 1u << 21, true),
               status::kInvalid,
               {}});
  v.push_back({"translation_partition_form",
               Family::ard2,
               {},
               one_pair(0x04272003, 92, 0, (1u << 19) | (1u << 21), 0, false),
               0,
               {R"("ifindex":0,"partition_one":1,"partition":7)"},
               [](const ChipState& c) {
                 EXPECT_EQ(c.translations.count({0, 4001}), 1u);
               }});
  v.push_back({"translation_batch",
               Family::ard,
               {},
               translation(2084, (1u << 19) | (1u << 21), 3, false),
               0,
               {R"("form":"batch")", R"({"iivid":4003,"vlan":102})"},
               [](const ChipState& c) { EXPECT_EQ(c.translations.size(), 3u); }});
  v.push_back({"translation_batch_zim",
               Family::zim,
               {},
               translation(3084, (1u << 19) | (1u << 21) | (1u << 24), 250, true),
               0,
               {R"({"iivid":4250,"vlan":349,"vlan2":349})"},
               [](const ChipState& c) { EXPECT_EQ(c.translations.size(), 250u); }});
  v.push_back({"translation_batch_251",
               Family::ard,
               {},
               translation(2084, (1u << 19) | (1u << 21), 3, false).u32(56, 251),
               status::kInvalid,
               {}});
  v.push_back({"eft_entry",
               Family::ard2,
               {},
               one_pair(0x04272003, 92, kPort, (1u << 8) | (1u << 19) | (1u << 21) | (1u << 22),
                        (1u << 21) | (1u << 22), false),
               0,
               {R"("form":"eft")"},
               [](const ChipState& c) {
                 EXPECT_EQ(c.eft.count({kPort, 4001}), 1u);
               }});
  v.push_back({"evt_add",
               Family::ard2,
               {},
               one_pair(0x04272004, 92, kPort, (1u << 19) | (1u << 21) | (1u << 22),
                        (1u << 21) | (1u << 22), false),
               0,
               {R"("command":"evt_add")"},
               [](const ChipState& c) { EXPECT_EQ(c.evt.size(), 1u); }});
  v.push_back(
      {"evt_remove_absent_is_fine",
       Family::ard2,
       {},
       one_pair(0x04272005, 92, kPort, (1u << 19) | (1u << 21) | (1u << 22), 1u << 22, false),
       0,
       {R"("command":"evt_remove")"}});
  v.push_back(
      {"evt_not_on_ard",
       Family::ard,
       {},
       one_pair(0x04272004, 92, kPort, (1u << 19) | (1u << 21) | (1u << 22), 1u << 22, false),
       status::kUnknownCommand,
       {R"("error":"command not of this family")"}});
  v.push_back({"partition_id",
               Family::ard,
               {},
               Req(0x04272006, 48).u16(28, 7).u16(30, 1).u32(36, 1).u32(40, 4001).u32(44, 100),
               0,
               {R"("ppid":7,"rte":1,"count":1,"iivid":4001,"vlan":100)"},
               [](const ChipState& c) {
                 EXPECT_EQ(c.partition.at({1, 100}), 4001u);
               }});
  v.push_back({"partition_id_not_on_zim",
               Family::zim,
               {},
               Req(0x04272006, 48).u16(28, 7).u32(36, 1),
               status::kUnknownCommand,
               {}});
  v.push_back({"vid_to_mgid",
               Family::ard,
               {},
               Req(0x04272007, 56).u32(44, 1).u16(50, 4001).u32(52, 0xFFFE0000u | 9001),
               0,
               {R"("count":1,"iivid":4001,"mgid":9001)"},
               [](const ChipState& c) { EXPECT_EQ(c.vid_to_mgid.at(4001), 9001u); }});
  v.push_back({"vid_to_mgid_iivid_too_wide_ard",
               Family::ard,
               {},
               Req(0x04272007, 56).u32(44, 1).u16(50, 9000),
               status::kInvalid,
               {}});
  v.push_back({"vid_to_mgid_iivid_14_bits_ard2",
               Family::ard2,
               {},
               Req(0x04272007, 56).u32(44, 1).u16(50, 9000),
               0,
               {}});
  v.push_back({"port_l2_ctrl",
               Family::zim,
               {},
               Req(0x04272014, 60)
                   .u32(28, 1)
                   .u32(32, 0x00020000)
                   .u32(36, 4)
                   .u32(48, kPort)
                   .u32(52, 1)
                   .u32(56, 2),
               0,
               {R"("lldp_vlan_ovrd":1,"l2_ctrl_ovrd":2)"}});
  v.push_back({"port_l2_ctrl_bad_word",
               Family::ard,
               {},
               Req(0x04272014, 60).u32(28, 1).u32(32, 0x00010000).u32(36, 4),
               status::kInvalid,
               {}});
  v.push_back({"port_vpn",
               Family::ard,
               {},
               Req(0x04272024, 44).u32(28, kPort).u32(32, 0x80000000u).u32(36, 0xFFE01),
               0,
               {R"("vpnid":1048065)"},
               [](const ChipState& c) { EXPECT_EQ(c.ports.at(kPort).vpnid, 0xFFE01u); }});
  v.push_back({"ivt_add_vlan_form",
               Family::ard2,
               {},
               ivt(0x04272025, true),
               0,
               {R"("key_type":19)", R"("iivid":4001,"marker":14,"vlan":100)"},
               [](const ChipState& c) {
                 EXPECT_EQ(c.ivt.at({19, 100}), 4001u);
               }});
  v.push_back({"ivt_add_port_form",
               Family::ard2,
               {},
               ivt(0x04272025, false),
               0,
               {R"("key_type":1)", R"("marker":13)"}});
  v.push_back({"ivt_bad_marker",
               Family::ard2,
               {},
               ivt(0x04272025, true).u32(52, 4001u << 18),
               status::kInvalid,
               {}});
  v.push_back(
      {"ivt_not_on_zim", Family::zim, {}, ivt(0x04272025, true), status::kUnknownCommand, {}});
  v.push_back({"l2exm_add",
               Family::ard,
               {},
               Req(0x04270800, 76)
                   .u32(40, 1u << 30)
                   .u16(42, 4001)
                   .mac(44, {0, 0x11, 0x22, 0x33, 0x44, 0x55})
                   .u32(64, kPort)
                   .u8(68, 3),
               0,
               {R"("iivid":4001,"mac":"00:11:22:33:44:55","ifindex":)"},
               [](const ChipState& c) { EXPECT_EQ(c.l2_entries.size(), 1u); }});
  v.push_back(
      {"l2exm_delete",
       Family::ard2,
       {Req(0x04270800, 76).u32(40, 1u << 30).u16(42, 4001).mac(44, {0, 1, 2, 3, 4, 5}).u8(68, 3)},
       Req(0x04270802, 48).u16(32, 4001).mac(34, {0, 1, 2, 3, 4, 5}),
       0,
       {R"("mac":"00:01:02:03:04:05")"},
       [](const ChipState& c) { EXPECT_TRUE(c.l2_entries.empty()); }});
  // Multicast groups, next hops, policers.
  v.push_back(
      {"mgid_add_l2_group",
       Family::ard,
       {},
       mgid(0x05270008, 8001, 1, 3, first_only, 312),
       0,
       {R"("mgid":8001,"count":1)", R"("word0":4294967295,"iivid":4001,"ports":[)"},
       [](const ChipState& c) { EXPECT_EQ(c.mgids.at(8001).members[0].ports.size(), 3u); }});
  v.push_back({"mgid_add_flood",
               Family::ard,
               {},
               mgid(0x05270008, 8002, 1, 5, first_only),
               0,
               {R"("count":1)"}});
  v.push_back({"mgid_add_l3_ard",
               Family::ard,
               {},
               mgid(0x05270008, 8003, 3, 1, first_only),
               0,
               {R"({"word0":0,"iivid":4001)"},
               [](const ChipState& c) { EXPECT_EQ(c.mgids.at(8003).members.size(), 3u); }});
  v.push_back({"mgid_add_l3_ard_all_marked",
               Family::ard,
               {},
               mgid(0x05270008, 8003, 3, 1, all),
               status::kInvalid,
               {R"(word 0 not 0)"}});
  v.push_back({"mgid_add_l3_zim_fixed_target",
               Family::zim,
               {},
               mgid(0x05270008, 8003, 3, 1, all),
               0,
               {R"("count":3)"},
               [](const ChipState& c) { EXPECT_TRUE(c.mcast_only); },
               0x8BC00000u});
  v.push_back({"mgid_add_l3_zim_unmarked",
               Family::zim,
               {},
               mgid(0x05270008, 8003, 3, 1, first_only),
               status::kInvalid,
               {},
               nullptr,
               0x8BC00000u});
  v.push_back({"zim_fixed_target_refuses_regions",
               Family::zim,
               {},
               region_add(10, 10, 96, 2, 4),
               status::kNoDevice,
               {},
               nullptr,
               0x8BC00000u});
  v.push_back({"mgid_members_past_end",
               Family::ard,
               {},
               mgid(0x05270008, 8002, 1, 5, first_only).u16(36 + 14, 50),
               status::kInvalid,
               {}});
  v.push_back({"mgid_update",
               Family::ard,
               {mgid(0x05270008, 8001, 1, 3, first_only, 312)},
               mgid(0x05270009, 8001, 1, 2, first_only, 312),
               0,
               {R"("command":"mgid_update")"},
               [](const ChipState& c) {
                 EXPECT_EQ(c.mgids.at(8001).members[0].ports.size(), 2u);
                 EXPECT_EQ(c.mgids.at(8001).updates, 1u);
               }});
  v.push_back({"mgid_update_absent",
               Family::ard,
               {},
               mgid(0x05270009, 8001, 1, 2, first_only, 312),
               status::kNoEntry,
               {}});
  v.push_back({"mgid_delete",
               Family::ard,
               {mgid(0x05270008, 8001, 1, 3, first_only, 312)},
               Req(0x0527000A, 36).u32(28, 8001),
               0,
               {R"("mgid":8001)"},
               [](const ChipState& c) { EXPECT_TRUE(c.mgids.empty()); }});
  v.push_back({"nhop_single_path_ard",
               Family::ard,
               {},
               nhop(1, 1, 0, 56),
               0,
               {R"("nhopid":77,"count":1,"kind":1,"marker":0)",
                R"("iivid":4001,"mac":"00:01:02:03:04:05")"},
               [](const ChipState& c) { EXPECT_EQ(c.nhops.at(77).paths.size(), 1u); }});
  v.push_back({"nhop_single_path_no_bucket", Family::ard, {}, nhop(1, 0, 0, 36), 0, {}});
  v.push_back({"nhop_multi_path_196",
               Family::ard2,
               {},
               nhop(2, 3, 0, 196),
               0,
               {R"("kind":2)"},
               [](const ChipState& c) { EXPECT_EQ(c.nhops.at(77).paths.size(), 3u); }});
  v.push_back({"nhop_multi_path_short",
               Family::ard,
               {},
               nhop(2, 3, 0, 96),
               status::kInvalid,
               {R"(request length 96, want 196)"}});
  v.push_back({"nhop_port_ard", Family::ard, {}, nhop(16, 1, 0x80, 56), 0, {R"("marker":128)"}});
  v.push_back(
      {"nhop_port_without_bit7", Family::ard, {}, nhop(16, 1, 0, 56), status::kInvalid, {}});
  v.push_back({"nhop_multi_path_zim", Family::zim, {}, nhop(2, 2, 8, 196), 0, {}});
  v.push_back({"nhop_port_zim", Family::zim, {}, nhop(16, 1, 0x81, 56), 0, {}});
  v.push_back({"nhop_mgid_zim",
               Family::zim,
               {},
               nhop(8, 1, 1, 56).u8(48, 0x10).u8(49, 0x05),
               0,
               {R"("byte12":16,"byte13":5)"}});
  v.push_back({"nhop_zim_marker_on_ard", Family::ard, {}, nhop(1, 1, 1, 56), status::kInvalid, {}});
  v.push_back({"nhop_delete",
               Family::ard,
               {nhop(1, 1, 0, 56)},
               Req(0x0427180D, 40).u32(32, 1).u32(36, 77),
               0,
               {R"("count":1,"nhopid":77)"},
               [](const ChipState& c) { EXPECT_TRUE(c.nhops.empty()); }});
  v.push_back({"nhop_delete_short_on_ard",
               Family::ard,
               {nhop(1, 1, 0, 56)},
               Req(0x0427180D, 36),
               status::kInvalid,
               {}});
  v.push_back({"policer_add",
               Family::ard,
               {},
               policer_add(12, 1),
               0,
               {R"("burst":5000,"rate":100000,"instance":1,"policer_id":12)"},
               [](const ChipState& c) {
                 EXPECT_EQ(c.policers.at({12, 1}).rate, 100000u);
               }});
  v.push_back({"policer_add_instance3_ard2", Family::ard2, {}, policer_add(12, 3), 0, {}});
  v.push_back(
      {"policer_add_instance3_ard", Family::ard, {}, policer_add(12, 3), status::kInvalid, {}});
  v.push_back({"policer_add_burst_high_word",
               Family::ard,
               {},
               policer_add(12, 0).u32(32, 1),
               status::kInvalid,
               {}});
  v.push_back({"policer_delete",
               Family::zim,
               {policer_add(12, 1)},
               policer_del(12, 1),
               0,
               {R"("instance":1,"policer_id":12)"},
               [](const ChipState& c) { EXPECT_TRUE(c.policers.empty()); }});
  v.push_back({"policer_delete_absent", Family::ard, {}, policer_del(12, 0), status::kNoEntry, {}});
  // Statistics.
  v.push_back({"stats_read_flows",
               Family::ard,
               {region_add(10, 20, 100, 6, 16), l2_add(3, 20, 0, 0), l2_add(4, 20, 0, 3)},
               stats_flows(0x06270000, 12, {3, 4}, 2),
               0,
               {R"("class":12,"region":20,"keys":2,"results":2,"ids":[3,4])"}});
  v.push_back({"stats_read_keys_without_65535",
               Family::ard,
               {},
               stats_flows(0x06270000, 12, {3}, 1).u32(52, 0),
               status::kInvalid,
               {}});
  v.push_back({"stats_read_wrong_length",
               Family::ard,
               {},
               Req(0x06270000, 60).u32(28, 12).u16(34, 1).u16(36, 1),
               status::kInvalid,
               {}});
  v.push_back({"stats_clear_flow",
               Family::ard,
               {region_add(10, 20, 100, 6, 16), l2_add(3, 20, 0, 0)},
               stats_flows(0x06270001, 12, {3}, 0),
               0,
               {R"("command":"stats_clear")"}});
  v.push_back({"stats_queue_read",
               Family::ard,
               {},
               Req(0x06270000, 504).u32(28, 49).u32(32, 1).u32(40, 2).u32(48, kPort),
               0,
               {R"("class":49,"count":1,"word40":2)"}});
  v.push_back(
      {"stats_bad_class", Family::ard, {}, Req(0x06270000, 48).u32(28, 13), status::kInvalid, {}});
  // Capability, bulk, unknown.
  v.push_back({"capability",
               Family::ard,
               {},
               Req(0x00070001, 460).u32(16, 0x04d20000),
               0,
               {R"("owner":80871424)"}});
  v.push_back({"bulk_ard",
               Family::ard,
               {},
               Req(0x00070000, 36).sub(policer_add(3, 0)).sub(policer_add(3, 1)),
               0,
               {R"("flag":0,"count":2,"subs":[{"command":"policer_add")", R"("instance":1)"},
               [](const ChipState& c) { EXPECT_EQ(c.policers.size(), 2u); }});
  v.push_back({"bulk_flag_ard2",
               Family::ard2,
               {},
               Req(0x00070000, 36).u32(28, 0x80000000u).sub(policer_add(3, 0)),
               0,
               {R"("flag":2147483648)"}});
  v.push_back({"bulk_flag_on_ard",
               Family::ard,
               {},
               Req(0x00070000, 36).u32(28, 0x80000000u).sub(policer_add(3, 0)),
               status::kInvalid,
               {}});
  v.push_back(
      {"bulk_stops_at_first_failure",
       Family::ard,
       {},
       Req(0x00070000, 36).sub(policer_add(3, 0)).sub(policer_del(9, 0)).sub(policer_add(3, 1)),
       status::kNoEntry,
       {R"("status":-2,"error":"no policer 9/0")"},
       [](const ChipState& c) { EXPECT_EQ(c.policers.size(), 1u); }});
  v.push_back({"bulk_in_bulk",
               Family::ard,
               {},
               Req(0x00070000, 36).sub(Req(0x00070000, 36)),
               status::kInvalid,
               {}});
  v.push_back({"bulk_count_too_big",
               Family::ard,
               {},
               Req(0x00070000, 36).sub(policer_add(3, 0)).u16(32, 2),
               status::kInvalid,
               {}});
  v.push_back({"unknown_command",
               Family::ard,
               {},
               Req(0x07270099, 36),
               status::kUnknownCommand,
               {R"("command":"unknown","code":"0x07270099")"}});
  v.push_back({"family_none_refuses",
               Family::none,
               {},
               region_add(10, 10, 24, 2, 4),
               status::kUnknownCommand,
               {}});
  return v;
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

// Every command of the table, on every family: a well-formed request (after what it needs) is
// carried out where the family has the command, and refused with -95 where it has not.
struct Sequence {
  std::vector<Req> setup;
  Req req;
  uint32_t target = kChip;
};

Sequence good_request(Family f, uint32_t command) {
  const FamilyRules& r = family_rules(f);
  bool zim = f == Family::zim;
  auto marked = [zim](uint32_t m) { return m == 0 || zim; };
  uint32_t tr_change = (1u << 19) | (1u << 21) | (zim ? (1u << 24) : 0u);
  uint32_t evt_change = (1u << 19) | (1u << 21) | (1u << 22);
  uint8_t single = r.nhop_marker_other;
  switch (command) {
    case 0x00070000:
      return {{}, Req(0x00070000, 36).sub(policer_add(1, 0)).sub(policer_add(1, 1))};
    case 0x00070001:
      return {{}, Req(0x00070001, 460)};
    case 0x01271002:
      return {{}, qos_init()};
    case 0x04270800:
      return {{}, Req(0x04270800, 76).u32(40, 1u << 30).u16(42, 4001).u8(68, 3)};
    case 0x04270802:  // zim refuses the add of the setup too, so it has none
      return {zim ? std::vector<Req>{}
                  : std::vector<Req>{Req(0x04270800, 76).u32(40, 1u << 30).u16(42, 4001).u8(68, 3)},
              Req(0x04270802, 48).u16(32, 4001)};
    case 0x0427180C:
      return {{}, nhop(2, 2, r.nhop_marker_multi, 196)};
    case 0x0427180D:
      return {{nhop(1, 1, single, 56)}, Req(0x0427180D, 40).u32(32, 1).u32(36, 77)};
    case 0x04272001:
      return {{}, Req(0x04272001, 84).u32(32, kPort)};
    case 0x04272003:
      return {{}, translation(r.port_vlan_batch_len, tr_change, 10, zim)};
    case 0x04272004:
    case 0x04272005:
      return {{}, one_pair(command, 92, kPort, evt_change, 1u << 22, false)};
    case 0x04272006:
      return {{}, Req(0x04272006, 48).u16(28, 7).u32(36, 1).u32(40, 4001).u32(44, 100)};
    case 0x04272007:
      return {{}, Req(0x04272007, 56).u32(44, 1).u16(50, 4001).u32(52, 8001)};
    case 0x04272014:
      return {{}, Req(0x04272014, 60).u32(28, 1).u32(32, 0x00020000).u32(36, 4)};
    case 0x04272024:
      return {{}, Req(0x04272024, 44).u32(28, kPort).u32(32, 0x80000000u)};
    case 0x04272025:
    case 0x04272026:
      return {{}, ivt(command, true)};
    case 0x05270008:
      return {{}, mgid(command, 8001, 2, 1, marked), zim ? 0x8BC00000u : kChip};
    case 0x05270009:
      return {{mgid(0x05270008, 8001, 2, 1, marked)},
              mgid(command, 8001, 1, 4, marked),
              zim ? 0x8BC00000u : kChip};
    case 0x0527000A:
      return {{mgid(0x05270008, 8001, 2, 1, marked)},
              Req(command, 36).u32(28, 8001),
              zim ? 0x8BC00000u : kChip};
    case 0x06270000:
    case 0x06270001:
      return {{}, stats_flows(command, 25, {1, 2}, command == 0x06270000 ? 2 : 0)};
    case 0x07270050:
      return {{region_add(10, 20, 10, 1, 1)}, l2_add(1, 20, 0, 0)};
    case 0x07270051:
      return {{region_add(10, 20, 10, 1, 1), l2_add(1, 20, 0, 0)},
              Req(command, 84).u32(28, 1).u8(32, 20).u8(33, 1)};
    case 0x07270052:
      return {{region_add(10, 20, 10, 1, 1), l2_add(1, 20, 0, 0)}, flow_del(false, 1, 20)};
    case 0x072700B8:
      return {{region_add(23, 20, 10, 1, 1)}, l3_add(1, 20, 0, 0)};
    case 0x072700B9:
      return {{region_add(23, 20, 10, 1, 1), l3_add(1, 20, 0, 0)},
              Req(command, 80).u32(28, 1).u8(32, 20).u8(33, 1)};
    case 0x072700BA:
      return {{region_add(23, 20, 10, 1, 1), l3_add(1, 20, 0, 0)}, flow_del(true, 1, 20)};
    case 0x07270220:
      return {{}, region_add(23, 30, 24, 1, 4)};
    case 0x07270229:
      return {{region_add(23, 30, 24, 1, 4)}, Req(command, 36).u32(28, (23u << 24) | 0xC00000u)};
    case 0x09270002:
      return {{}, policer_add(5, 1)};
    case 0x09270003:
      return {{policer_add(5, 1)}, policer_del(5, 1)};
  }
  return {{}, Req(command, 28)};
}

bool family_has(Family f, uint32_t command) {
  if (command == 0x04272004 || command == 0x04272005 || command == 0x04272025 ||
      command == 0x04272026)
    return f == Family::ard2;
  if (command == 0x04272006 || command == 0x04272024) return f == Family::ard;
  if (command == 0x04270800 || command == 0x04270802) return f != Family::zim;
  return true;
}

class EveryCommand : public ::testing::TestWithParam<Family> {};

TEST_P(EveryCommand, OfTheFamilyIsCarriedOut) {
  Family f = GetParam();
  for (const CommandInfo& c : all_commands()) {
    Model m(config(f));
    Sequence s = good_request(f, c.code);
    for (const auto& r : s.setup)
      ASSERT_EQ(call(m, r.b, s.target).status, 0) << c.name;
    Answer a = call(m, s.req.b, s.target);
    EXPECT_EQ(a.status, family_has(f, c.code) ? 0 : status::kUnknownCommand) << a.log;
    EXPECT_NE(a.log.find("\"command\":\"" + std::string(c.name) + "\""), std::string::npos);
  }
}

INSTANTIATE_TEST_SUITE_P(Families, EveryCommand,
                         ::testing::Values(Family::ard, Family::ard2, Family::zim),
                         [](const auto& info) { return std::string(family_name(info.param)); });

// Every fixed-length request is refused one word short and one word long.
struct FixedLength {
  uint32_t command;
  uint32_t len;
  Family family;
};
void PrintTo(const FixedLength& c, std::ostream* os) {
  *os << std::hex << c.command << std::dec << " len " << c.len << " family "
      << static_cast<int>(c.family);
}

class Lengths : public ::testing::TestWithParam<FixedLength> {};

TEST_P(Lengths, RefusedWhenOff) {
  auto [command, len, family] = GetParam();
  Model m(config(family));
  for (uint32_t l : {len - 4, len + 4}) {
    Answer a = call(m, Req(command, l).b);
    EXPECT_EQ(a.status, status::kInvalid) << std::hex << command << std::dec << " len " << l;
    EXPECT_NE(a.log.find("\"error\""), std::string::npos);
  }
  EXPECT_EQ(m.stats().malformed, 2u);
}

INSTANTIATE_TEST_SUITE_P(
    AllFixed, Lengths,
    ::testing::Values(
        FixedLength{0x00070001, 460, Family::ard}, FixedLength{0x01271002, 160, Family::ard},
        FixedLength{0x04270800, 76, Family::ard}, FixedLength{0x04270802, 48, Family::ard2},
        FixedLength{0x04272004, 92, Family::ard2}, FixedLength{0x04272005, 92, Family::ard2},
        FixedLength{0x04272006, 48, Family::ard}, FixedLength{0x04272007, 56, Family::zim},
        FixedLength{0x04272014, 60, Family::ard}, FixedLength{0x04272024, 44, Family::ard},
        FixedLength{0x04272025, 152, Family::ard2}, FixedLength{0x04272026, 152, Family::ard2},
        FixedLength{0x0527000A, 36, Family::ard}, FixedLength{0x07270050, 184, Family::ard},
        FixedLength{0x07270051, 84, Family::ard}, FixedLength{0x07270052, 36, Family::zim},
        FixedLength{0x072700B8, 208, Family::ard2}, FixedLength{0x072700B9, 80, Family::ard},
        FixedLength{0x072700BA, 36, Family::ard}, FixedLength{0x07270220, 48, Family::zim},
        FixedLength{0x07270229, 36, Family::ard}, FixedLength{0x09270002, 88, Family::ard},
        FixedLength{0x09270003, 36, Family::ard}));

// The header's own length rules, whatever the command.
TEST(Header, LengthRules) {
  Model m(config(Family::ard));
  Req odd = region_add(10, 10, 24, 2, 4);
  odd.u32(12, 50);  // reply length not a multiple of 4
  EXPECT_EQ(status_of(m, odd), status::kInvalid);
  Req huge = region_add(10, 10, 24, 2, 4);
  huge.u32(12, 0x100004);
  EXPECT_EQ(status_of(m, huge), status::kInvalid);
  Req tiny(0x07270220, 24);
  EXPECT_EQ(status_of(m, tiny), status::kInvalid);
  // The request length says more than came.
  Req lying = region_add(10, 10, 24, 2, 4);
  lying.u32(8, 96);
  EXPECT_EQ(status_of(m, lying), status::kInvalid);
  EXPECT_TRUE(m.chips().at(kChip).regions.empty());
}

// The short zim next hop delete names its id one word behind its declared length.
TEST(ZimNhopDelete, IdPastTheDeclaredLength) {
  Model m(config(Family::zim));
  ASSERT_EQ(status_of(m, nhop(16, 1, 0x81, 56)), 0);
  Req del(0x0427180D, 36);
  // Without the word behind the request the id is unknown.
  EXPECT_EQ(call(m, del.b).status, status::kInvalid);
  // Declared length 36, and the four bytes behind it travel with the message.
  std::vector<uint8_t> with_id = del.b;
  with_id.resize(40, 0);
  wire::Writer(with_id).u32_at(36, 77);
  EXPECT_EQ(call(m, with_id).status, 0);
  EXPECT_TRUE(m.chips().at(kChip).nhops.empty());
}

}  // namespace
}  // namespace ofa::chipsim::test
