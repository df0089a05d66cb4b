// The fixture of flow-engine tests: an `ard` LP in slot 1 with two chips (ports 1-24 on flat chip
// 0, 25-48 on flat chip 1) and a remote chip in slot 2, both chips up, the flow databases and TCAM
// pools made, the fake HSL recording (or the chip model answering). Flow messages are encoded by
// the manager tool's library, so each side checks the other's layout.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "chip_env.h"
#include "flow/flow_engine.h"
#include "flow_invariants.h"
#include "messages.h"
#include "model_hsl.h"

struct of_if_entry;

namespace ofa::test {

// What the engine holds, for "back at baseline" checks.
struct FlowCounts {
  uint32_t flows = 0;         // id table
  uint32_t hw_records = 0;    // flow table
  uint32_t chains = 0;        // action chains
  uint32_t member_lists = 0;  // lists held by a record or a chain
  uint32_t l2_ids = 0;        // TCAM handles in use
  uint32_t l3_ids = 0;
  uint32_t tree_nodes = 0;  // chip flow-tree entries, all chips
  bool operator==(const FlowCounts&) const = default;
};

class FlowEnv : public ChipEnv {
 protected:
  void SetUp() override { start(false); }
  // Every case ends with tables that agree with each other.
  void TearDown() override {
    EXPECT_EQ(flow_invariants(), std::vector<std::string>{});
    ChipEnv::TearDown();
    model_.reset();
  }
  // With `with_model`, the chip model of ofa-chipsim answers the requests instead of the fake HSL.
  void start(bool with_model);

  static of_if_entry* port(uint16_t id, uint32_t slot, uint32_t fp, bool l3 = false,
                           bool enabled = true) {
    return add_port(id, slot, fp, l3, enabled);
  }
  // A version 4 flow add of `id` on `in_port` (65535: generic) with one output to port 5, an
  // OpenFlow L2 port of flat chip 0 in every case.
  static mgr::FlowMsg flow(uint32_t id, uint32_t priority, uint16_t in_port);
  static std::vector<uint8_t> bytes(const mgr::FlowMsg& m);
  static int add(const mgr::FlowMsg& m) { return openflow_generic_mode_add_flow(bytes(m)); }
  static int add_prefix(mgr::FlowMsg m);
  static int modify(mgr::FlowMsg m, int prefix = 0);
  static int remove(uint32_t id);
  static std::string reply() { return of_get_lp_message(); }
  static FlowCounts counts();
  static std::vector<uint32_t> commands() { return hsl().commands(); }

  std::unique_ptr<ModelHsl> model_;
};

}  // namespace ofa::test
