// Golden bytes of every manager message from a stated scenario line, against the wire tables:
// each expected datagram is built by hand (zero-filled, then the fields at their offsets), so
// every byte of the encoding is checked, and the bytes must decode to the message the line parses
// to. Offsets below are datagram offsets: body offset + 4. A table of further lines round-trips
// text -> message -> bytes -> message and names the decoded fields' values.
#include <gtest/gtest.h>

#include <map>
#include <ostream>
#include <sstream>

#include "codec.h"
#include "format.h"
#include "hex.h"
#include "scenario.h"
#include "syntax.h"

namespace ofa::mgr {
namespace {

// Parses an operation line, checks that its bytes decode to the same message, gives the bytes.
std::vector<uint8_t> round_trip(const std::string& line, const ParseContext& ctx) {
  auto parsed = parse_operation(syntax::tokenize(line).value(), ctx);
  EXPECT_TRUE(parsed.ok()) << (parsed.ok() ? "" : parsed.error());
  if (!parsed.ok()) return {};
  auto bytes = encode(parsed.value());
  EXPECT_TRUE(bytes.ok()) << line;
  auto decoded = decode_datagram(bytes.value());
  EXPECT_TRUE(decoded.size() == 1 && std::holds_alternative<Message>(decoded[0]) &&
              std::get<Message>(decoded[0]) == parsed.value())
      << line;
  return bytes.value();
}

// The one datagram of a scenario line (slot 2, port 3 named), as hex; it must round-trip.
std::string encode_line(const std::string& line) {
  platform::Platform p;
  p.port_names[3] = "ethernet1/3";
  ParseContext ctx{2, &p};
  auto step = parse_step(line, ctx);
  EXPECT_TRUE(step.ok()) << (step.ok() ? "" : step.error());
  if (!step.ok() || !step.value()) return "";
  const auto& bytes = std::get<SendStep>(*step.value()).datagrams.at(0).bytes();
  if (!line.starts_with("raw")) {
    EXPECT_EQ(round_trip(line, ctx), bytes) << line;
  }
  return hex_text(bytes);
}

// Big-endian value of `width` bytes at `off`.
uint64_t get(const std::vector<uint8_t>& b, size_t off, size_t width) {
  uint64_t v = 0;
  for (size_t i = 0; i < width; ++i)
    v = (v << 8) | b.at(off + i);
  return v;
}

std::string sparse_hex(size_t size, std::string_view groups) {
  return hex_text(ofa::test::sparse(size, groups));
}

// The names printed are the agent's own, byte for byte (MODIFY_FLOW ends in a blank).
TEST(Golden, NamesOfTypesAndSubTypes) {
  EXPECT_EQ(msg_type_name(11), "MXL_MSGTYPE_OPENFLOW_LP_REGISTER_EVENT");
  EXPECT_EQ(msg_type_name(13), "Unknown");
  EXPECT_EQ(sub_type_name(4), "MODIFY_FLOW ");
  EXPECT_EQ(sub_type_name(5), "MODIFY_FLOW_PREFIX");
  EXPECT_EQ(sub_type_name(16), "CONFIG_PROTECTED_VLAN");
  EXPECT_EQ(sub_type_name(35), "UNKNOWN");
}

// Datagram offsets: the header word (type in bits 31-22, length in 15-0) at 0, the body from 4.
// A flow: sub-type at 4, version at 12, more-fragments 16, flow id 20, controller word (cid in
// its first byte) 24, xid 28, in_port_id 42, in_vlan_id 44, in_tagged 48, dst_mac 60, its mask
// 76, ether_type 84, nw_src and mask 88, ip_protocol 104, tp_dst 110, fid and mvid (none: 65535,
// 2048) 112, forward 117, wildcards 120, priority 124, member_count 140, rule_kind 142,
// action_key 144, meter 148, stats_flag 152 (1 unless stats_flag=0); members from 240.
TEST(Golden, FlowAddVersion4WithOneMember) {
  // Member (version 4, L = 4, stride 80): length, out port 5, out VLAN 4096, vlan_upbits none
  // (15) at +16, nw_tos none (192) at +36, group -255 at +44, TTL and queue none at +62, inner
  // VLAN none at +72.
  EXPECT_EQ(encode_line("flow add id=10 priority=100 xid=7 cid=2 action_key=55 "
                        "in_port=3,dl_vlan=100,dl_dst=00:11:22:33:44:55,dl_type=0x0800,"
                        "nw_src=10.0.0.0/8,nw_proto=6,tp_dst=80 actions=output:5"),
            sparse_hex(320,
                       "0: 01C0013C 00000001 | 12: 04 | 20: 0000000A 02000000 00000007 | "
                       "40: 00000003 00000064 00000001 | 60: 001122334455 | "
                       "76: FFFFFFFFFFFF 0000 0800 0000 0A000000 FF000000 | "
                       "104: 06000000 00000050 FFFF0800 00010000 21A38644 00000064 | "
                       "140: 00010200 00000037 00000000 00000001 | "
                       "240: 0004 0000 0005 0000 00001000 | 256: 0F | 276: C0 | "
                       "284: FFFFFF01 | 300: 0000FFFF | 312: 00001000 000F"));
}

// Each action is one member of its own (at 240, version 4, 80 bytes): a member with every field
// at its "none" value, but for the fields the action sets.
TEST(Golden, EachActionIsOneMember) {
  const std::string none =
      "0: 0004 0000 FFFF 0000 00001000 | 16: 0F | 36: C0 | 44: FFFFFF01 | 60: 0000FFFF | "
      "72: 00001000 000F | ";
  const std::pair<const char*, const char*> rows[] = {
      {"output:5", "4: 0005"},
      {"CONTROLLER", "4: FFFD"},
      {"group:7", "44: 00000007"},
      {"set_queue:3", "63: 03"},
      {"push_vlan:0x88a8", "60: 4000 | 66: 88A8"},
      {"pop_vlan", "60: 8000"},
      {"set_vlan_vid:200", "8: 000000C8 | 17: 01 | 60: 2000"},  // tagged, set VLAN bit
      // Rewrites without a kind of their own ride on the output (or group) after them.
      {"set_vlan_pcp:3,output:5", "4: 0005 | 16: 03 | 60: 2000"},
      {"mod_dl_dst:02:00:00:00:00:01,output:5", "4: 0005 | 28: 020000000001"},
      {"mod_nw_tos:184,group:7", "36: 2E | 44: 00000007"},  // the DSCP of the ToS byte
      {"dec_ttl,output:5", "4: 0005 | 60: 1000"},
      {"set_ttl:64,output:5", "4: 0005 | 62: 40"},
      {"push_inner_vlan,output:5", "4: 0005 | 60: 0040 | 78: 8100"},
      {"set_inner_vlan:7,output:5", "4: 0005 | 60: 0020 | 72: 00000007"},
      {"set_inner_vlan_pcp:2,output:5", "4: 0005 | 77: 02"},
  };
  for (const auto& [action, fields] : rows) {
    auto hex = encode_line(std::string("flow add id=1 actions=") + action);
    EXPECT_EQ(hex.substr(2 * 240), sparse_hex(80, none + fields)) << action;
  }
}

// The default action key is FNV-1a over the member count (2 bytes) and the members' bytes; the
// values below were worked out by hand from the member layout.
TEST(Golden, DefaultActionKeyComesFromTheMembers) {
  const std::pair<const char*, uint64_t> rows[] = {
      {"flow add id=1 actions=output:5", 0x65FF21DB},
      {"flow add id=1 actions=set_queue:2,output:5", 0x042D701D},
      {"flow add id=1 actions=output:5,set_queue:2", 0x381FF299},
      {"flow add id=1 action_key=9 actions=output:5", 9},
      {"flow add id=1 actions=drop", 0},
  };
  for (const auto& [line, key] : rows) {
    auto step = parse_step(line, {});
    ASSERT_TRUE(step.ok()) << line;
    EXPECT_EQ(get(std::get<SendStep>(*step.value()).datagrams.at(0).bytes(), 144, 4), key) << line;
  }
}

TEST(Golden, FlowVersion1MembersStepBy48PlusL) {
  // Four members with L = 8 at 240, 296, 352 and 408: CONTROLLER (65533); out_tagged 2 (VLAN
  // stripped) in the low byte of +16; out port 9; out port 7 with the member flag in the top bit
  // of +48.
  EXPECT_EQ(
      encode_line("flow add id=30 version=1 member_len=8 actions=CONTROLLER,strip_vlan,"
                  "output:9,member_flag,output:7"),
      sparse_hex(464,
                 "0: 01C001CC 00000001 | 12: 01 | 20: 0000001E | 40: 0000FFFF | "
                 "112: FFFF0800 00010100 31A3A6FD | 140: 00040100 E45616E3 00000000 00000001 | "
                 "240: 0008 0000 FFFD 0000 00001000 | 260: 0F | 280: C0 | "
                 "296: 0008 0000 FFFF 0000 00001000 | 312: 00000002 0F | 336: C0 | "
                 "352: 0008 0000 0009 0000 00001000 | 372: 0F | 392: C0 | "
                 "408: 0008 0000 0007 0000 00001000 | 428: 0F | 448: C0 | 456: 80"));
}

TEST(Golden, FlowVersion4StrideIs76PlusL) {
  auto step = parse_step("flow add id=1 member_len=12 actions=output:1,output:2", {});
  ASSERT_TRUE(step.ok());
  const auto& b = std::get<SendStep>(*step.value()).datagrams.at(0).bytes();
  // Size, then the first member's out port, the second's length word and out port.
  EXPECT_EQ((std::vector<uint64_t>{b.size(), get(b, 244, 2), get(b, 328, 2), get(b, 332, 2)}),
            (std::vector<uint64_t>{416, 1, 12, 2}));
}

TEST(Golden, FlowDeleteIsPaddedToTheLeastLength) {
  EXPECT_EQ(encode_line("flow delete id=10 xid=99"),
            sparse_hex(320,
                       "0: 01C0013C 00000003 | 12: 04 | 20: 0000000A | 28: 00000063 | "
                       "40: 0000FFFF | 112: FFFF0800 00010000 31A3A6FD | 140: 00000100 | "
                       "152: 00000001"));
}

// Group: sub-type 4, id 12, mgid 20, nhop 24, then buckets of 16 bytes from 36 (port, VLAN, MAC);
// delete all is id 0xFFFFFFFF. Meter: sub-type 4, id 12,
// flags 16 (kbps | burst), then the drop band and the remark band. The VLAN family carries its
// sub-type in the second word.
TEST(Golden, GroupsMetersAndTheVlanFamily) {
  const std::pair<std::string, std::string> rows[] = {
      {"group add id=5 type=select mgid=4000 nhop=12 "
       "bucket=output:3,vlan:100,mac:00:11:22:33:44:55 bucket=output:4",
       sparse_hex(1060,
                  "0: 02400420 00000013 | 12: 00000005 00000002 00000FA0 0000000C 00000001 | "
                  "36: 00030000 00000064 001122334455 0000 00040000 00001000")},
      {"group delete id=all", sparse_hex(1060, "0: 02400420 00000015 | 12: FFFFFFFF")},
      {"meter add id=1 kbps burst band=type=drop,rate=1000 "
       "band=type=dscp_remark,rate=500,burst_size=100,prec_level=2",
       sparse_hex(44,
                  "0: 00800028 00000016 | 12: 00000001 00000005 000003E8 | "
                  "28: 000001F4 00000064 00000002 00000002")},
      {"vlan add vlan=100 iivid=4000",
       sparse_hex(20, "0: 02800010 | 8: 0000001C 00000FA0 00000064")},
      {"port-vlan delete port=3 vlan=100",
       sparse_hex(20, "0: 02000010 | 8: 0000001B 00000003 00000064")},
      {"evt add port=3 iivid=4000 type=vlan in_vlan=100 tag_action=3 out_vlan=200",
       sparse_hex(48,
                  "0: 0300002C | 8: 0000001E | 20: 00000001 00000064 00000FA0 00000003 | "
                  "40: 000000C8 00000003")},
      {"sync-complete", sparse_hex(320, "0: 0040013C")},
  };
  for (const auto& [line, bytes] : rows)
    EXPECT_EQ(encode_line(line), bytes) << line;
}

// Config (3724 bytes): sub-command 4, add 8, then the port mask from 20 (the port id for online),
// the Layer3 mask from 700, the protected-VLAN hybrid mask from 2740, pvid 3670, ifname 3672,
// the port's ifindex 3704 (port 3 of slot 2), MAC 3712, nhop 3720.
TEST(Golden, ConfigSubCommands) {
  const std::pair<std::string, std::string> rows[] = {
      {"port enable 3,40 l3 pvid=100 mac=00:aa:bb:cc:dd:ee nhop=77",
       "0: 00000E88 0000000A 01 | 20: 00000008 00000100 | 700: 00000008 00000100 | "
       "3668: 00000064 65746865726E6574312F33 | 3704: 18818000 | 3712: 00AABBCCDDEE 0000 0000004D"},
      {"port online 7", "0: 00000E88 00000022 | 20: 0007"},
      {"default-action controller", "0: 00000E88 0000000D | 12: 00000001"},
      {"openflow enable", "0: 00000E88 00000006 01"},
      {"protected-vlan add 5 hybrid=5 pvid=10",
       "0: 00000E88 00000010 01 | 20: 00000020 | 2740: 40000000 00000020 | 3668: 0000000A"},
  };
  for (const auto& [line, groups] : rows)
    EXPECT_EQ(encode_line(line), sparse_hex(3724, groups)) << line;
}

TEST(Golden, FragmentsSplitTheMembersAndMarkAllButTheLast) {
  auto step = parse_step("flow add id=7 fragment=2 actions=output:1,output:2,output:3", {});
  ASSERT_TRUE(step.ok()) << step.error();
  const auto& dgs = std::get<SendStep>(*step.value()).datagrams;
  ASSERT_EQ(dgs.size(), 2u);
  // Size, more fragments, flow id, member count, action key (that of the three members, hand
  // worked), first member's out port.
  auto fields = [](const std::vector<uint8_t>& d) {
    return std::vector<uint64_t>{d.size(),       get(d, 16, 4),  get(d, 20, 4),
                                 get(d, 140, 2), get(d, 144, 4), get(d, 244, 2)};
  };
  EXPECT_EQ(fields(dgs[0].bytes()), (std::vector<uint64_t>{400, 1, 7, 2, 0xD5E88412, 1}));
  EXPECT_EQ(fields(dgs[1].bytes()), (std::vector<uint64_t>{320, 0, 7, 1, 0xD5E88412, 3}));
  EXPECT_EQ(get(dgs[0].bytes(), 324, 2), 2u);  // second member of the first fragment
}

TEST(Golden, PackPutsMessagesBackToBack) {
  auto sc =
      parse_scenario("pack\nvlan add vlan=1 iivid=2\nport-vlan add port=1 vlan=1\nend\n", "t", {});
  ASSERT_TRUE(sc.ok()) << sc.error();
  ASSERT_EQ(sc.value().steps.size(), 1u);
  // No alignment between the messages.
  EXPECT_EQ(hex_text(std::get<SendStep>(sc.value().steps[0].action).datagrams.at(0).bytes()),
            sparse_hex(40,
                       "0: 02800010 | 8: 0000001C 00000002 00000001 02000010 | "
                       "28: 0000001A 00000001 00000001"));
}

// ---- further lines: text -> message -> bytes -> message, fields by name ----------------
// (Lines the scenario files send are checked there, by what the agent does with them.)

struct Case {
  const char* line;
  const char* fields;  // "name=value ..." as the decoded field rows show them
};
void PrintTo(const Case& c, std::ostream* os) {
  *os << c.line;
}
class RoundTrip : public ::testing::TestWithParam<Case> {};

TEST_P(RoundTrip, DecodedFieldsMatch) {
  auto decoded = decode_datagram(round_trip(GetParam().line, ParseContext{2, nullptr}));
  ASSERT_EQ(decoded.size(), 1u);
  ASSERT_TRUE(std::holds_alternative<Message>(decoded[0]));
  std::map<std::string, std::string> rows;
  for (auto& [k, v] : field_rows(std::get<Message>(decoded[0])))
    rows[k] = v;
  std::istringstream fields(GetParam().fields);
  for (std::string f; fields >> f;) {
    std::string k = f.substr(0, f.find('='));
    ASSERT_TRUE(rows.contains(k)) << "no field " << k;
    EXPECT_EQ(rows[k], f.substr(k.size() + 1)) << k;
  }
}

const Case kCases[] = {
    {"flow add id=11 tcp,nw_dst=192.168.1.0/255.255.255.0 actions=CONTROLLER",
     "ether_type=2048 ip_protocol=6 dest_ip_mask=255.255.255.0 send_to_ctrl=1 "
     "wildcards=0x11a3a6cd members[0].out_port_id=65533"},
    {"flow add id=14 version=1 actions=mod_vlan_vid:30,output:ALL,strip_vlan,output:FLOOD",
     "version=1 member_count=4 members[0].out_tagged=1 members[0].out_vlan_id=30 "
     "members[0].out_port_id=65535 members[1].out_port_id=65532 members[1].out_tagged=0 "
     "members[2].out_tagged=2 members[3].out_port_id=65531"},
    {"flow add id=15 icmp,icmp_type=8,icmp_code=0,dl_vlan_pcp=5,ip_dscp=46 actions=NORMAL",
     "icmpv4_type=8 vlan_upbit=5 ip_tos=46 members[0].out_port_id=65530"},
    {"group add id=9 type=all mgid=7 l3 bucket=port:6", "all_type=1 buckets[0].port_id=6"},
    {"meter modify id=3 pktps stats band=type=drop,rate=8,burst_size=9",
     "sub_type=23 flags=10 drop_rate=8 band_cnt=1"},
    {"sync-complete length=400", "body_length=400"}};

INSTANTIATE_TEST_SUITE_P(Lines, RoundTrip, ::testing::ValuesIn(kCases));

}  // namespace
}  // namespace ofa::mgr
