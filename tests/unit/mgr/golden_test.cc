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
#include "frame.h"
#include "scenario.h"
#include "syntax.h"

namespace ofa::mgr {
namespace {

using test::Frame;

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

std::string hex(const Frame& f) {
  return hex_text(f.b);
}

// Type in bits 31-22, length in 15-0.
constexpr uint32_t header(uint32_t type, uint32_t length) {
  return (type << 22) | length;
}

TEST(Golden, HeaderPutsTypeInTheTopTenBits) {
  EXPECT_EQ(make_header(kMsgFlow, 316), 0x01C0013Cu);
  EXPECT_EQ(header_type(0x0300002C), 12u);
  EXPECT_EQ(header_length(0x0300002C), 44u);
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

TEST(Golden, FlowAddVersion4WithOneMember) {
  Frame f(4 + 316);
  f.u32(0, header(7, 316));
  f.u32(4 + 0, 1);            // sub-type ADD_FLOW in the first word
  f.u8(4 + 8, 4);             // version
  f.u32(4 + 16, 10);          // flow id
  f.u32(4 + 20, 0x02000000);  // cid 2 in the first byte of the controller word
  f.u32(4 + 24, 7);           // xid
  f.u16(4 + 38, 3);           // in_port_id
  f.u32(4 + 40, 100);         // in_vlan_id
  f.u32(4 + 44, 1);           // in_tagged
  f.raw(4 + 56, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55});  // dst_mac
  f.raw(4 + 72, {0xff, 0xff, 0xff, 0xff, 0xff, 0xff});  // dst_mac_mask
  f.u16(4 + 80, 0x0800);
  f.u32(4 + 84, 0x0a000000).u32(4 + 88, 0xff000000);  // nw_src 10.0.0.0/8
  f.u8(4 + 100, 6);
  f.u16(4 + 106, 80);
  f.u16(4 + 108, 65535).u16(4 + 110, 2048);  // fid, mvid: none
  f.u8(4 + 113, 1);                          // forward
  // Every wildcard bit but in_port, in_vlan, dst_mac, ether_type, src_ip, ip_protocol, dst_port.
  f.u32(4 + 116, 0x21a38644);
  f.u32(4 + 120, 100);  // priority
  f.u16(4 + 136, 1);    // member_count
  f.u8(4 + 138, 2);     // rule_kind: an L3 rule
  f.u32(4 + 140, 55);   // action_key
  // Member at 236, version 4 layout, L = 4 (stride 80).
  size_t m = 4 + 236;
  f.u16(m + 0, 4).u16(m + 4, 5).u32(m + 8, 4096);
  f.u8(m + 16, 15);                    // vlan_upbits none
  f.u8(m + 36, 192);                   // nw_tos none
  f.u32(m + 44, 0xffffff01);           // group id -255
  f.u8(m + 62, 255).u8(m + 63, 255);   // TTL and queue none
  f.u32(m + 72, 4096).u8(m + 77, 15);  // inner VLAN none
  EXPECT_EQ(encode_line("flow add id=10 priority=100 xid=7 cid=2 action_key=55 "
                        "in_port=3,dl_vlan=100,dl_dst=00:11:22:33:44:55,dl_type=0x0800,"
                        "nw_src=10.0.0.0/8,nw_proto=6,tp_dst=80 actions=output:5"),
            hex(f));
}

TEST(Golden, FlowVersion4MemberActions) {
  Frame f(4 + 316);
  f.u32(0, header(7, 316)).u32(4, 4).u8(4 + 8, 4).u32(4 + 12, 1).u32(4 + 16, 20);
  f.u16(4 + 38, 65535).u16(4 + 108, 65535).u16(4 + 110, 2048).u8(4 + 113, 1);
  f.u32(4 + 116, 0x31a3a6fd).u16(4 + 136, 1).u8(4 + 138, 1).u32(4 + 144, 9);  // meter 9
  size_t m = 4 + 236;
  f.u16(m + 0, 4).u16(m + 4, 65535).u32(m + 8, 200);
  f.u8(m + 16, 3).u8(m + 17, 1);            // vlan_upbits 3, tagged
  f.raw(m + 28, {0x02, 0, 0, 0, 0, 0x01});  // set_dst_mac
  f.u8(m + 36, 192).u32(m + 44, 7);         // group 7
  f.u16(m + 60, 0x7000);                    // push, set VLAN, decrement TTL
  f.u8(m + 62, 255).u8(m + 63, 3);          // queue 3
  f.u16(m + 66, 0x88a8);
  f.u32(m + 72, 4096).u8(m + 77, 15);
  EXPECT_EQ(encode_line("flow modify id=20 more actions=push_vlan:0x88a8,set_vlan_vid:200,"
                        "set_vlan_pcp:3,mod_dl_dst:02:00:00:00:00:01,dec_ttl,set_queue:3,"
                        "meter:9,group:7"),
            hex(f));
}

TEST(Golden, FlowVersion1MembersStepBy48PlusL) {
  // Two members with L = 8: the second stands at 236 + 56; body = 236 + 2 * 56 = 348.
  Frame f(4 + 348);
  f.u32(0, header(7, 348)).u32(4, 1).u8(4 + 8, 1).u32(4 + 16, 30);
  f.u16(4 + 38, 65535).u16(4 + 108, 65535).u16(4 + 110, 2048).u8(4 + 113, 1).u8(4 + 114, 1);
  f.u32(4 + 116, 0x31a3a6fd).u16(4 + 136, 2).u8(4 + 138, 1);
  for (size_t m : {size_t{4 + 236}, size_t{4 + 236 + 56}}) {
    f.u16(m + 0, 8).u32(m + 8, 4096).u8(m + 20, 15).u8(m + 40, 192);
  }
  size_t m1 = 4 + 236, m2 = m1 + 56;
  f.u16(m1 + 4, 65533);              // CONTROLLER
  f.u16(m2 + 4, 7).u32(m2 + 16, 2);  // out_tagged 2 (VLAN stripped), low byte of word 16
  f.u8(m2 + 48, 0x80);               // the member flag: top bit of the word at 48
  EXPECT_EQ(encode_line("flow add id=30 version=1 member_len=8 actions=CONTROLLER,strip_vlan,"
                        "member_flag,output:7"),
            hex(f));
}

TEST(Golden, FlowVersion4StrideIs76PlusL) {
  auto step = parse_step("flow add id=1 member_len=12 actions=output:1,output:2", {});
  ASSERT_TRUE(step.ok());
  const auto& b = std::get<SendStep>(*step.value()).datagrams.at(0).bytes();
  ASSERT_EQ(b.size(), 4u + 236 + 2 * 88);
  EXPECT_EQ(test::get(b, 4 + 236 + 4, 2), 1u);
  EXPECT_EQ(test::get(b, 4 + 236 + 88, 2), 12u);     // second length word
  EXPECT_EQ(test::get(b, 4 + 236 + 88 + 4, 2), 2u);  // second out port
}

TEST(Golden, FlowDeleteIsPaddedToTheLeastLength) {
  Frame f(4 + 316);
  f.u32(0, header(7, 316)).u32(4, 3).u8(4 + 8, 4).u32(4 + 16, 10).u32(4 + 24, 99);
  f.u16(4 + 38, 65535).u16(4 + 108, 65535).u16(4 + 110, 2048).u8(4 + 113, 1);
  f.u32(4 + 116, 0x31a3a6fd).u8(4 + 138, 1);
  EXPECT_EQ(encode_line("flow delete id=10 xid=99"), hex(f));
}

TEST(Golden, GroupWithBuckets) {
  Frame f(4 + 1056);
  f.u32(0, header(9, 1056));
  f.u32(4 + 0, 19).u32(4 + 8, 5).u32(4 + 12, 2).u32(4 + 16, 4000).u32(4 + 20, 12);
  f.u32(4 + 24, 1).u32(4 + 28, 0);  // SELECT
  f.u16(4 + 32, 3).u32(4 + 36, 100).raw(4 + 40, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55});
  f.u16(4 + 48, 4).u32(4 + 52, 4096);
  EXPECT_EQ(encode_line("group add id=5 type=select mgid=4000 nhop=12 "
                        "bucket=output:3,vlan:100,mac:00:11:22:33:44:55 bucket=output:4"),
            hex(f));
}

TEST(Golden, GroupDeleteAll) {
  Frame f(4 + 1056);
  f.u32(0, header(9, 1056)).u32(4, 21).u32(4 + 8, 0xffffffff);
  EXPECT_EQ(encode_line("group delete id=all"), hex(f));
}

TEST(Golden, MeterTwoBands) {
  Frame f(4 + 40);
  f.u32(0, header(2, 40)).u32(4, 22).u32(4 + 8, 1).u32(4 + 12, 1 | 4);
  f.u32(4 + 16, 1000).u32(4 + 20, 0).u32(4 + 24, 500).u32(4 + 28, 100).u32(4 + 32, 2);
  f.u32(4 + 36, 2);
  EXPECT_EQ(encode_line("meter add id=1 kbps burst band=type=drop,rate=1000 "
                        "band=type=dscp_remark,rate=500,burst_size=100,prec_level=2"),
            hex(f));
}

TEST(Golden, VlanFamilyCarriesTheSubTypeInTheSecondWord) {
  Frame vlan(4 + 16);
  vlan.u32(0, header(10, 16)).u32(4 + 4, 28).u32(4 + 8, 4000).u32(4 + 12, 100);
  EXPECT_EQ(encode_line("vlan add vlan=100 iivid=4000"), hex(vlan));
  Frame pv(4 + 16);
  pv.u32(0, header(8, 16)).u32(4 + 4, 27).u32(4 + 8, 3).u32(4 + 12, 100);
  EXPECT_EQ(encode_line("port-vlan delete port=3 vlan=100"), hex(pv));
  Frame evt(4 + 44);
  evt.u32(0, header(12, 44)).u32(4 + 4, 30).u32(4 + 16, 1).u32(4 + 20, 100);
  evt.u32(4 + 24, 4000).u32(4 + 28, 3).u32(4 + 36, 200).u32(4 + 40, 3);
  EXPECT_EQ(encode_line("evt add port=3 iivid=4000 type=vlan in_vlan=100 tag_action=3 "
                        "out_vlan=200"),
            hex(evt));
}

TEST(Golden, ConfigPortEnable) {
  Frame f(4 + 3720);
  f.u32(0, header(0, 3720)).u32(4, 10).u8(4 + 4, 1);
  f.u32(4 + 16, 1u << 3).u32(4 + 16 + 4, 1u << 8);    // ports 3 and 40
  f.u32(4 + 696, 1u << 3).u32(4 + 696 + 4, 1u << 8);  // both Layer3
  f.u16(4 + 3666, 100).text(4 + 3668, "ethernet1/3");
  f.u32(4 + 3700, (6u << 26) | (2u << 22) | (3u << 15));  // port 3 of slot 2
  f.raw(4 + 3708, {0x00, 0xaa, 0xbb, 0xcc, 0xdd, 0xee}).u32(4 + 3716, 77);
  EXPECT_EQ(encode_line("port enable 3,40 l3 pvid=100 mac=00:aa:bb:cc:dd:ee nhop=77"), hex(f));
}

TEST(Golden, ConfigSubCommands) {
  Frame online(4 + 3720);
  online.u32(0, header(0, 3720)).u32(4, 34).u16(4 + 16, 7);  // the port id replaces the mask
  EXPECT_EQ(encode_line("port online 7"), hex(online));
  Frame dflt(4 + 3720);
  dflt.u32(0, header(0, 3720)).u32(4, 13).u8(4 + 4, 0).u32(4 + 8, 1);
  EXPECT_EQ(encode_line("default-action controller"), hex(dflt));
  Frame of(4 + 3720);
  of.u32(0, header(0, 3720)).u32(4, 6).u8(4 + 4, 1);
  EXPECT_EQ(encode_line("openflow enable"), hex(of));
  Frame prot(4 + 3720);
  prot.u32(0, header(0, 3720)).u32(4, 16).u8(4 + 4, 1).u32(4 + 16, 1u << 5);
  prot.u32(4 + 2736, 1u << 30).u32(4 + 2740, 1u << 5).u16(4 + 3666, 10);
  EXPECT_EQ(encode_line("protected-vlan add 5 hybrid=5 pvid=10"), hex(prot));
}

TEST(Golden, SyncCompleteIs316ZeroBytes) {
  Frame f(4 + 316);
  f.u32(0, header(1, 316));
  EXPECT_EQ(encode_line("sync-complete"), hex(f));
}

TEST(Golden, FragmentsSplitTheMembersAndMarkAllButTheLast) {
  auto step = parse_step("flow add id=7 fragment=2 actions=output:1,output:2,output:3", {});
  ASSERT_TRUE(step.ok()) << step.error();
  const auto& dgs = std::get<SendStep>(*step.value()).datagrams;
  ASSERT_EQ(dgs.size(), 2u);
  const auto& a = dgs[0].bytes();
  const auto& b = dgs[1].bytes();
  ASSERT_EQ(a.size(), 4u + 236 + 2 * 80);
  ASSERT_EQ(b.size(), 4u + 316);
  EXPECT_EQ(test::get(a, 4 + 12, 4), 1u);  // more fragments
  EXPECT_EQ(test::get(b, 4 + 12, 4), 0u);  // the last one
  EXPECT_EQ(test::get(a, 4 + 16, 4), 7u);
  EXPECT_EQ(test::get(b, 4 + 16, 4), 7u);  // same flow id
  EXPECT_EQ(test::get(a, 4 + 136, 2), 2u);
  EXPECT_EQ(test::get(b, 4 + 136, 2), 1u);
  EXPECT_EQ(test::get(a, 4 + 236 + 80 + 4, 2), 2u);  // second member of the first fragment
  EXPECT_EQ(test::get(b, 4 + 236 + 4, 2), 3u);       // third member opens the last
}

TEST(Golden, RawBytesWithZeroFill) {
  EXPECT_EQ(encode_line("raw 01c0:013b zeros=3 ff"), "01c0013b000000ff");
}

TEST(Golden, PackPutsMessagesBackToBack) {
  auto sc =
      parse_scenario("pack\nvlan add vlan=1 iivid=2\nport-vlan add port=1 vlan=1\nend\n", "t", {});
  ASSERT_TRUE(sc.ok()) << sc.error();
  ASSERT_EQ(sc.value().steps.size(), 1u);
  const auto& b = std::get<SendStep>(sc.value().steps[0].action).datagrams.at(0).bytes();
  ASSERT_EQ(b.size(), 40u);
  EXPECT_EQ(test::get(b, 0, 4), header(10, 16));
  EXPECT_EQ(test::get(b, 20, 4), header(8, 16));  // no alignment between messages
}

// ---- further lines: text -> message -> bytes -> message, fields by name ----------------

struct Case {
  const char* line;
  const char* fields;  // "name=value ..." as the decoded field rows show them
  friend void PrintTo(const Case& c, std::ostream* os) { *os << c.line; }
};
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

INSTANTIATE_TEST_SUITE_P(
    Lines, RoundTrip,
    ::testing::Values(
        Case{"flow add id=11 tcp,nw_dst=192.168.1.0/255.255.255.0 actions=CONTROLLER",
             "ether_type=2048 ip_protocol=6 dest_ip_mask=255.255.255.0 send_to_ctrl=1 "
             "wildcards=0x11a3a6cd members[0].out_port_id=65533"},
        Case{"flow add id=12 dl_src=00:00:00:00:00:01/ff:ff:ff:00:00:00 actions=drop",
             "forward_action=0 member_count=0 src_mac_mask=ff:ff:ff:00:00:00 wildcards=0x31a2a6f9"},
        Case{"flow add id=13 actions=set_queue:2,output:4,group:9,meter:3",
             "meter_id=3 members[0].queue_id=2 members[1].group_id=9 members[1].queue_id=2 "
             "members[1].out_port_id=65535"},
        Case{"flow add id=14 version=1 actions=mod_vlan_vid:30,output:ALL,strip_vlan,output:FLOOD",
             "version=1 members[0].out_tagged=1 members[0].out_vlan_id=30 "
             "members[0].out_port_id=65532 members[1].out_tagged=2 members[1].out_port_id=65531"},
        Case{"flow add id=15 icmp,icmp_type=8,icmp_code=0,dl_vlan_pcp=5,ip_dscp=46 actions=NORMAL",
             "icmpv4_type=8 vlan_upbit=5 ip_tos=46 members[0].out_port_id=65530"},
        Case{"flow add id=16 more actions=pop_vlan,push_inner_vlan,set_inner_vlan:7,"
             "set_inner_vlan_pcp:2,output:1",
             "more_fragments=1 members[0].action_bits=0x80600000 members[0].inner_vlan_id=7 "
             "members[0].push_inner_vlan_type=33024 members[0].inner_upbits=2"},
        // Untagged is in_vlan_id 0.
        Case{"flow add id=17 dl_vlan=none actions=output:1",
             "in_vlan_id=0 in_tagged=0 wildcards=0x31a386fd"},
        Case{"flow clear-stats id=0", "sub_type=12 flow_id=0"},
        Case{"flow delete-all", "sub_type=17"},
        Case{"flow sub=14 id=3 actions=output:1", "sub_type=14"},
        Case{"group modify id=8 type=ff nhop=3 bucket=output:1 bucket=output:2,vlan:5",
             "sub_type=20 type=3 bucket_count=2 buckets[1].vlan_id=5 buckets[0].vlan_id=4096"},
        Case{"group add id=9 type=all mgid=7 l3 bucket=port:6", "all_type=1 buckets[0].port_id=6"},
        Case{"meter clear-stats id=all", "sub_type=25 meter_id=4294967295"},
        Case{"meter modify id=3 pktps stats band=type=drop,rate=8,burst_size=9",
             "sub_type=23 flags=10 drop_rate=8 band_cnt=1"},
        Case{"evt delete port=4 iivid=all type=port", "sub_type=31 iivid=4294967295 type=0"},
        Case{"port disable 9", "sub_cmd=10 add=0 ports=9"},
        Case{"port offline 12", "sub_cmd=33 port_id=12"},
        Case{"config sub=7 add=1 ports=1-3", "sub_cmd=7 ports=1,2,3"},
        Case{"openflow disable", "sub_cmd=6 add=0"},
        Case{"sync-complete length=400", "body_length=400"}));

// ---- agent to manager: hand-made datagrams decode to the stated fields ------------------

TEST(GoldenAgent, DecodeAndEncodeBothWays) {
  Frame status(128), reg(12), flow_stats(32), queue_stats(336), meter_stats(1736);
  status.u32(0, header(3, 124)).u32(8, 10).u32(12, 0x01000000).u32(16, 7).u32(20, 1);
  status.u32(28, 1).u64(32, 0x100000005).u64(40, 0x100000009).text(48, "PSEUDO_SUCCESS: no port");
  reg.u32(0, header(11, 8)).u32(4, header(11, 4)).u32(8, 1);  // a double envelope
  flow_stats.u32(0, 0x0140001C).u16(4, 1).u32(8, 10).u64(16, 5).u64(24, 0x1'0000'0140);
  queue_stats.u32(0, header(6, 332)).u16(4, 1).u16(8, 3);
  QueueStatsMsg queues;
  queues.port_id = 3;
  for (uint32_t q = 0; q < 8; ++q) {
    queue_stats.u32(16 + 40 * q + 4, q)
        .u64(16 + 40 * q + 8, 1000 + q)
        .u64(16 + 40 * q + 16, 10 + q);
    queues.queues[q] = QueueRecord{q, 1000 + q, 10 + q};
  }
  // Room for 27 meter records; two are used.
  meter_stats.u32(0, header(4, 1732)).u32(4, 2).u32(8, 1).u64(8 + 16, 640).u64(8 + 40, 64);
  meter_stats.u32(72, 2).u64(72 + 16, 128).u64(72 + 56, 32);
  MeterStatsMsg meters;
  meters.records = {MeterRecord{1, 0, 640, 0, 0, 64, 0, 0}, MeterRecord{2, 0, 128, 0, 0, 0, 0, 32}};
  const std::pair<const Frame*, Message> rows[] = {
      {&status,
       StatusMsg{10, 0x01000000, 7, 1, 1, 0x100000005, 0x100000009, "PSEUDO_SUCCESS: no port"}},
      {&reg, RegisterMsg{1}},
      {&flow_stats, FlowStatsMsg{1, 10, 5, 0x1'0000'0140}},
      {&queue_stats, queues},
      {&meter_stats, meters}};
  for (const auto& [frame, message] : rows) {
    auto d = decode_datagram(frame->b);
    ASSERT_EQ(d.size(), 1u) << hex(*frame);
    ASSERT_TRUE(std::holds_alternative<Message>(d[0])) << std::get<DecodeError>(d[0]).reason;
    EXPECT_EQ(std::get<Message>(d[0]), message) << hex(*frame);
    EXPECT_EQ(hex_text(encode(message).value()), hex(*frame));
  }
}

}  // namespace
}  // namespace ofa::mgr
