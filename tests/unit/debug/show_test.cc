// Show requests and the debug text over small fixed tables: two chips of slot 1 up, ports 3 (L3)
// and 5 (L2), a port-channel without a chip, VLAN 100 with both, two flows (one matching every
// field in the old action form, one in the new form), an FF group, a meter of two bands, EVT
// records on port 3. Each reply is the whole text, checked by hand against the renderers' format
// strings. The renderings the ofactl golden files hold (tests/integration/ofactl/basic: chips,
// ports, VLANs, trees, generic and controller flows, ALL and SELECT groups, a one-band meter, the
// L2 forwarding table) are not repeated; the request parsing, the edges and the refusals are here.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "agent/flow_record.h"
#include "agent/trace.h"
#include "chip/if_table.h"
#include "codec.h"
#include "debug/cli.h"
#include "debug/debug_handler.h"
#include "debug/shows.h"
#include "flow/flow_engine.h"
#include "flow/flow_table.h"
#include "flow_env.h"
#include "groups_meters/group_db.h"
#include "groups_meters/l2fwd_table.h"
#include "groups_meters/meter.h"
#include "ports/evt.h"
#include "ports/vlan_table.h"
#include "processes.h"

namespace {

using namespace ofa;
using namespace ofa::test;

std::string show(const std::string& request) {
  std::string out;
  EXPECT_EQ(ofa_debug_handler(request.c_str(), &out), 0);
  return out;
}

const std::string kInvalid = "\nInvalid command.\n";
const std::string kTree =
    "       Priority     Flow id\n"
    "        100              10\n"
    "        100               1\n";

class Shows : public FlowEnv {
 protected:
  void SetUp() override {
    FlowEnv::SetUp();
    set_test_iivids();
    ASSERT_EQ(openflow_vlan_init(), 0);
    of_if_entry* p3 = port(3, 1, 3, true);
    of_if_entry* p5 = ofLookupIfEntrybyPortId(5);
    p5->pvid = 7;
    of_vlan_entry* v = of_process_vlan_add(100, 4010, 8010);
    of_process_add_port_to_vlan(p5, v);
    of_process_add_port_to_vlan(p3, v);

    mgr::FlowMsg every = flow(1, 100, 5);  // every field, old action form
    every.version = 1;
    every.wildcards = 0;
    every.in_vlan_id = 100;
    every.in_tagged = 1;
    every.vlan_upbit = 3;
    every.src_mac = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
    every.dst_mac = {0x66, 0x77, 0x88, 0x99, 0xaa, 0xbb};
    every.src_mac_mask = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
    every.dst_mac_mask = {0xff, 0xff, 0xff, 0, 0, 0};
    every.src_ip = 0x0a000001;
    every.src_ip_mask = 0xffffff00;
    every.dest_ip = 0xc0a80101;
    every.dest_ip_mask = 0xffffffff;
    every.ip_protocol = 6;
    every.ip_tos = 4;
    every.src_port = 1234;
    every.dst_port = 80;
    every.icmpv4_type = 8;
    every.icmpv6_type = 128;
    every.fid = 0x20;
    every.members[0].out_tagged = 1;
    every.members[0].out_vlan_id = 200;
    every.members[0].vlan_upbits = 5;
    every.members[0].set_src_mac = {0, 0, 0, 0, 0, 1};
    every.members[0].nw_tos = 2;
    ASSERT_EQ(add(every), 1) << reply();

    mgr::FlowMsg v4 = flow(10, 100, 5);  // new action form
    v4.members[0].action_bits = mgr::kActPopVlan | mgr::kActDecTtl;
    v4.members[0].queue_id = 2;
    v4.meter_id = 4;
    ASSERT_EQ(add(v4), 1) << reply();

    // Group 2's buckets make the L2 forwarding entries (7 is port 5's pvid, 4010 VLAN 100's IIVID).
    openflowAgtPcb.hw.policer_start = 1;
    ASSERT_EQ(openflow_lp_group_init(), 1);
    ASSERT_EQ(openflow_lp_meter_init(), 1);
    ASSERT_EQ(of_init_ivid_mac_table(), 0);
    // Group 3, FAST_FAILOVER: no hardware (its add answers 0), and it stays in the base.
    auto body = mgr::encode_body(mgr::GroupMsg{
        .group_id = 3, .nhopid = 30, .type = 3, .buckets = {{3, 200, {2, 0, 0, 0, 0, 3}}}});
    of_group_msg msg;
    ASSERT_TRUE(body.ok() && of_group_msg_read(body.value(), &msg));
    lp_openflow_generic_add_group(msg);
    // Meter 1, KBPS and BURST: a DROP and a DSCP-REMARK band.
    ASSERT_EQ(lp_openflow_generic_add_meter({.meter_id = 1,
                                             .flags = 5,
                                             .drop_rate = 1000,
                                             .dscp_rate = 500,
                                             .dscp_burst = 50,
                                             .dscp_prec_level = 2,
                                             .band_cnt = 2}),
              1);
    ASSERT_EQ(of_evt_add_entry(p3, 7, OF_EVT_TYPE_PORT, 1, 30), 0);
    ASSERT_EQ(of_evt_add_entry(p3, 4010, OF_EVT_TYPE_VLAN, 0, 100), 0);
  }
};

TEST_F(Shows, RequestToReply) {
  ofProcessPortAdd(0x20000001, "port-channel1", 60);  // not physical: no chip
  const std::string chips =
      "Chip Id: 1\n   is_local: 1 local chip id:    1 ifindex: 0x84400080 slot id:    1\n"
      "Chip Id: 0\n   is_local: 1 local chip id:    0 ifindex: 0x84400000 slot id:    1\n";
  const std::string vlan100 =
      "Vlan Id: 100\n   iivid: 4010 mgid: 8010\n   member ports:   3,   5, \n";
  const std::string meter1 =
      "\nMeter id: 1\n\n"
      "  Meter Flags:\t\t\t KBPS BURST\n"
      "  Number of  bands:\t\t2\n"
      "  RL Class Index:\t\t1\t\n"
      "  In packet count:\t\t-NA- \n"
      "  In byte count:\t\t0\n"
      "\n  Band Type:    DROP\n\n"
      "    Rate:                         1000\t\t\tAdjusted rate:\t\t\t125\n"
      "    Burst size:                   0\t\tkb\n"
      "    In packet band count:         -NA- \n"
      "    In byte band count:           0\n\n"
      "\n  Band Type:    DSCP-REMARK\n\n"
      "    Rate:                         500\t\t\tAdjusted rate:\t\t\t62\n"
      "    Burst size:                   50\t\tkb\n"
      "    Prec level:                   2\n"
      "    In packet band count:         -NA- \n"
      "    In byte band count:           0\n\n";
  const std::string evt_head = "(PORT, IIVID:P/V) -> (isTag, Tag)\n";
  std::string forty = "vlan 100";
  for (int i = 0; i < 38; ++i)
    forty += " x";
  const struct {
    std::string request;
    std::string reply;
  } cases[] = {
      {"FLOW_TREE", kTree + "\n"},
      {"flow_treex", kTree + "\n"},
      {"chip 0", chips.substr(chips.find("Chip Id: 0")) + "\n"},
      {"chip 9", "\n"},
      {"chip ALL", chips.substr(chips.find("Chip Id: 0")) + "\n"},
      {"chip 0 x", "Chip Id: 0\n       priority     flow id\n\n"},
      {"Chip 0 l2flow_tree",
       "Chip Id: 0\n       priority     flow id\n        100              10\n"
       "        100               1\n\n"},
      {"chip 7 l2flow_tree", "Chip Id: 7 doesn't exist\n\n"},
      {"vlan 100", vlan100 + "\n"},
      {"vlan ALL", "\n"},
      {forty, vlan100 + "\n"},
      {"port 60",
       "Port Id: 60\n      OF enabled: 0 type: L2\n"
       "      ifIndex: 0x20000001 ifName: port-channel1 chip_id: -1 is_local: 0\n"
       "      iivid_min: 0 iivid_max: 0 lrn: 0 rx_fwd: 0 tx_en: 0\n"
       "      is_mac_cls: 0 is_typ_cls: 0 pvid: 0 ppid: 0 vpnid: 0\n"
       "      of_def_nhop_id: 0\n\n\n"},
      {"port 9", "\n"},
      {"GROUP 3",
       "Group Id: 3       FF\n    Total Buckets:: 1\n"
       "    Out port:    3 Out vlan:  200 Out MAC: 0x020000000003\n"
       "    HW Info:\n       mgid: 0 nhopid: 30\n\n"},
      {"group 4", "No entry for group id: 4 found\n\n"},
      {"meter all", "\nTotal Number of Meters: 1\n" + meter1 + "\n"},
      {"meter 1", meter1 + "\n"},
      {"meter 2", "No entry for meter id: 2 found\n\n"},
      {"EVT x 3", evt_head + "(   3, 4010:V) -> (0,  100)\n(   3,    7:P) -> (1,   30)\n\n"},
      {"evt x 9", evt_head + "\n"},
      {"evts x all", kInvalid},
      {"evt all", kInvalid},
      {"port", kInvalid},
      {"chip", kInvalid},
      {"vlan", kInvalid},
      {"", kInvalid},
      {"   ", kInvalid},
      {"bogus all", kInvalid},
  };
  for (const auto& c : cases)
    EXPECT_EQ(show(c.request), c.reply) << '"' << c.request << '"';
}

// "flow N" shows flow 1 whatever N is; the list holds every flow by id, each as "flow N" would.
TEST_F(Shows, FlowsEveryFieldBothActionFormsHardwareAndController) {
  const std::string every =
      "Flow Id: 1, Priority: 100, FD Id: 0, PW Id: 0\n"
      "\tRule:\n"
      "\t   In Port:\t 5\n"
      "\t   In Vlan:\t Tagged[100]\n"
      "\t   Vlan PCP:\t 3\n"
      "\t   Source Mac:\t 0011.2233.4455 \n"
      "\t   Destination Mac:\t 6677.8899.aabb \n"
      "\t   Source Mac Mask:\t ffff.ffff.ffff \n"
      "\t   Destination Mac Mask:\t ffff.ff00.0000 \n"
      "\t   Ether type:\t 0x800 \n"
      "\t   Source IP :\t 10.0.0.1\tSubnet IP :\t 255.255.255.0 \n"
      "\t   Destination IP:\t 192.168.1.1\tSubnet IP :\t 255.255.255.255 \n"
      "\t   IP TOS:\t  \t 4 \n"
      "\t   IP Protocol:\t 6 \n"
      "\t   IP Protocol Source Port:\t 1234 \n"
      "\t   IP Protocol Destination Port:\t 80 \n"
      "\t   ICMPV4 Type:     \t 0 \n"  // version 1 carries no ICMP fields
      "\t   ICMPV4 Code:     \t 0 \n"
      "\t   ICMPV6 Type:     \t 0 \n"
      "\t   ICMPV6 Code:     \t 0 \n"
      "\tAction: FORWARD\n"
      "\t   Out Port:  5, Tagged, Vlan: 200, Vlan PCP: 5, Source MAC: 0000.0000.0001\n"
      "\t   Replace TOS: 8\n"
      "\t   FID: 0x20, MVID: -N/A-\n"
      "\tHardware Information:\n"
      "\tPort: 5   Chip Id : 0, Cam Index: 0x1 Packets: 0\n"
      "\tStatistics:\n"
      "\t   Total Pkts: 0\n"
      "\t   Total Bytes: 0\n\n";
  const std::string stats = "\tStatistics:\n\t   Total Pkts: 0\n\t   Total Bytes: 0\n\n";
  const std::string v4 =
      "Flow Id: 10, Priority: 100, FD Id: 0, PW Id: 0\n"
      "\tRule:\n\t   In Port:\t 5\n\t   Ether type:\t 0x800 \n"
      "\tAction: FORWARD\n\t\tOut Port:\t5, Pop-vlan-tag, Queue: 2\n\t\tDec IP TTL\n"
      "\n\tMeter id: 4\n"
      "\tHardware Information:\n\tPort: 5   Chip Id : 0, Cam Index: 0x2 Packets: 0\n" +
      stats;
  EXPECT_EQ(show("flow 10"), every + "\n");
  EXPECT_EQ(show("flow ALL"), every + "\n");
  const std::string list = every + v4 + "\n";
  EXPECT_EQ(show("flows"), list);
  EXPECT_EQ(show("flow all"), list);

  // A flow whose port has gone, and one stored without hardware.
  ofProcessPortDelete(ofLookupIfEntrybyPortId(5)->ifIndex, 5);
  EXPECT_NE(show("flow 1").find("\tHardware Information:\nInvalid Port \n\tStatistics:"),
            std::string::npos);
  port_hw_data* hw = std::exchange(of_lookup_flow(100, 1)->hw, nullptr);
  EXPECT_NE(show("flow 1").find("\tHardware Information:\n\t   No Hardware entry found\n"
                                "\tStatistics:\n\t   No Hardware entry found\n\n"),
            std::string::npos);
  of_lookup_flow(100, 1)->hw = hw;
}

// The detail list stops at 5000 flows, the lowest ids.
TEST_F(Shows, FlowListCappedAt5000ByFlowId) {
  for (uint32_t id = 6000; id > 1000; --id)
    ASSERT_EQ(add(flow(id, 7, 5)), 1) << id;
  const std::string list = show("flow all");
  EXPECT_EQ(ofa::test::count(list, "Flow Id: "), 5000u);
  EXPECT_NE(list.find("Flow Id: 1, "), std::string::npos);
  EXPECT_NE(list.find("Flow Id: 5998, "), std::string::npos);
  EXPECT_EQ(list.find("Flow Id: 5999, "), std::string::npos);
}

TEST_F(Shows, GroupsAndMetersBeforeOpenflowBelowVersion13EmptyAndWithoutBands) {
  const struct {
    uint8_t mode;
    const char* request;
    const char* reply;
  } cases[] = {
      {OFA_MODE_NONE, "group 1", "Error: Openflow is disabled \n\n"},
      {OFA_MODE_NONE, "meter 1", "Error: Openflow is disabled \n\n"},
      {OFA_MODE_NONE, "group all", "Openflow not enabled!\n\n"},
      {OFA_MODE_NONE, "meter all", "Openflow not enabled!\n\n"},
      {3, "group all", "Openflow version must be equal or more than 1.3 to give this command\n\n"},
      {3, "meter 2", "Openflow version must be equal or more than 1.3 to give this command\n\n"},
  };
  for (const auto& c : cases) {
    g_openflow_lp.mode = c.mode;
    EXPECT_EQ(show(c.request), c.reply) << c.request << " in mode " << int{c.mode};
  }
  g_openflow_lp.mode = OFA_MODE_GENERIC;
  ASSERT_EQ(lp_openflow_generic_del_group_all(), 1);
  ASSERT_EQ(lp_openflow_generic_del_meter(OF_METER_ALL), 1);
  EXPECT_EQ(show("group all"), "Total no. of entries printed: 0\n\n");
  EXPECT_EQ(show("meter all"), "Total no. of entries printed: 0\n\n");

  meter_node bandless{};
  bandless.meter_id = 9;
  bandless.policer_id = OF_METER_NO_POLICER;
  std::string text;
  ofa_writer w = writer_confd_init(&text);
  EXPECT_EQ(ofa_show_openflow_single_meter_internal(&w, &bandless), 8);
  EXPECT_EQ(text,
            "\nMeter id: 9\n\n  Meter Flags:\t\t\t\n  Number of  bands:\t\t0\n"
            "  RL Class Index:\t\t4096\t\n  In packet count:\t\t-NA- \n  In byte count:\t\t0\n");
}

// On a zim chassis whose LP is in slot 2, the chip of slot 3 (flat id 3) leads, then slot 2's
// chips 2, 1, 0.
TEST(ShowChips, ZimRemoteChipFirstThenLocalChipsHighestFirst) {
  reset_agent();
  auto zim = ofa::platform::load_platform(OFA_EXAMPLES_DIR "/platforms/zim.conf");
  ASSERT_TRUE(std::holds_alternative<ofa::platform::Platform>(zim));
  ofa_sys_set(std::get<ofa::platform::Platform>(zim));
  openflowAgtPcb.my_slot = 2;
  for (auto [slot, local] : {std::pair{2u, 1u}, {3u, 0u}, {2u, 0u}, {2u, 2u}})
    ASSERT_EQ(chip_up(slot, local), 0) << slot << "/" << local;
  EXPECT_EQ(show("chip all"),
            "Chip Id: 3\n   is_local: 0 local chip id:    0 ifindex: 0x84c00000 slot id:    3\n"
            "Chip Id: 2\n   is_local: 1 local chip id:    2 ifindex: 0x84800100 slot id:    2\n"
            "Chip Id: 1\n   is_local: 1 local chip id:    1 ifindex: 0x84800080 slot id:    2\n"
            "Chip Id: 0\n   is_local: 1 local chip id:    0 ifindex: 0x84800000 slot id:    2\n\n");
  ofa_reset_all();
}

TEST(DebugText, BitsAndLevels) {
  const struct {
    const char* text;
    uint32_t bits;    // debugOpenflow after, from 0xc0080000
    uint32_t module;  // trace module whose level is checked
    uint32_t level;
  } cases[] = {
      {"events off", 0xc0080000, 1, 9},
      {"log all off", 0x80080000, 1, 9},
      {"log generic on", 0xd0080000, 1, 9},
      {"log config on", 0xc0880000, 1, 9},
      {"log forwarding on", 0xc0480000, 1, 9},
      {"log ipc on", 0xc0280000, 1, 9},
      {"log meter on", 0xc0180000, 1, 9},
      {"log group off", 0x40080000, 1, 9},
      {"log flow off", 0x40080000, 1, 9},
      {"log hardware maybe", 0xc0080000, 1, 9},
      {"log trace core debug", 0xc0080000, 1, 8},
      {"trace msg info", 0xc0080000, 2, 7},
      {"trace pkt bogus", 0xc0080000, 4, 9},
      {"trace bogus info", 0xc0080000, 1, 9},
      {"bogus on", 0xc0080000, 1, 9},
      {"", 0xc0080000, 1, 9},
  };
  for (const auto& c : cases) {
    openflow_ofa_debug_init();
    for (uint32_t& l : openflow_agt_debug)
      l = 9;
    openflow_ofa_debug_handler(c.text);
    EXPECT_EQ(debugOpenflow, c.bits) << c.text;
    EXPECT_EQ(openflow_agt_debug[c.module], c.level) << c.text;
  }
  debugOpenflow = 0;
  openflow_ofa_debug_handler("log group on");
  EXPECT_EQ(debugOpenflow, OFA_DEBUG_ON);
  openflow_ofa_debug_init();
  openflow_ofa_debug_handler(nullptr);
  openflow_ofa_debug_set_module(4, 1);
  openflow_ofa_debug_set_module(5, 1);
  openflow_ofa_debug_trace_cfg(1, 0);
  EXPECT_EQ(debugOpenflow, 0xc9040000);
  debugOpenflow = 0;
}

}  // namespace
