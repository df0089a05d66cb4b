// The ports engine on `ard` against the fake HSL: a port's field column after enable, disable,
// link changes and a second add; the mask walk; VLAN and port-VLAN messages on the tables; a port
// leaving the interface table leaves every VLAN.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <vector>

#include "agent/trace.h"
#include "chip/chip_req.h"
#include "chip_env.h"
#include "codec.h"
#include "foundation/avl_tree.h"
#include "ports/port_lifecycle.h"
#include "ports/vlan_table.h"

namespace {

using ofa::test::ChipEnv;

// The case tables' rows print as their names.
template <typename Case>
requires requires(const Case& c) {
  c.name;
}
void PrintTo(const Case& c, std::ostream* os) {
  *os << c.name;
}

constexpr uint32_t kVpnL2 = 0xffe01, kVpnL3 = 0xffe02;
constexpr uint32_t kTrailBits = 0xE0000000;

of_port_config config(std::vector<uint16_t> ports, bool l3 = false) {
  of_port_config cfg;
  for (uint16_t p : ports) {
    set_mask_bit(&cfg.ports, p);
    if (l3) set_mask_bit(&cfg.l3_ports, p);
  }
  cfg.pvid = 4020;
  uint16_t first = ports.empty() ? 1 : ports[0];
  cfg.if_index = ofa::platform::port_ifindex(1, first <= 24 ? first : 1);  // a port of the chip
  cfg.def_nhop_id = 11;
  return cfg;
}

// Port ids of a VLAN's member tree in its order; empty for an unknown VLAN.
std::vector<uint16_t> members(uint32_t vlan_id) {
  std::vector<uint16_t> out;
  of_vlan_entry* v = of_lookup_vlan(vlan_id);
  if (!v) return out;
  for (avl_node* n = avl_getfirst(v->port_tree); n; n = avl_getnext(v->port_tree, n))
    out.push_back(static_cast<of_if_entry*>(n->info)->port_id);
  return out;
}

// A VLAN or port-VLAN message body from the manager tool's encoder: `first` (iivid or port_id)
// at 8, vlan_id at 12.
std::vector<uint8_t> vlan_msg(uint32_t first, uint32_t vlan_id) {
  return ofa::mgr::encode_body(ofa::mgr::VlanMsg{0, first, vlan_id}).value();
}

// One chip in slot 1 (ports 1-24), IIVIDs 4000-4999 and mgids from 8000, the VLAN tables made.
class Ports : public ChipEnv {
 protected:
  void SetUp() override {
    ChipEnv::SetUp();
    ofa::test::set_test_iivids();
    ASSERT_EQ(chip_up(1, 0), 0);
    ASSERT_EQ(openflow_vlan_init(), 0);
  }
  static of_if_entry* make(uint16_t p) {
    return ofProcessPortAdd(ofa::platform::port_ifindex(1, p), "p", p);
  }
};

// ---- the lifecycle's field column -------------------------------------------------------------

enum Step { kAddL2, kAddL3, kDisable, kOffline, kOnline };

struct Column {
  uint32_t l3_mode, lrn, rx_fwd, tx_en, mac_cls, typ_cls, pvid, ppid, vpnid, nhop, lldp, l2ctrl;
  uint32_t iivid_min, iivid_max, enabled, l3_type;
  bool operator==(const Column&) const = default;
};
Column column_of(const of_if_entry* e) {
  return {e->l3_mode,        e->lrn,          e->rx_fwd,    e->tx_en,     e->is_mac_cls,
          e->is_typ_cls,     e->pvid,         e->ppid,      e->vpnid,     e->of_def_nhop_id,
          e->lldp_vlan_ovrd, e->l2_ctrl_ovrd, e->iivid_min, e->iivid_max, e->of_enabled,
          e->of_l3_type};
}

constexpr Column kEnabledL2{0, 0, 1, 1, 0, 0, 4020, 7, kVpnL2, 11, 0, 0, 4000, 4999, 1, 0};
constexpr Column kEnabledL3{1, 0, 1, 1, 0, 0, 4020, 7, kVpnL3, 11, 0, 0, 4000, 4999, 1, 1};
constexpr Column kDisabled{0, 0, 0, 0, 1, 1, 4004, 0, 0, 11, 1, 1, 4000, 4999, 0, 0};

struct LifeCase {
  const char* name;
  std::vector<Step> steps;
  Column want;
  uint16_t count;                  // of_port_count
  size_t in_pseudo;                // times port 3 stands in the pseudo-VLAN's tree
  std::vector<uint32_t> commands;  // chip requests of the last step
  std::set<size_t> fail = {};      // of the last step's requests, refused
  const char* words = "";          // printed by the last step
};

Column with(Column c, uint32_t Column::*field, uint32_t v) {
  c.*field = v;
  return c;
}

class Lifecycle : public Ports, public ::testing::WithParamInterface<LifeCase> {};

TEST_P(Lifecycle, FieldColumnCountAndPseudoVlan) {
  const LifeCase& c = GetParam();
  std::string out;
  for (Step s : c.steps) {
    of_if_entry* e = ofLookupIfEntrybyPortId(3);
    hsl().requests.clear();
    hsl().fail = c.fail;
    out = printed([&] {
      if (s == kAddL2 || s == kAddL3) openflow_lp_interface_config(1, config({3}, s == kAddL3));
      if (s == kDisable) openflow_lp_interface_config_del(3);
      if (s == kOffline) openflow_lp_port_offline(e, 0);
      if (s == kOnline) openflow_lp_port_online(e, 0);
    });
  }
  EXPECT_NE(out.find(c.words), std::string::npos) << out;
  of_if_entry* e = ofLookupIfEntrybyPortId(3);
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(column_of(e), c.want);
  EXPECT_EQ(of_port_count, c.count);
  auto in = members(OF_ALL_PORTS_VLAN);
  EXPECT_EQ(static_cast<size_t>(std::count(in.begin(), in.end(), 3)), c.in_pseudo);
  EXPECT_EQ(hsl().commands(), c.commands);
}

// Enable or disable: the port's bulk, its translations (the pseudo-VLAN), the pseudo-VLAN's
// flood group.
const std::vector<uint32_t> kPortChange{OF_CMD_BULK, OF_CMD_PORT_VLAN_CFG, OF_CMD_MGID_ADD};
const std::vector<uint32_t> kLink{OF_CMD_PORT_VLAN_CFG};

INSTANTIATE_TEST_SUITE_P(
    Steps, Lifecycle,
    ::testing::Values(
        LifeCase{"l2_after_l3_keeps_type_and_joins_again",
                 {kAddL3, kAddL2},
                 with(kEnabledL2, &Column::l3_type, 1),
                 1,
                 2,
                 kPortChange},
        LifeCase{"enable_again_as_l3", {kAddL2, kDisable, kAddL3}, kEnabledL3, 1, 1, kPortChange},
        LifeCase{"disable", {kAddL2, kDisable}, kDisabled, 0, 0, kPortChange},
        LifeCase{"offline", {kAddL2, kOffline}, with(kEnabledL2, &Column::tx_en, 0), 1, 1, kLink},
        LifeCase{"online", {kAddL2, kOffline, kOnline}, kEnabledL2, 1, 1, kLink},
        LifeCase{"refused_enable_stops_nothing_after_it",
                 {kAddL2},
                 kEnabledL2,
                 1,
                 1,
                 {OF_CMD_BULK, OF_CMD_MGID_ADD},
                 {0},
                 "Unable to enable port for chip 2, port 3 rc: -106"}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- the mask walk ----------------------------------------------------------------------------

struct WalkCase {
  const char* name;
  uint8_t add;
  std::vector<uint16_t> mask;
  std::vector<uint16_t> before;  // entries made first
  std::vector<uint16_t> after;   // entries afterwards, highest first
};

class Walk : public Ports, public ::testing::WithParamInterface<WalkCase> {};

TEST_P(Walk, FirstPhysicalPortWithEntryOnly) {
  const WalkCase& c = GetParam();
  for (uint16_t p : c.before)
    ASSERT_NE(make(p), nullptr);
  debugOpenflow &= ~kTrailBits;
  openflow_lp_interface_config(c.add, config(c.mask));
  EXPECT_EQ(debugOpenflow & kTrailBits, kTrailBits);
  std::vector<uint16_t> got;
  avl_node* it = nullptr;
  for (of_if_entry* e = of_get_first_port(&it); e; e = of_get_next_port(&it))
    got.push_back(e->port_id);
  EXPECT_EQ(got, c.after);
}

// The test platform has 96 ports: ids up to 96 are physical.
INSTANTIATE_TEST_SUITE_P(
    Masks, Walk,
    ::testing::Values(WalkCase{"add_highest_port", 1, {96}, {}, {96}},
                      WalkCase{"add_past_the_physical_ports", 1, {97}, {}, {}},
                      WalkCase{"empty_mask", 1, {}, {7}, {7}},
                      WalkCase{"delete_walks_past_a_port_without_entry", 0, {3, 5}, {5, 7}, {7}}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- VLAN tables ------------------------------------------------------------------------------

enum Op { kAddVlan, kDelVlan, kAddPort, kDelPort };
struct MsgStep {
  Op op;
  uint32_t first;  // iivid or port
  uint32_t vlan;
  int result;
};
struct MemberCase {
  const char* name;
  std::vector<MsgStep> steps;
  std::vector<uint16_t> members;   // of VLAN 100 afterwards
  uint32_t memberships;            // port-VLAN records
  std::vector<uint32_t> commands;  // chip requests of the steps
};

class Members : public Ports, public ::testing::WithParamInterface<MemberCase> {};

// VLAN 100 (IIVID 4010) and ports 3 and 5 exist; port 9 has no entry.
TEST_P(Members, TablesAfterMessages) {
  const MemberCase& c = GetParam();
  ASSERT_NE(make(5), nullptr);
  ASSERT_NE(make(3), nullptr);
  ASSERT_EQ(lp_process_add_vlan(vlan_msg(4010, 100)), 1);
  hsl().requests.clear();
  for (const MsgStep& s : c.steps) {
    auto m = vlan_msg(s.first, s.vlan);
    int r = s.op == kAddVlan   ? lp_process_add_vlan(m)
            : s.op == kDelVlan ? lp_process_del_vlan(m)
            : s.op == kAddPort ? lp_process_add_port_vlan(m)
                               : lp_process_del_port_vlan(m);
    EXPECT_EQ(r, s.result) << s.op << " " << s.first << " " << s.vlan;
  }
  EXPECT_EQ(members(100), c.members);
  EXPECT_EQ(of_get_port_vid_count(), c.memberships);
  EXPECT_EQ(hsl().commands(), c.commands);
}

constexpr uint32_t kFlood = OF_CMD_MGID_ADD;
// A VLAN added or removed: partition on rte 0 and 1, the ports' egress rows, vid-to-mgid.
const std::vector<uint32_t> kVlanChange{OF_CMD_PARTITION_ID, OF_CMD_PARTITION_ID, OF_CMD_BULK,
                                        OF_CMD_VID_TO_MGID};

INSTANTIATE_TEST_SUITE_P(
    Messages, Members,
    ::testing::Values(
        MemberCase{"add_vlan", {{kAddVlan, 4020, 200, 1}}, {}, 0, kVlanChange},
        MemberCase{"by_interface_index",
                   {{kAddPort, 5, 100, 1}, {kAddPort, 3, 100, 1}},
                   {3, 5},
                   2,
                   {kFlood, kFlood}},
        MemberCase{"delete_takes_one_occurrence",
                   {{kAddPort, 3, 100, 1}, {kAddPort, 3, 100, 1}, {kDelPort, 3, 100, 1}},
                   {3},
                   0,
                   {kFlood, kFlood, kFlood}},
        MemberCase{"delete_of_absent_membership", {{kDelPort, 3, 100, 1}}, {}, 0, {kFlood}},
        MemberCase{
            "vlan_delete_keeps_memberships",
            {{kAddPort, 3, 100, 1}, {kDelVlan, 0, 100, 1}, {kDelVlan, 0, 100, 0}},
            {},
            1,
            {kFlood, OF_CMD_PARTITION_ID, OF_CMD_PARTITION_ID, OF_CMD_BULK, OF_CMD_VID_TO_MGID}},
        MemberCase{"port_id_high_bits_ignored_for_the_lookup",
                   {{kAddPort, 0x10003, 100, 1}},
                   {3},
                   1,
                   {kFlood}}),
    [](const auto& info) { return std::string(info.param.name); });

// The entry of a port that leaves the interface table stays in no VLAN, however often it joined;
// the pseudo-VLAN pointer goes with its record.
TEST_F(Ports, NothingKeepsAPortOrAVlanThatWent) {
  ASSERT_EQ(lp_process_add_vlan(vlan_msg(4010, 100)), 1);
  openflow_lp_interface_config(1, config({3}));
  openflow_lp_interface_config(1, config({3}));
  ASSERT_EQ(lp_process_add_port_vlan(vlan_msg(3, 100)), 1);
  ASSERT_EQ(lp_process_add_port_vlan(vlan_msg(3, 100)), 1);
  ofProcessPortDelete(0, 3);
  EXPECT_EQ(members(100), std::vector<uint16_t>{});
  EXPECT_EQ(members(OF_ALL_PORTS_VLAN), std::vector<uint16_t>{});
  ASSERT_EQ(lp_process_del_vlan(vlan_msg(0, OF_ALL_PORTS_VLAN)), 1);
  EXPECT_EQ(of_ofpp_all_of_vlan_p, nullptr);
  EXPECT_EQ(openflow_lp_interface_config(1, config({5})), 0);  // no pseudo-VLAN to join
  openflow_lp_dpx_del_all();
  EXPECT_EQ(std::pair(of_get_vlan_count(), of_get_port_vid_count()), std::pair(0u, 0u));
}

}  // namespace
