// `ard` port, VLAN, group, exact-match and policer handlers against the fake HSL, two chips in
// slot 1: which requests go out, to which chips and in which order, the port's, VLAN's and group's
// values in them, where a fault stops the sequence and what it prints. The bytes of each record are
// the golden table's.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "backends/ard/ard_evt.h"
#include "backends/ard/ard_groups.h"
#include "backends/ard/ard_policers.h"
#include "backends/ard/ard_ports.h"
#include "backends/ard/ard_vlans.h"
#include "chip/engine_lookups.h"
#include "chip/group_entry.h"
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

// The group the group handlers get: its buckets in order, bucket i with MAC AA:BB:CC:DD:EE:0i.
struct Bucket {
  uint16_t port;
  uint32_t vlan;
  uint16_t weight = 1;
};
std::vector<group_bucket> g_buckets;
group_node g_group{};
void set_group(const std::vector<Bucket>& bs) {
  g_buckets.assign(bs.size(), {});
  for (size_t i = 0; i < bs.size(); ++i) {
    g_buckets[i] = {bs[i].weight,
                    bs[i].port,
                    bs[i].vlan,
                    0xAABBCCDD,
                    (0xEE00u | uint32_t(i)) << 16,
                    i + 1 < bs.size() ? &g_buckets[i + 1] : nullptr};
  }
  g_group.bucket_list = bs.empty() ? nullptr : &g_buckets[0];
  g_group.bucket_count = static_cast<uint32_t>(bs.size());
}
std::vector<Bucket> bs(std::initializer_list<Bucket> l) {
  return l;
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
  std::vector<Bucket> buckets = {};          // of the group
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
constexpr uint32_t kMgid = 8100, kNhop = 0x10000005;
constexpr uint8_t kMac[6] = {0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
template <int (*F)(uint32_t, uint32_t, group_node*)>
int mgid(of_if_entry*, of_vlan_entry*) {
  return F(kMgid, 0, &g_group);
}
template <int (*F)(uint32_t, group_node*)>
int nhop(of_if_entry*, of_vlan_entry*) {
  return F(kNhop, &g_group);
}
template <uint32_t Port>
int l2fwd_add(of_if_entry*, of_vlan_entry*) {  // the port in the low 16 bits
  return ard_of_l2fwd_add(0, 4101, kMac, Port);
}
// Slot 40 on port 3: IIVID 4011 (FAB) out as VLAN 300 (12C), or all IIVIDs (-1).
template <int32_t Iivid, uint32_t Tagged, uint32_t Remove>
int evt(of_if_entry* p, of_vlan_entry*) {
  return ard_of_egr_vlan_trans_upd(Iivid, p, Tagged, 300, Remove);
}
// Policer 0x345 on the port's chip; the excess pair and the spare words are not sent.
constexpr of_policer_rate kRate{0x123456789, 0x4000, 7, 99, 98, 97};
int pol_add(of_if_entry* p, of_vlan_entry*) {
  return ard_of_policer_add(p->chip, 0x345, &kRate);
}
int pol_upd(of_if_entry* p, of_vlan_entry*) {
  return ard_of_policer_upd(p->chip, 0x345, &kRate);
}
int pol_del(of_if_entry* p, of_vlan_entry*) {
  return ard_of_policer_del(p->chip, 0x345);
}
void disabled(of_if_entry& p) {
  p.rx_fwd = p.tx_en = p.ppid = p.vpnid = 0;
  p.is_mac_cls = p.is_typ_cls = p.lldp_vlan_ovrd = p.l2_ctrl_ovrd = 1;
  p.pvid = 4004;
}

// Port 3 is 18418000, port 30 184F0000; pvid 4020 (FB4), IIVIDs 4000-4999, next hop 11. Every
// byte of the enable and disable bulks, the groups' records and the exact-match adds is in the
// golden request logs of the port and group scenarios (tests/integration); here the counts, the
// pvid, the order and the edges. A batch has its IIVIDs from 84 and the VLAN ids behind them.
const Case kCases[] = {
    {"enable", enable, 2, "0:32=70000 0:84=FB4 1:84=FA5 1:88=FFFFFFFF", "enabled openflow port: 3"},
    {"enable_l3_high_iivids", enable, 2,
     "0:1132=FFFFFFF0 0:1140=FFFFFFFF 0:1144=4272024 0:1180=FFE02", "", -1, 0,
     [](of_if_entry& p) { p.vpnid = 0xFFE02, p.iivid_min = 8100, p.iivid_max = 9000; }},
    {"enable_no_vlans", enable, 1, "", "", -1, 0, nullptr, -1},
    {"enable_batch_fails", enable, 2, "", "Unable to program port vlan trans rc: -106", 1, -106},
    {"disable", disable, 2, "0:32=60000 0:84=FA4 1:40=0", "Disabled openflow port: 3", -1, 0,
     disabled},
    {"disable_bulk_fails", disable, 1, "", "Unabled to disable openflow port: 3 rc: -106", 0, -106,
     disabled},
    {"state_fails", state, 1, "", "Unable to change port state : 3 rc : -106", 0, -106},
    {"port_without_chip", enable, 0, "", "chip is empty for port:18418000", -1, -128,
     [](of_if_entry& p) { p.chip = nullptr; }},
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
    // One translation (92 bytes) to chip 1, then chip 0; the remove flag plays no part.
    {"evt_one", evt<4011, 1, 0>, 2, "0:8=5C 0:40=200000 0:84=FAB 0:88=12C 1:84=FAB",
     "Push or Pop iivid:4011 egr_vlanid:300"},
    // 26 ports: bulks of 25 and 1 of their pvids (FB4) untagged as 300; the pseudo-VLAN and 30
    // VLANs: bulks of 25 (the pseudo-VLAN first, then VLAN 30: 1022, 1E) and 6, tagged.
    {"evt_all", evt<-1, 0, 1>, 8,
     "0:0=70000 0:32=190000 0:36=4272003 0:64=18418000 0:76=0 0:120=FB4 0:124=12C "
     "0:156=18418000 0:212=FB4 2:32=10000 2:120=FB4 4:32=190000 4:76=200000 4:120=FA5 "
     "4:124=FFFFFFFF 4:212=1022 4:216=1E 6:32=60000 6:76=200000",
     "Programmed EVT for port:3 for all configured vlans", -1, 0, nullptr, 30, 26},
    {"evt_all_second_pass_fails", evt<-1, 0, 1>, 5, "", "Unable to program EVT for port:3 rc: -106",
     4, -106, nullptr, 30, 26},
    {"flood_second_chip_fails", flood, 2, "", "Unable to program vlan flood mgid rc: -106", 1,
     -106},
    // Groups: VLANs 1 (IIVID 4101) and 2 (4102); VLAN 9 and port 40 unknown; mgid 8100 (1FA4).
    {"group_l2_mgid_upd_unknown_first_vlan", mgid<ard_of_group_l2_mgid_upd>, 2,
     "0:0=5270009 0:40=0 0:48=1000002", "Updated l2 mgid:8100", -1, 0, nullptr, 2, 2, 1,
     bs({{3, 9}, {30, 2}})},
    {"group_l2_mgid_at_most_64_ports", mgid<ard_of_group_l2_mgid_add>, 2,
     "0:8=138 0:48=1000040 0:308=18418000", "l2 mgid:8100 holds 64 ports, the rest left out", -1, 0,
     nullptr, 2, 2, 1, std::vector<Bucket>(70, {3, 1})},
    {"group_l2_mgid_empty", mgid<ard_of_group_l2_mgid_add>, 0, "",
     "Unable to program l2 mgid. empty bucket", -1, -128},
    {"group_l3_mgid", mgid<ard_of_group_l3_mgid_add>, 2,
     "0:8=6C 0:32=3 0:80=184F0000 0:88=0 0:104=0", "Programmed l3 mgid:8100", -1, 0, nullptr, 2, 2,
     1, bs({{3, 1}, {30, 2}, {40, 9}})},
    {"group_l3_mgid_upd_empty", mgid<ard_of_group_l3_mgid_upd>, 0, "",
     " Unable to program l2 mgid. empty bucket", -1, -128},
    {"group_l3_mgid_too_big_for_the_buffer", mgid<ard_of_group_l3_mgid_add>, 0, "",
     "Unable to program l3 mgid:8100 rc: -111", -1, -111, nullptr, 2, 2, 1,
     std::vector<Bucket>(200, {3, 1})},
    {"group_sp_nhop_pvid", nhop<ard_of_group_sp_nhop_add>, 2, "0:40=FB4AABB",
     "Untag Egress egr_ivid:4020", -1, 0, nullptr, 2, 2, 1, bs({{3, 4096}})},
    {"group_sp_nhop_unknown_vlan", nhop<ard_of_group_sp_nhop_add>, 2, "0:40=AABB",
     "Untag Egress egr_ivid:0", -1, 0, nullptr, 2, 2, 1, bs({{3, 9}})},
    {"group_sp_nhop_no_bucket", nhop<ard_of_group_sp_nhop_add>, 2, "0:8=24 0:32=100",
     "Programmed single path nhop:268435461"},
    // Paths: 4101, carried over VLAN 9, port 3's pvid, carried over port 40, then VLAN 2.
    {"group_mp_nhop_weights", nhop<ard_of_group_mp_nhop_add>, 2,
     "0:32=80200 0:104=CCDDEE01 0:164=CCDDEE02 0:184=CCDDEE02", "", -1, 0, nullptr, 2, 2, 1,
     std::vector<Bucket>(3, {3, 1, 3})},
    {"group_mp_nhop_empty", nhop<ard_of_group_mp_nhop_add>, 2, "0:8=C4 0:32=200",
     "Programmed multi path(ecmp) nhop: "},
    {"group_mgid_del", [](of_if_entry*, of_vlan_entry*) { return ard_of_group_mgid_del(kMgid, 0); },
     2, "0:0=527000A 0:8=24 0:28=1FA4", "Deleted mgid:8100"},
    {"group_nhop_del",
     [](of_if_entry*, of_vlan_entry*) { return ard_of_group_nhop_del(kNhop, kNhop); }, 2,
     "0:0=427180D 0:8=28 0:32=1 0:36=10000005", "Deleted nhop id:268435461"},
    {"l2fwd_add", l2fwd_add<0x1001E>, 2, "0:40=40001005 0:64=184F0000 0:68=3000000",
     "Programmed l2exm entry"},
    {"l2fwd_add_unknown_port", l2fwd_add<40>, 2, "0:64=0"},
    {"l2fwd_del", [](of_if_entry*, of_vlan_entry*) { return ard_of_l2fwd_del(0, 4101, kMac); }, 2,
     "0:0=4270802 0:8=30 0:32=1005AABB 0:36=CCDDEEFF", "Delete l2exm entry"},
    // One bulk of instances 0 (at 36) and 1 (at 124), or of their deletes (at 36 and 72).
    {"policer_add", pol_add, 1,
     "0:8=D4 0:32=20000 0:36=9270002 0:68=0 0:72=4000 0:76=1 0:80=23456789 0:112=0 0:116=345 "
     "0:124=9270002 0:160=4000 0:168=23456789 0:200=10000000 0:204=345",
     "pol id:837 rate 4886718345, burst_size 16384"},
    {"policer_upd_is_an_add", pol_upd, 1, "0:8=D4 0:36=9270002 0:124=9270002", "pol id:837"},
    {"policer_add_fails", pol_add, 1, "", "Unable to add pol id:837 rc:-106", 0, -106},
    {"policer_upd_fails", pol_upd, 1, "", "Unable to update pol id:837 rc:-106", 0, -106},
    {"policer_del", pol_del, 1,
     "0:8=6C 0:32=20000 0:36=9270003 0:68=345 0:72=9270003 0:104=10000345", "pol id:837"},
    {"policer_del_fails", pol_del, 1, "", "Unable to del pol id:837", 0, -106},
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
    of_lookups.vlan = [](uint32_t id, of_vlan_view* out) {
      for (const of_vlan_entry& v : g_vlans)
        if (v.vlan_id == id) return *out = {v.iivid, v.mgid}, true;
      return false;
    };
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
  set_group(c.buckets);
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
  // Port and policer requests to the port's chip; VLAN requests to chip 1, then chip 0.
  bool per_port = c.call == enable || c.call == disable || c.call == state || c.call == pol_add ||
                  c.call == pol_upd || c.call == pol_del;
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

TEST_F(ChipEnv, ArdPortHandlersRefuseANullPortOrChip) {
  for (int rc :
       {ard_of_port_enable(nullptr, 0), ard_of_port_disable(nullptr), ard_of_port_state(nullptr, 0),
        ard_of_iivid_add_cfg_ioctl(nullptr), ard_of_vlan_flood_mgid_upd_ioctl(nullptr),
        ard_of_policer_add(nullptr, 1, &kRate), ard_of_policer_del(nullptr, 1)})
    EXPECT_EQ(rc, -128);
  EXPECT_TRUE(hsl().requests.empty());
}

}  // namespace
