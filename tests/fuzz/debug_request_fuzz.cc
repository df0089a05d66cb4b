// Show requests and debug texts over populated tables: two chips of slot 1 up, ports 3 (L2), 5
// (L2) and 30 (L3), VLAN 100 with ports 3 and 5, flows on each port kind, a generic one and one to
// the controller, a next-hop group with its L2 forwarding entry, a meter, an EVT record. Byte 0 of
// the input chooses a show request (even) or a debug text (odd); the rest is the text. Every show
// reply ends with a newline, and no show or debug text changes a table.
#include <cstddef>
#include <cstdint>
#include <string>

#include "adapter/tcam_id_pool.h"
#include "agent/agent_globals.h"
#include "agent/flow_record.h"
#include "agent/trace.h"
#include "agent_reset.h"
#include "chip/chip_table.h"
#include "chip/if_table.h"
#include "codec.h"
#include "debug/debug_handler.h"
#include "flow/flow_engine.h"
#include "flow/flow_table.h"
#include "flow_env.h"
#include "foundation/avl_tree.h"
#include "groups_meters/group_db.h"
#include "groups_meters/l2fwd_table.h"
#include "groups_meters/meter.h"
#include "ports/evt.h"
#include "ports/vlan_table.h"
#include "tool_checks.h"

namespace {

using ofa::fuzz::check;

// The flow fixture's flow messages (the fixture is a test case: gtest is linked for it).
struct Flows : ofa::test::FlowEnv {
  using FlowEnv::add;
  using FlowEnv::flow;
};

void add_flow(uint32_t id, uint16_t in_port, uint16_t out_port) {
  ofa::mgr::FlowMsg m = Flows::flow(id, id * 10, in_port);
  m.rule_kind = 3;
  m.members[0].out_port_id = out_port;
  check(Flows::add(m) == 1);
}

// What the tables hold, in numbers.
std::string tables() {
  std::string s =
      std::to_string(openflow_flow_count()) + "/" + std::to_string(of_flow_table_count()) + "/" +
      std::to_string(of_get_vlan_count()) + "/" + std::to_string(of_get_port_count()) + "/" +
      std::to_string(of_lp_group_get_group_count()) + "/" +
      std::to_string(of_lp_meter_get_meter_count()) + "/" + std::to_string(of_get_ivid_mac_count());
  avl_node* it = nullptr;
  for (of_chip_entry* c = ofGetFirstChip(&it); c; c = ofGetNextChip(&it))
    s += "/" + std::to_string(avl_get_tree_size(c->l2_flow_tree)) + "," +
         std::to_string(avl_get_tree_size(c->l3_flow_tree));
  return s;
}

std::string g_tables;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  ofa::test::reset_agent({.chips = 2});
  ofa::test::set_test_iivids();
  check(openflow_lp_init_tcam_id_pool() == 1);
  check(openflow_flow_db_init() == 1);
  check(openflow_vlan_init() == 0);
  g_openflow_lp.mode = OFA_MODE_GENERIC;
  for (uint32_t local : {0u, 1u})
    check(ofa::test::chip_up(1, local) == 0);
  of_if_entry* p3 = ofa::test::add_port(3, 1, 3);
  of_if_entry* p5 = ofa::test::add_port(5, 1, 5);
  check(p3 && p5 && ofa::test::add_port(30, 1, 30, true));
  of_vlan_entry* v = of_process_vlan_add(100, 4010, 8010);
  check(v != nullptr);
  of_process_add_port_to_vlan(p3, v);
  of_process_add_port_to_vlan(p5, v);
  add_flow(1, 3, 5);
  add_flow(2, 30, 5);
  add_flow(3, OF_PORT_NONE, 5);
  add_flow(4, 5, OF_PORT_CONTROLLER);
  openflowAgtPcb.hw.policer_start = 1;
  check(openflow_lp_group_init() == 1 && openflow_lp_meter_init() == 1 &&
        of_init_ivid_mac_table() == 0);
  ofa::mgr::GroupMsg g{.group_id = 2, .nhopid = 20, .type = 1, .buckets = {{5, 100, {2}}}};
  auto body = ofa::mgr::encode_body(g);
  of_group_msg msg;
  check(body.ok() && of_group_msg_read(body.value(), &msg) &&
        lp_openflow_generic_add_group(msg) == 1);
  check(lp_openflow_generic_add_meter({.meter_id = 1, .drop_rate = 1000, .band_cnt = 1}) == 1);
  check(of_evt_add_entry(p5, 4010, OF_EVT_TYPE_VLAN, 1, 300) == 0);
  g_tables = tables();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  if (data[0] % 2 == 0) {
    std::string reply;
    check(ofa_debug_handler(text.c_str(), &reply) == 0);
    check(!reply.empty() && reply.back() == '\n');
  } else {
    openflow_ofa_debug_handler(text.c_str());
    openflow_ofa_debug_init();
    for (uint32_t& level : openflow_agt_debug)
      level = OFA_TRACE_LEVEL_MAX;
  }
  check(tables() == g_tables);
  return 0;
}
