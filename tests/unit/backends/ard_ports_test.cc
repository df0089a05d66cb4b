// `ard` port and VLAN handlers against the fake HSL, two chips in slot 1: which requests go out,
// to which chips and in which order, the port's and VLAN's values in them, where a fault stops
// the sequence and what it prints. The bytes of each record are the golden table's.
#include <gtest/gtest.h>

#include <set>
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

constexpr uint32_t kPort3 = port_ifindex(1, 3);
constexpr uint32_t kPort30 = port_ifindex(1, 30);

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

// A word of request `req`, at `off` from its command word.
struct Word {
  size_t req, off;
  uint32_t value;
};

struct Case {
  const char* name;
  int (*call)(of_if_entry* port, of_vlan_entry* vlan);
  void (*set)(of_if_entry& port) = [](of_if_entry&) {};
  int vlans = 0;  // -1 none, else the pseudo-VLAN and VLANs 1..n
  int ports = 2;  // interface table: 3 and 30, or 1..n
  int joins = 1;  // times each port stands in the VLAN's port tree
  std::set<size_t> fail = {};
  size_t requests = 0;
  int rc = 0;
  const char* log = "";
  std::vector<Word> words = {};
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

// The enable bulk of port 3 holds at 36 the port-wide VLAN configuration (bit set from 120),
// at 1144 the VPN, 1188 the port control, 1272 the QoS map, 1432 the next hop, 1488 the L2
// control and 1548 the port configuration; disable's next hop delete at 1432 and L2 control at
// 1472. A batch has its IIVIDs from 84 and the VLAN ids behind them.
const Case kCases[] = {
    {.name = "enable",
     .call = enable,
     .requests = 2,
     .log = "enabled openflow port: 3",
     .words = {{0, 0, 0x00070000},
               {0, 8, 1600},
               {0, 32, 0x00070000},
               {0, 36, 0x04272003},
               {0, 64, kPort3},
               {0, 72, 0x6C400000},
               {0, 76, 0x26400000},
               {0, 84, 4020},
               {0, 616, 0},
               {0, 620, 0xFFFFFFFF},
               {0, 744, 0xFF},
               {0, 748, 0},
               {0, 1144, 0x04272024},
               {0, 1180, 0xFFE01},
               {0, 1188, 0x04272001},
               {0, 1224, 0x30000},
               {0, 1228, 0x80000},
               {0, 1236, 0},
               {0, 1244, 7 << 7},
               {0, 1272, 0x01271002},
               {0, 1312, 0x02020000},
               {0, 1432, 0x0427180C},
               {0, 1460, 11},
               {0, 1464, 0x00011080},
               {0, 1468, kPort3},
               {0, 1472, 4020 << 16},
               {0, 1488, 0x04272014},
               {0, 1540, 0},
               {0, 1548, 0x04272001},
               {0, 1576, 0x06000000},
               {0, 1586, 0x00010203},
               {0, 1596, kPort3},
               {1, 0, 0x04272003},
               {1, 28, kPort3},
               {1, 36, 0x00280000},
               {1, 40, 0x00200000},
               {1, 56, 1},
               {1, 84, 4005},
               {1, 88, 0xFFFFFFFF}}},
    {.name = "enable_l3_high_iivids",
     .call = enable,
     .set = [](of_if_entry& p) { p.vpnid = 0xFFE02, p.iivid_min = 8100, p.iivid_max = 9000; },
     .requests = 2,
     .words =
         {{0, 1132, 0xFFFFFFF0}, {0, 1140, 0xFFFFFFFF}, {0, 1144, 0x04272024}, {0, 1180, 0xFFE02}}},
    {.name = "enable_no_vlans", .call = enable, .vlans = -1, .requests = 1},
    {.name = "enable_batches_repeat_the_head",
     .call = enable,
     .vlans = 299,
     .requests = 3,
     .words = {{1, 56, 250},
               {1, 1084, 0xFFFFFFFF},
               {1, 1088, 299},
               {1, 2080, 51},
               {2, 56, 50},
               {2, 284, 0xFFFFFFFF},
               {2, 288, 299},
               {2, 480, 251}}},
    {.name = "enable_bulk_fails",
     .call = enable,
     .fail = {0},
     .requests = 1,
     .rc = -106,
     .log = "Unabled to enable openflow port: 3 rc: -106"},
    {.name = "enable_batch_fails",
     .call = enable,
     .fail = {1},
     .requests = 2,
     .rc = -106,
     .log = "Unable to program port vlan trans rc: -106"},
    {.name = "enable_second_batch_fails",
     .call = enable,
     .vlans = 299,
     .fail = {2},
     .requests = 3,
     .rc = -106},
    {.name = "disable",
     .call = disable,
     .set = disabled,
     .requests = 2,
     .log = "Disabled openflow port: 3",
     .words = {{0, 8, 1532},
               {0, 32, 0x00060000},
               {0, 72, 0x6C400000},
               {0, 76, 0x20000000},
               {0, 84, 4004},
               {0, 1180, 0},
               {0, 1236, 0xC0},
               {0, 1244, 0},
               {0, 1312, 0x02000000},
               {0, 1432, 0x0427180D},
               {0, 1464, 1},
               {0, 1468, 11},
               {0, 1472, 0x04272014},
               {0, 1524, 1},
               {0, 1528, 1},
               {1, 40, 0},
               {1, 88, 0xFFFFFFFF}}},
    {.name = "disable_bulk_fails",
     .call = disable,
     .set = disabled,
     .fail = {0},
     .requests = 1,
     .rc = -106,
     .log = "Unabled to disable openflow port: 3 rc: -106"},
    {.name = "state_offline",
     .call = state,
     .set = [](of_if_entry& p) { p.tx_en = 0; },
     .requests = 1,
     .words = {{0, 0, 0x04272003}, {0, 8, 1108}, {0, 40, 0x26000000}}},
    {.name = "state_fails",
     .call = state,
     .fail = {0},
     .requests = 1,
     .rc = -106,
     .log = "Unable to change port state : 3 rc : -106"},
    {.name = "port_without_chip",
     .call = enable,
     .set = [](of_if_entry& p) { p.chip = nullptr; },
     .rc = -128,
     .log = "chip is empty for port:18418000"},
    // VLAN 100, IIVID 4010, mgid 8010; each request to chip 1, then chip 0.
    {.name = "vlan_add",
     .call = vlan_add,
     .requests = 8,
     .log = "vlan id:100 iivid:4010",
     .words = {{0, 0, 0x04272006},
               {0, 28, 0x00070000},
               {0, 36, 1},
               {0, 40, 4010},
               {0, 44, 100},
               {2, 28, 0x00070001},
               {2, 40, 4010},
               {4, 0, 0x00070000},
               {4, 32, 0x20000},
               {4, 64, kPort30},
               {4, 76, 0x00200000},
               {4, 120, 4010},
               {4, 124, 100},
               {4, 156, kPort3},
               {4, 168, 0x00200000},
               {6, 0, 0x04272007},
               {6, 48, 4010},
               {6, 52, 8010}}},
    {.name = "vlan_rem",
     .call = vlan_rem,
     .requests = 8,
     .words =
         {{0, 40, 4004}, {2, 40, 4004}, {4, 76, 0}, {4, 120, 4010}, {6, 48, 4010}, {6, 52, 8004}}},
    {.name = "vlan_add_bulks_of_25",
     .call = vlan_add,
     .ports = 26,
     .requests = 10,
     .words = {{4, 32, 25 << 16}, {4, 8, 36 + 25 * 92}, {6, 32, 1 << 16}, {8, 0, 0x04272007}}},
    {.name = "vlan_add_no_ports",
     .call = vlan_add,
     .ports = 0,
     .requests = 6,
     .words = {{4, 0, 0x04272007}}},
    {.name = "vlan_add_first_partition_fails",
     .call = vlan_add,
     .fail = {0},
     .requests = 1,
     .rc = -106,
     .log = "Unable to program partion id rc: -106"},
    {.name = "vlan_add_rte1_second_chip_fails",
     .call = vlan_add,
     .fail = {3},
     .requests = 4,
     .rc = -106,
     .log = "Dispatching ioctl to chip 84400000 failed, rc: -106"},
    {.name = "vlan_add_second_egress_bulk_fails",
     .call = vlan_add,
     .ports = 26,
     .fail = {6},
     .requests = 7,
     .rc = -106,
     .log = "Unable to program EVT vlan 100 rc: -106"},
    {.name = "vlan_rem_vid_to_mgid_fails",
     .call = vlan_rem,
     .fail = {7},
     .requests = 8,
     .rc = -106,
     .log = "Unable to program vid to mgid table rc:-106"},
    {.name = "flood",
     .call = flood,
     .requests = 2,
     .log = "Programmed vlan flood mgid:8010",
     .words = {{0, 0, 0x05270008},
               {0, 8, 64},
               {0, 28, 8010},
               {0, 32, 1},
               {0, 36, 0xFFFFFFFF},
               {0, 40, 4010},
               {0, 48, 0x01000002},
               {0, 56, kPort3},
               {0, 60, kPort30},
               {1, 8, 64}}},
    {.name = "flood_empty",
     .call = flood,
     .joins = 0,
     .requests = 2,
     .words = {{0, 8, 56}, {0, 48, 0x01000000}}},
    {.name = "flood_bounded_to_the_buffer",
     .call = flood,
     .joins = 500,
     .requests = 2,
     .log = "flood mgid:8010 has 1000 ports, 998 sent",
     .words = {{0, 8, 4048}, {0, 48, 0x010003E6}}},
    {.name = "flood_second_chip_fails",
     .call = flood,
     .fail = {1},
     .requests = 2,
     .rc = -106,
     .log = "Unable to program vlan flood mgid rc: -106"},
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
  for (uint16_t id : ids)
    for (of_if_entry* p = add_port(id); p; p = nullptr)
      for (int j = 0; j < c.joins; ++j)
        avl_insert(vlan_.port_tree, p);
  of_if_entry* port = ofLookupIfEntrybyPortId(3);
  c.set(*port);
  hsl().requests.clear();
  hsl().fail = c.fail;
  TraceCapture words;
  EXPECT_EQ(c.call(port, &vlan_), c.rc);
  EXPECT_TRUE(words.has(c.log)) << words.text();
  const auto& q = hsl().requests;
  ASSERT_EQ(q.size(), c.requests);
  // Port requests to the port's chip; VLAN requests to chip 1, then chip 0.
  bool per_port = c.call == enable || c.call == disable || c.call == state;
  for (size_t i = 0; i < q.size(); ++i)
    EXPECT_EQ(q[i].target, per_port ? chip_ifindex(1, 0) : chip_ifindex(1, 1 - i % 2)) << i;
  for (const Word& w : c.words)
    EXPECT_EQ(q.at(w.req).word(w.off), w.value) << "request " << w.req << " offset " << w.off;
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
