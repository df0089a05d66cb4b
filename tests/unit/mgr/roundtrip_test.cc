// Scenario text -> message -> bytes -> decoded message: the decoded structure equals the parsed
// one, and the fields named in the table hold the stated values.
#include <gtest/gtest.h>

#include <ostream>

#include <cstdio>
#include <map>

#include "codec.h"
#include "format.h"
#include "operations.h"
#include "syntax.h"

namespace ofa::mgr {
namespace {

std::string hex(uint32_t v) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "0x%08x", v);
  return buf;
}

struct Case {
  const char* line;
  std::map<std::string, std::string> fields;
};
void PrintTo(const Case& c, std::ostream* os) {
  *os << c.line;
}

class RoundTrip : public ::testing::TestWithParam<Case> {};

TEST_P(RoundTrip, DecodedFieldsMatch) {
  const Case& c = GetParam();
  auto words = syntax::tokenize(c.line);
  ASSERT_TRUE(words.ok());
  auto parsed = parse_operation(words.value(), ParseContext{2, nullptr});
  ASSERT_TRUE(parsed.ok()) << parsed.error();
  auto bytes = encode(parsed.value());
  ASSERT_TRUE(bytes.ok()) << bytes.error();
  auto decoded = decode_datagram(bytes.value());
  ASSERT_EQ(decoded.size(), 1u);
  ASSERT_TRUE(std::holds_alternative<Message>(decoded[0]))
      << std::get<DecodeError>(decoded[0]).reason;
  const Message& m = std::get<Message>(decoded[0]);
  EXPECT_TRUE(m == parsed.value()) << [&] {
    std::string diff;
    auto a = field_rows(parsed.value()), b = field_rows(m);
    for (size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
      if (a[i] != b[i]) diff += a[i].first + ": " + a[i].second + " became " + b[i].second + "\n";
    }
    return diff.empty() ? std::string("fields equal; hidden members differ") : diff;
  }();
  std::map<std::string, std::string> rows;
  for (auto& [k, v] : field_rows(m))
    rows[k] = v;
  for (const auto& [k, v] : c.fields) {
    ASSERT_TRUE(rows.contains(k)) << "no field " << k;
    EXPECT_EQ(rows[k], v) << k;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Lines, RoundTrip,
    ::testing::Values(
        Case{"flow add id=10 priority=100 in_port=3,dl_vlan=100,dl_dst=00:11:22:33:44:55,"
             "dl_type=0x0800,nw_src=10.0.0.0/8,nw_proto=6,tp_dst=80 actions=output:5",
             {{"sub_type", "1"},
              {"flow_id", "10"},
              {"priority", "100"},
              {"in_port_id", "3"},
              {"in_vlan_id", "100"},
              {"dst_mac", "00:11:22:33:44:55"},
              {"src_ip", "10.0.0.0"},
              {"src_ip_mask", "255.0.0.0"},
              {"dst_port", "80"},
              {"member_count", "1"},
              {"members[0].out_port_id", "5"},
              {"members[0].group_id", "-255"}}},
        Case{"flow add id=11 tcp,nw_dst=192.168.1.0/255.255.255.0 actions=CONTROLLER",
             {{"ether_type", "2048"},
              {"ip_protocol", "6"},
              {"dest_ip_mask", "255.255.255.0"},
              {"send_to_ctrl", "1"},
              {"wildcards", hex(kWcAll & ~(kWcEtherType | kWcIpProto | kWcDstIp))},
              {"members[0].out_port_id", "65533"}}},
        Case{"flow add id=12 dl_src=00:00:00:00:00:01/ff:ff:ff:00:00:00 actions=drop",
             {{"forward_action", "0"},
              {"member_count", "0"},
              {"src_mac_mask", "ff:ff:ff:00:00:00"},
              {"wildcards", hex(kWcAll & ~(kWcSrcMac | kWcSrcMacMask))}}},
        Case{"flow add id=13 actions=set_queue:2,output:4,group:9,meter:3",
             {{"meter_id", "3"},
              {"members[0].queue_id", "2"},
              {"members[1].group_id", "9"},
              {"members[1].queue_id", "2"},
              {"members[1].out_port_id", "65535"}}},
        Case{"flow add id=14 version=1 actions=mod_vlan_vid:30,output:ALL,strip_vlan,output:FLOOD",
             {{"version", "1"},
              {"members[0].out_tagged", "1"},
              {"members[0].out_vlan_id", "30"},
              {"members[0].out_port_id", "65532"},
              {"members[1].out_tagged", "2"},
              {"members[1].out_port_id", "65531"}}},
        Case{"flow add id=15 icmp,icmp_type=8,icmp_code=0,dl_vlan_pcp=5,ip_dscp=46 actions=NORMAL",
             {{"icmpv4_type", "8"},
              {"vlan_upbit", "5"},
              {"ip_tos", "46"},
              {"members[0].out_port_id", "65530"}}},
        Case{"flow add id=16 more actions=pop_vlan,push_inner_vlan,set_inner_vlan:7,"
             "set_inner_vlan_pcp:2,output:1",
             {{"more_fragments", "1"},
              {"members[0].action_bits", hex(kActPopVlan | kActPushInner | kActSetInner)},
              {"members[0].inner_vlan_id", "7"},
              {"members[0].push_inner_vlan_type", "33024"},
              {"members[0].inner_upbits", "2"}}},
        Case{"flow add id=17 dl_vlan=none actions=output:1",  // untagged is in_vlan_id 0
             {{"in_vlan_id", "0"}, {"in_tagged", "0"}, {"wildcards", hex(kWcAll & ~kWcInVlan)}}},
        Case{"flow clear-stats id=0", {{"sub_type", "12"}, {"flow_id", "0"}}},
        Case{"flow delete-all", {{"sub_type", "17"}}},
        Case{"flow sub=14 id=3 actions=output:1", {{"sub_type", "14"}}},
        Case{"group modify id=8 type=ff nhop=3 bucket=output:1 bucket=output:2,vlan:5",
             {{"sub_type", "20"},
              {"type", "3"},
              {"bucket_count", "2"},
              {"buckets[1].vlan_id", "5"},
              {"buckets[0].vlan_id", "4096"}}},
        Case{"group add id=9 type=all mgid=7 l3 bucket=port:6",
             {{"all_type", "1"}, {"buckets[0].port_id", "6"}}},
        Case{"meter clear-stats id=all", {{"sub_type", "25"}, {"meter_id", "4294967295"}}},
        Case{"meter modify id=3 pktps stats band=type=drop,rate=8,burst_size=9",
             {{"sub_type", "23"}, {"flags", "10"}, {"drop_rate", "8"}, {"band_cnt", "1"}}},
        Case{"evt delete port=4 iivid=all type=port",
             {{"sub_type", "31"}, {"iivid", "4294967295"}, {"type", "0"}}},
        Case{"port disable 9", {{"sub_cmd", "10"}, {"add", "0"}, {"ports", "9"}}},
        Case{"port offline 12", {{"sub_cmd", "33"}, {"port_id", "12"}}},
        Case{"config sub=7 add=1 ports=1-3", {{"sub_cmd", "7"}, {"ports", "1,2,3"}}},
        Case{"openflow disable", {{"sub_cmd", "6"}, {"add", "0"}}},
        Case{"sync-complete length=400", {{"body_length", "400"}}}));

// A port configuration takes its interface index and name from the slot and the platform.
TEST(RoundTripDefaults, PortEnableNamesTheFirstPort) {
  platform::Platform p;
  p.name_format = "ethernet{slot}/{port}";
  p.my_slot = 2;
  auto words = syntax::tokenize("port enable 5,6");
  auto m = parse_operation(words.value(), ParseContext{2, &p});
  ASSERT_TRUE(m.ok()) << m.error();
  const auto& c = std::get<ConfigMsg>(m.value());
  EXPECT_EQ(c.if_index, (6u << 26) | (2u << 22) | (5u << 15));
  EXPECT_EQ(c.ports.ports(), (std::vector<uint32_t>{5, 6}));
  EXPECT_EQ(c.add, 1);
}

}  // namespace
}  // namespace ofa::mgr
