// The group base and its hardware on `ard` against the fake HSL, two chips: the request orders
// and refusals the group scenarios (tests/integration/groups, one chip, counts and traces) do not
// show, and what stays (groups, pool elements, L2 forwarding entries); the pools' exact limits;
// the counters; the L2 forwarding table's users. Messages come from the manager tool's encoder.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "chip/chip_req.h"
#include "chip/engine_lookups.h"
#include "codec.h"
#include "flow_env.h"
#include "foundation/generic_pool.h"
#include "groups_meters/group_db.h"
#include "groups_meters/l2fwd_table.h"
#include "ports/vlan_table.h"

namespace {

namespace mgr = ofa::mgr;
using ofa::test::TraceCapture;

constexpr uint16_t kAdd = OFM_ADD_GROUP, kMod = OFM_MODIFY_GROUP, kDel = OFM_DELETE_GROUP;
constexpr uint32_t kAll = OF_LP_GROUP_ALL, kSel = OF_LP_GROUP_SELECT, kInd = OF_LP_GROUP_INDIRECT,
                   kFf = OF_LP_GROUP_FAST_FAILOVER;

// Bucket to `port` under `vlan` with MAC 02:00:00:00:00:n.
mgr::GroupBucket b(uint16_t port, uint32_t vlan, uint8_t n) {
  return {port, vlan, {2, 0, 0, 0, 0, n}};
}
mgr::GroupMsg grp(uint16_t sub, uint32_t id, uint32_t type, std::vector<mgr::GroupBucket> bs = {},
                  uint32_t mgid = 8100, uint32_t all_type = 0) {
  mgr::GroupMsg m;
  m.sub_type = sub;
  m.group_id = id;
  m.type = type;
  m.all_type = all_type;
  m.mgid = mgid;
  m.nhopid = 0x10000000 + id;
  m.buckets = std::move(bs);
  return m;
}
int run(std::span<const uint8_t> body) {
  static int (*const ops[])(const of_group_msg&) = {lp_openflow_generic_add_group,
                                                    lp_openflow_generic_modify_group,
                                                    lp_openflow_generic_del_group};
  of_group_msg m;
  EXPECT_TRUE(of_group_msg_read(body, &m));
  return ops[m.sub_type - OFM_ADD_GROUP](m);
}
int run(const mgr::GroupMsg& m) {
  auto body = mgr::encode_body(m);
  EXPECT_TRUE(body.ok());
  return run(body.value());
}

// IIVIDs of the L2 forwarding entries, in the table's order.
std::vector<uint32_t> entries() {
  std::vector<uint32_t> out;
  for (of_ivid_mac_entry* e = of_get_first_ivid_mac(); e; e = of_get_next_ivid_mac(e))
    out.push_back(e->iivid);
  return out;
}

// Buckets held by the groups of the base.
uint32_t buckets_held() {
  uint32_t n = 0;
  for (group_node* g = of_lp_group_get_first_group_entry(); g;
       g = of_lp_group_get_next_group_entry_key(g->group_id))
    n += g->bucket_count;
  return n;
}

// VLAN 100 at IIVID 4010, 200 at 4020; port 3 (chip 0) with pvid 4030, port 5; port 40 unknown.
class Groups : public ofa::test::FlowEnv {
 protected:
  void SetUp() override {
    FlowEnv::SetUp();
    ofa::test::set_test_iivids();
    ASSERT_EQ(openflow_vlan_init(), 0);
    of_process_vlan_add(100, 4010, 8010);
    of_process_vlan_add(200, 4020, 8020);
    port(3, 1, 3)->pvid = 4030;
    ASSERT_EQ(openflow_lp_group_init(), 1);
    ASSERT_EQ(of_init_ivid_mac_table(), 0);
    hsl().requests.clear();
  }
  // Every element taken is held by a group of the base.
  static void expect_pools_exact() {
    EXPECT_EQ(generic_get_pool_allocated_number(of_lp_group_pool()), of_lp_group_get_group_count());
    EXPECT_EQ(generic_get_pool_allocated_number(of_lp_bucket_pool()), buckets_held());
  }
};

// ---- operations, table-driven ------------------------------------------------------------------

struct Case {
  const char* name;
  std::vector<mgr::GroupMsg> before;
  mgr::GroupMsg msg;
  int result;
  std::vector<uint32_t> commands;  // of msg
  std::set<size_t> fail = {};      // of msg's requests, refused
  const char* words = "";
  uint32_t groups = 1;
  std::vector<uint32_t> entries = {};  // IIVIDs of the forwarding entries after
};
void PrintTo(const Case& c, std::ostream* os) {
  *os << c.name;
}

constexpr uint32_t MA = OF_CMD_MGID_ADD, MD = OF_CMD_MGID_DEL, NA = OF_CMD_NHOP_ADD,
                   ND = OF_CMD_NHOP_DEL, LA = OF_CMD_L2FWD_ADD, LD = OF_CMD_L2FWD_DEL;
std::vector<uint32_t> x(std::initializer_list<std::pair<uint32_t, int>> runs) {
  std::vector<uint32_t> out;
  for (auto [cmd, n] : runs)
    out.insert(out.end(), n, cmd);
  return out;
}
const mgr::GroupMsg kAllL2 = grp(kAdd, 1, kAll, {b(3, 100, 1), b(5, 200, 2), b(40, 100, 3)});
const mgr::GroupMsg kSel2 = grp(kAdd, 1, kSel, {b(3, 100, 1), b(3, 100, 2)});
const mgr::GroupMsg kInd1 = grp(kAdd, 1, kInd, {b(3, 100, 1)});
const mgr::GroupMsg kInd2 = grp(kAdd, 2, kInd, {b(5, 100, 1)});

const Case kCases[] = {
    {"all_l2_one_mgid_add_per_chip",
     {},
     kAllL2,
     1,
     x({{MA, 2}}),
     {},
     "Call DPX func Group id:1 mgid:8100"},
    // Bucket 2's unknown VLAN carries 4010 over; bucket 3's VLAN 4096 takes port 3's pvid.
    {"indirect_entry_keys",
     {},
     grp(kAdd, 1, kInd, {b(3, 100, 1), b(5, 999, 2), b(3, 4096, 3)}),
     1,
     x({{NA, 2}, {LA, 6}}),
     {},
     "",
     1,
     {4010, 4010, 4030}},
    {"fast_failover_delete_ignores_a_refused_next_hop",
     {grp(kAdd, 1, kFf, {b(3, 100, 1)})},
     grp(kDel, 1, kFf),
     1,
     {ND},
     {0},
     "Ignore Ioctl failure to delete nhop index",
     0},
    {"modify_select_moves_the_entries",
     {kSel2},
     grp(kMod, 1, kSel, {b(3, 100, 2), b(3, 100, 3)}),
     1,
     x({{LD, 4}, {NA, 2}, {LA, 4}}),
     {},
     "",
     1,
     {4010, 4010}},
    {"last_user_goes_with_the_entry",
     {kInd1, kInd2, grp(kDel, 1, kInd)},
     grp(kDel, 2, kInd),
     1,
     x({{ND, 2}, {LD, 2}}),
     {},
     "",
     0},
    {"second_chip_refuses_the_add",
     {},
     kAllL2,
     0,
     x({{MA, 2}}),
     {1},
     "Unable to program group for chip:2 group_id:1 rc:-106"},
    {"mgid_delete_refused_keeps_the_group",
     {kAllL2},
     grp(kDel, 1, kAll),
     0,
     {MD},
     {0},
     "GROUP 1 deletion failed in hardware"},
    {"delete_all_goes_on_past_a_refusal",
     {kAllL2, kInd2},
     grp(kDel, OF_GROUP_ID_ALL, kAll),
     1,
     x({{MD, 1}, {ND, 2}, {LD, 2}}),
     {0},
     "lp_openflow_generic_del_group_all success",
     0},
};

class GroupOps : public Groups, public ::testing::WithParamInterface<Case> {};

TEST_P(GroupOps, RequestsAndWhatStays) {
  const Case& c = GetParam();
  for (const mgr::GroupMsg& m : c.before)
    run(m);
  hsl().requests.clear();
  hsl().fail = c.fail;
  hsl().fail_status = OFA_E_CHIP;
  TraceCapture printed;
  EXPECT_EQ(run(c.msg), c.result);
  EXPECT_TRUE(printed.has(c.words)) << printed.text();
  EXPECT_EQ(hsl().commands(), c.commands);
  EXPECT_EQ(of_lp_group_get_group_count(), c.groups);
  EXPECT_EQ(entries(), c.entries);
  expect_pools_exact();
}

INSTANTIATE_TEST_SUITE_P(Messages, GroupOps, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- pools, counters --------------------------------------------------------------------------

// Modifies refused by the chip give their old record back: after 1000 of them, 1024 groups fit,
// and the 1025th does not.
TEST_F(Groups, PoolLimitsStayExact) {
  ASSERT_EQ(run(grp(kAdd, 1, kAll, {b(3, 100, 1)})), 1);
  hsl().fail_if = [](size_t) { return true; };
  for (int i = 0; i < 1000; ++i)
    ASSERT_EQ(run(grp(kMod, 1, kAll, {b(3, 100, 1)})), 0);
  hsl().fail_if = nullptr;
  for (uint32_t id = 2; id <= OF_GROUP_POOL_LIMIT; ++id)
    ASSERT_EQ(run(grp(kAdd, id, kAll, {b(3, 100, 1)})), 1) << id;
  TraceCapture printed;
  EXPECT_EQ(run(grp(kAdd, 1025, kAll, {b(3, 100, 1)})), 0);
  EXPECT_TRUE(printed.has("group_node is NULL, Memory allocation failed")) << printed.text();
  EXPECT_EQ(of_lp_group_get_group_count(), OF_GROUP_POOL_LIMIT);
  expect_pools_exact();
}

// 65 groups of 1000 buckets hold 65000; the 66th runs the bucket pool dry and gives back the
// buckets it took.
TEST_F(Groups, BucketsTakenBeforeThePoolRunsDryGoBack) {
  std::vector<uint8_t> body(OF_GROUP_BUCKETS_OFFSET + 1000 * OF_GROUP_BUCKET_SIZE);
  ofa::wire::Writer w(body.data(), body.size());
  w.u32_at(0, OFM_ADD_GROUP);
  w.u32_at(12, 1000);
  w.u32_at(24, kFf);  // no chip request
  for (uint32_t id = 1; id <= 66; ++id) {
    w.u32_at(8, id);
    run(body);
  }
  EXPECT_EQ(of_lp_group_get_group_count(), 65u);
  expect_pools_exact();
}

// The per-type counters count insertions (a modify again) and never go down; a delete of all
// starts a new base. A modify keeps the carried fields; the backends' lookup reads the base.
TEST_F(Groups, CountersCarriedFieldsAndLookup) {
  run(grp(kAdd, 1, kSel, {b(3, 100, 1)}));
  run(grp(kAdd, 2, kInd, {b(3, 100, 2)}));
  run(grp(kDel, 1, kSel));
  of_lp_retrieve_group_from_groupbase(2)->carried_word = 77;
  of_lp_retrieve_group_from_groupbase(2)->carried_half = 5;
  run(grp(kMod, 2, kInd, {b(3, 100, 3)}));
  const of_group_base* base = of_lp_group_get_base();
  EXPECT_EQ(std::tuple(base->select, base->indirect, base->total), std::tuple(1u, 2u, 1u));
  const group_node* g = of_lp_retrieve_group_from_groupbase(2);
  EXPECT_EQ(std::tuple(g->carried_word, g->carried_half), std::tuple(77u, 5));
  of_group_view v;
  ASSERT_TRUE(of_lookup_group_view(2, &v));
  EXPECT_EQ(v.nhopid, 0x10000002u);
  EXPECT_FALSE(of_lookup_group_view(1, &v));
  EXPECT_EQ(lp_openflow_generic_del_group_all(), 1);
  base = of_lp_group_get_base();
  EXPECT_EQ(base->select + base->indirect + base->total, 0u);
}

// ---- the L2 forwarding table -------------------------------------------------------------------

// The chip hears of an entry's first user and of its last user's going, and an entry keeps its
// first user's port; a refused add keeps the entry, a refused delete has dropped it already.
TEST_F(Groups, ForwardingEntryUsers) {
  struct Step {
    uint32_t group;  // adds with port 3 (group 1) or 5, deletes with `del`
    bool del;
    uint32_t iivid;
    int rc;
    size_t requests;  // both chips, or the first one refusing
    uint32_t entries;
  };
  const Step steps[] = {{1, false, 4010, 0, 2, 1},          {2, false, 4010, 0, 0, 1},
                        {3, true, 4010, 0, 0, 1},           {1, true, 4010, -100, 0, 1},
                        {2, true, 4010, 0, 2, 0},           {2, true, 4010, -105, 0, 0},
                        {1, false, 0x80000000, -106, 1, 1}, {1, true, 0x80000000, -106, 1, 0}};
  hsl().fail_status = OFA_E_CHIP;
  const of_mac mac{2, 0, 0, 0, 0, 1};
  for (const Step& s : steps) {
    hsl().requests.clear();
    hsl().fail = s.iivid == 0x80000000 ? std::set<size_t>{0} : std::set<size_t>{};
    int rc = s.del ? of_process_of_del_l2fwd_entry(s.group, s.iivid, mac, 0)
                   : of_process_of_add_l2fwd_entry(s.group, s.iivid, mac, s.group == 1 ? 3 : 5);
    EXPECT_EQ(std::tuple(rc, hsl().requests.size(), of_get_ivid_mac_count()),
              std::tuple(s.rc, s.requests, s.entries))
        << s.group << (s.del ? " del" : " add");
    if (s.group == 2 && !s.del) {
      EXPECT_EQ(of_lookup_of_ivid_mac(4010, mac)->port_id, 3u);
    }
  }
}

// Entries by IIVID as unsigned, then MAC; a family without the handlers keeps them unsent.
TEST_F(Groups, ForwardingEntriesOrderAndNoHandler) {
  openflowAgtPcb.model = 1004;  // zim
  TraceCapture printed;
  for (auto [iivid, last] : {std::pair{0x80000000u, 1}, {4010u, 9}, {4010u, 2}, {5u, 7}})
    EXPECT_EQ(of_process_of_add_l2fwd_entry(1, iivid, {2, 0, 0, 0, 0, uint8_t(last)}, 3), -128);
  EXPECT_TRUE(printed.has("no handler for chip:1")) << printed.text();
  EXPECT_TRUE(hsl().requests.empty());
  std::vector<uint32_t> macs;
  for (of_ivid_mac_entry* e = of_get_first_ivid_mac(); e; e = of_get_next_ivid_mac(e))
    macs.push_back(e->mac[5]);
  EXPECT_EQ(entries(), (std::vector<uint32_t>{5, 4010, 4010, 0x80000000}));
  EXPECT_EQ(macs, (std::vector<uint32_t>{7, 2, 9, 1}));
}

}  // namespace
