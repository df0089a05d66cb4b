// `ard` port and VLAN handlers against the fake HSL, two chips in slot 1: which requests go out,
// to which chips and in which order, the port's and VLAN's values in them, where a fault stops
// the sequence and what it prints. The bytes of each record are the golden table's.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "backends/ard/ard_ports.h"
#include "backends/ard/ard_vlans.h"
#include "chip/engine_lookups.h"
#include "chip/vlan_entry.h"
#include "chip_env.h"
#include "foundation/avl_tree.h"

namespace {

using ofa::platform::chip_ifindex;
using ofa::platform::port_ifindex;
using ofa::test::ChipEnv;
using ofa::test::TraceCapture;

// The VLAN table the handlers walk: the pseudo-VLAN (IIVID 4005) and VLANs n..1, highest first.
std::vector<of_vlan_entry> g_vlans;
size_t g_at = 0;
of_vlan_entry* vlan_at(size_t i) {
  g_at = i;
  return i < g_vlans.size() ? &g_vlans[i] : nullptr;
}
void set_vlans(int n) {
  g_vlans.clear();
  if (n < 0) return;
  g_vlans.push_back({OF_ALL_PORTS_VLAN, 4005, 8005});
  for (int v = n; v >= 1; --v)
    g_vlans.push_back({static_cast<uint32_t>(v), 4100u + v, 8100u + v});
}

struct Case {
  const char* name;
  int (*call)(of_if_entry* port, of_vlan_entry* vlan);
  size_t requests = 0;
  // "r:off=hex ...": the word at `off` of request r, from its command word.
  const char* words = "";
  const char* log = "";
  int fail = -1;  // the request the chip refuses
  int rc = 0;
  void (*set)(of_if_entry& port) = nullptr;  // port 3 changed from its enabled state
  int vlans = 0;                             // -1 none, else the pseudo-VLAN and VLANs 1..n
  int ports = 2;                             // interface table: 3 and 30, or 1..n
  int joins = 1;                             // times each port stands in the VLAN's port tree
};
void PrintTo(const Case& c, std::ostream* os) {
  *os << c.name;
}

int enable(of_if_entry* p, of_vlan_entry*) {
  return ard_of_port_enable(p, 0);
}
int disable(of_if_entry* p, of_vlan_entry*) {
  return ard_of_port_disable(p);
}
int state(of_if_entry* p, of_vlan_entry*) {
  return ard_of_port_state(p, 0);
}
int vlan_add(of_if_entry*, of_vlan_entry* v) {
  return ard_of_iivid_add_cfg_ioctl(v);
}
int vlan_rem(of_if_entry*, of_vlan_entry* v) {
  return ard_of_iivid_rem_cfg_ioctl(v, 0);
}
int flood(of_if_entry*, of_vlan_entry* v) {
  return ard_of_vlan_flood_mgid_upd_ioctl(v);
}
void disabled(of_if_entry& p) {
  p.rx_fwd = p.tx_en = p.ppid = p.vpnid = 0;
  p.is_mac_cls = p.is_typ_cls = p.lldp_vlan_ovrd = p.l2_ctrl_ovrd = 1;
  p.pvid = 4004;
}
void offline(of_if_entry& p) {
  p.tx_en = 0;
}
void l3_high_iivids(of_if_entry& p) {
  p.vpnid = 0xFFE02, p.iivid_min = 8100, p.iivid_max = 9000;
}
void no_chip(of_if_entry& p) {
  p.chip = nullptr;
}

// Port 3 is 18418000, port 30 184F0000; pvid 4020 (FB4), IIVIDs 4000-4999, next hop 11. The
// enable bulk holds at 36 the port-wide VLAN configuration (bit set from 120), at 1144 the VPN,
// 1188 the port control, 1272 the QoS map, 1432 the next hop, 1488 the L2 control, 1548 the port
// configuration; disable's next hop delete is at 1432, its L2 control at 1472. A batch has its
// IIVIDs from 84 and the VLAN ids behind them.
const Case kCases[] = {
    {"enable", enable, 2,
     "0:0=70000 0:8=640 0:32=70000 0:36=4272003 0:64=18418000 0:72=6C400000 0:76=26400000 "
     "0:84=FB4 0:616=0 0:620=FFFFFFFF 0:744=FF 0:748=0 0:1144=4272024 0:1180=FFE01 "
     "0:1188=4272001 0:1224=30000 0:1228=80000 0:1236=0 0:1244=380 0:1272=1271002 "
     "0:1312=2020000 0:1432=427180C 0:1460=B 0:1464=11080 0:1468=18418000 0:1472=FB40000 "
     "0:1488=4272014 0:1540=0 0:1548=4272001 0:1576=6000000 0:1586=10203 0:1596=18418000 "
     "1:0=4272003 1:28=18418000 1:36=280000 1:40=200000 1:56=1 1:84=FA5 1:88=FFFFFFFF",
     "enabled openflow port: 3"},
    {"enable_l3_high_iivids", enable, 2,
     "0:1132=FFFFFFF0 0:1140=FFFFFFFF 0:1144=4272024 0:1180=FFE02", "", -1, 0, l3_high_iivids},
    {"enable_no_vlans", enable, 1, "", "", -1, 0, nullptr, -1},
    {"enable_batches_repeat_the_head", enable, 3,
     "1:56=FA 1:1084=FFFFFFFF 1:1088=12B 1:2080=33 2:56=32 2:284=FFFFFFFF 2:288=12B 2:480=FB", "",
     -1, 0, nullptr, 299},
    {"enable_bulk_fails", enable, 1, "", "Unabled to enable openflow port: 3 rc: -106", 0, -106},
    {"enable_batch_fails", enable, 2, "", "Unable to program port vlan trans rc: -106", 1, -106},
    {"enable_second_batch_fails", enable, 3, "", "", 2, -106, nullptr, 299},
    {"disable", disable, 2,
     "0:8=5FC 0:32=60000 0:72=6C400000 0:76=20000000 0:84=FA4 0:1180=0 0:1236=C0 0:1244=0 "
     "0:1312=2000000 0:1432=427180D 0:1464=1 0:1468=B 0:1472=4272014 0:1524=1 0:1528=1 1:40=0 "
     "1:88=FFFFFFFF",
     "Disabled openflow port: 3", -1, 0, disabled},
    {"disable_bulk_fails", disable, 1, "", "Unabled to disable openflow port: 3 rc: -106", 0, -106,
     disabled},
    {"state_offline", state, 1, "0:0=4272003 0:8=454 0:40=26000000", "", -1, 0, offline},
    {"state_fails", state, 1, "", "Unable to change port state : 3 rc : -106", 0, -106},
    {"port_without_chip", enable, 0, "", "chip is empty for port:18418000", -1, -128, no_chip},
    // VLAN 100 (64), IIVID 4010 (FAA), mgid 8010 (1F4A); each request to chip 1, then chip 0.
    {"vlan_add", vlan_add, 8,
     "0:0=4272006 0:28=70000 0:36=1 0:40=FAA 0:44=64 2:28=70001 2:40=FAA 4:0=70000 4:32=20000 "
     "4:64=184F0000 4:76=200000 4:120=FAA 4:124=64 4:156=18418000 4:168=200000 6:0=4272007 "
     "6:48=FAA 6:52=1F4A",
     "vlan id:100 iivid:4010"},
    {"vlan_rem", vlan_rem, 8, "0:40=FA4 2:40=FA4 4:76=0 4:120=FAA 6:48=FAA 6:52=1F44"},
    {"vlan_add_bulks_of_25", vlan_add, 10, "4:32=190000 4:8=920 6:32=10000 8:0=4272007", "", -1, 0,
     nullptr, 0, 26},
    {"vlan_add_no_ports", vlan_add, 6, "4:0=4272007", "", -1, 0, nullptr, 0, 0},
    {"vlan_add_first_partition_fails", vlan_add, 1, "", "Unable to program partion id rc: -106", 0,
     -106},
    {"vlan_add_rte1_second_chip_fails", vlan_add, 4, "",
     "Dispatching ioctl to chip 84400000 failed, rc: -106", 3, -106},
    {"vlan_add_second_egress_bulk_fails", vlan_add, 7, "",
     "Unable to program EVT vlan 100 rc: -106", 6, -106, nullptr, 0, 26},
    {"vlan_rem_vid_to_mgid_fails", vlan_rem, 8, "", "Unable to program vid to mgid table rc:-106",
     7, -106},
    {"flood", flood, 2,
     "0:0=5270008 0:8=40 0:28=1F4A 0:32=1 0:36=FFFFFFFF 0:40=FAA 0:48=1000002 0:56=18418000 "
     "0:60=184F0000 1:8=40",
     "Programmed vlan flood mgid:8010"},
    {"flood_empty", flood, 2, "0:8=38 0:48=1000000", "", -1, 0, nullptr, 0, 2, 0},
    {"flood_bounded_to_the_buffer", flood, 2, "0:8=FD0 0:48=10003E6",
     "flood mgid:8010 has 1000 ports, 998 sent", -1, 0, nullptr, 0, 2, 500},
    {"flood_second_chip_fails", flood, 2, "", "Unable to program vlan flood mgid rc: -106", 1,
     -106},
};

class ArdPortsVlans : public ChipEnv, public ::testing::WithParamInterface<Case> {
 protected:
  void SetUp() override {
    ofa::test::reset_agent({.chips = 2});
    ASSERT_EQ(chip_up(1, 0), 0);
    ASSERT_EQ(chip_up(1, 1), 0);
    openflowAgtPcb.hw.dflt_iivid = 4004;
    openflowAgtPcb.hw.dflt_mgid = 8004;
    of_lookups.vlan_count = [] { return static_cast<uint32_t>(g_vlans.size()); };
    of_lookups.first_vlan = [](avl_node**) { return vlan_at(0); };
    of_lookups.next_vlan = [](avl_node**) { return vlan_at(g_at + 1); };
    avl_create(&vlan_.port_tree, 0, [](const void* a, const void* b) {
      return static_cast<int>(static_cast<const of_if_entry*>(a)->ifIndex -
                              static_cast<const of_if_entry*>(b)->ifIndex);
    });
  }
  void TearDown() override {
    avl_tree_free(&vlan_.port_tree, nullptr);
    of_lookups = {};
    ChipEnv::TearDown();
  }
  // An enabled port as the port lifecycle leaves it.
  static of_if_entry* add_port(uint16_t id) {
    of_if_entry* p = ofProcessPortAdd(port_ifindex(1, id), "ethernet", id);
    p->iivid_min = 4000, p->iivid_max = 4999, p->rx_fwd = 1, p->tx_en = 1, p->pvid = 4020;
    p->ppid = 7, p->vpnid = 0xFFE01, p->of_def_nhop_id = 11;
    for (uint8_t i = 0; i < 6; ++i)
      p->port_address[i] = i;
    return p;
  }
  of_vlan_entry vlan_{100, 4010, 8010, nullptr};
};

TEST_P(ArdPortsVlans, RequestsInOrder) {
  const Case& c = GetParam();
  set_vlans(c.vlans);
  std::vector<uint16_t> ids = {3, 30};
  if (c.ports != 2) {
    ids.clear();
    for (int i = 1; i <= c.ports; ++i)
      ids.push_back(static_cast<uint16_t>(i));
  }
  for (uint16_t id : ids) {
    of_if_entry* p = add_port(id);
    for (int j = 0; j < c.joins; ++j)
      avl_insert(vlan_.port_tree, p);
  }
  of_if_entry* port = ofLookupIfEntrybyPortId(3);
  if (c.set) c.set(*port);
  hsl().requests.clear();
  if (c.fail >= 0) hsl().fail = {static_cast<size_t>(c.fail)};
  TraceCapture printed;
  EXPECT_EQ(c.call(port, &vlan_), c.rc);
  EXPECT_TRUE(printed.has(c.log)) << printed.text();
  const auto& q = hsl().requests;
  ASSERT_EQ(q.size(), c.requests);
  // Port requests to the port's chip; VLAN requests to chip 1, then chip 0.
  bool per_port = c.call == enable || c.call == disable || c.call == state;
  for (size_t i = 0; i < q.size(); ++i)
    EXPECT_EQ(q[i].target, per_port ? chip_ifindex(1, 0) : chip_ifindex(1, 1 - i % 2)) << i;
  std::stringstream words{c.words};
  for (std::string w; words >> w;) {
    size_t r = std::stoul(w), off = std::stoul(w.substr(w.find(':') + 1));
    EXPECT_EQ(q.at(r).word(off), std::stoul(w.substr(w.find('=') + 1), nullptr, 16)) << w;
  }
}

INSTANTIATE_TEST_SUITE_P(Handlers, ArdPortsVlans, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(ChipEnv, ArdPortHandlersRefuseANullPort) {
  for (int rc :
       {ard_of_port_enable(nullptr, 0), ard_of_port_disable(nullptr), ard_of_port_state(nullptr, 0),
        ard_of_iivid_add_cfg_ioctl(nullptr), ard_of_vlan_flood_mgid_upd_ioctl(nullptr)})
    EXPECT_EQ(rc, -128);
  EXPECT_TRUE(hsl().requests.empty());
}

}  // namespace
