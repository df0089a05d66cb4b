// Port catch-alls on `ard`, whose family has no port slots: what the records hold after adds and
// removals, the mask walk stopping at a port already programmed, and the records' bounds.
#include <gtest/gtest.h>

#include <set>
#include <tuple>
#include <vector>

#include "adapter/catchall.h"
#include "chip_env.h"
#include "ports/port_catchall.h"
#include "ports/port_mask.h"

namespace {

using ofa::test::ChipEnv;
constexpr uint32_t kNone = OF_CATCHALL_NO_HANDLE;

struct Record {
  uint16_t port;
  uint16_t flags;
  uint32_t l2, l3;
};

struct AddCase {
  const char* name;
  std::vector<uint16_t> mask;
  std::set<uint16_t> programmed;  // marked before the add
  int answer;
  std::vector<Record> records;  // by port; port 9 has no interface entry
};
void PrintTo(const AddCase& c, std::ostream* os) {
  *os << c.name;
}

of_port_mask mask_of(const std::vector<uint16_t>& ports) {
  of_port_mask m;
  for (uint16_t p : ports)
    set_mask_bit(&m, p);
  return m;
}

of_catchall_port* record(uint16_t port) {
  return lp_openflow_port_entry(port - 1);
}

// Ports 3 (L2), 5 (L3) and 7 (hybrid) of chip 0.
class Catchall : public ChipEnv {
 protected:
  void SetUp() override {
    ChipEnv::SetUp();
    ASSERT_EQ(chip_up(1, 0), 0);
    for (uint16_t p : {3, 5, 7})
      ASSERT_NE(ofProcessPortAdd(ofa::platform::port_ifindex(1, p), "p", p), nullptr);
    ofLookupIfEntrybyPortId(5)->of_l3_type = 1;
    ofLookupIfEntrybyPortId(7)->of_hybrid = 1;
    hsl().requests.clear();
  }
};

class CatchallAdd : public Catchall, public ::testing::WithParamInterface<AddCase> {};

TEST_P(CatchallAdd, RecordsWithoutChipRequests) {
  const AddCase& c = GetParam();
  for (uint16_t p : c.programmed)
    record(p)->flags |= OF_CATCHALL_VALID;
  of_port_mask m = mask_of(c.mask);
  EXPECT_EQ(lp_cam_add_openflow_catchall_cams(&m), c.answer);
  for (const Record& want : c.records) {
    const of_catchall_port* got = record(want.port);
    EXPECT_EQ(std::make_tuple(got->flags, got->l2_catchall_handle, got->l3_catchall_handle),
              std::make_tuple(want.flags, want.l2, want.l3))
        << want.port;
  }
  EXPECT_TRUE(hsl().requests.empty());
}

constexpr uint16_t kValid = OF_CATCHALL_VALID;
const AddCase kAdds[] = {
    {"by_kind",
     {3, 5, 7, 9},
     {},
     1,
     {{3, kValid, 3, kNone},
      {5, kValid, kNone, 5},
      {7, kValid, kNone, kNone},
      {9, 0, kNone, kNone}}},
    {"stops_at_programmed",
     {3, 5, 7},
     {5},
     0,
     {{3, kValid, 3, kNone}, {5, kValid, kNone, kNone}, {7, 0, kNone, kNone}}},
    {"empty_mask", {}, {}, 1, {{3, 0, kNone, kNone}}},
};
INSTANTIATE_TEST_SUITE_P(Masks, CatchallAdd, ::testing::ValuesIn(kAdds),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(Catchall, RemovalDropsHandlesAndKeepsTheMarkUntilReset) {
  of_port_mask m = mask_of({3, 5});
  ASSERT_EQ(lp_cam_add_openflow_catchall_cams(&m), 1);
  ofLookupIfEntrybyPortId(3)->dflt_entries[0] = 1;
  EXPECT_EQ(lp_cam_rem_openflow_catchall_cams(3), 1);
  EXPECT_EQ(lp_cam_rem_openflow_catchall_cams(9), 0);  // no interface entry
  EXPECT_EQ(ofLookupIfEntrybyPortId(3)->dflt_entries[0], 0);
  lp_cam_rem_openflow_catchall_cams_for_portmask(nullptr);
  for (uint16_t p : {3, 5})
    EXPECT_EQ(std::make_tuple(record(p)->flags, record(p)->l2_catchall_handle,
                              record(p)->l3_catchall_handle),
              std::make_tuple(kValid, kNone, kNone));
  EXPECT_EQ(lp_cam_add_openflow_catchall_cams(&m), 0);  // still marked
  lp_openflow_reset_port_default_cams(record(3));
  lp_openflow_reset_port_default_cams(record(5));
  EXPECT_EQ(lp_cam_add_openflow_catchall_cams(&m), 1);
  EXPECT_TRUE(hsl().requests.empty());
}

TEST(CatchallRecords, IndexOutsideThePortDatabaseHasNone) {
  for (int32_t index : {-1, 289, 100000})
    EXPECT_EQ(lp_openflow_port_entry(index), nullptr) << index;
  EXPECT_EQ(lp_openflow_port_entry(288), &g_openflow_portdb_lp[288]);
}

}  // namespace
