// Flow, group and meter operations through the manager walk and dispatch, on an LP with OpenFlow
// ports: L2 port 3 on flat chip 0, L3 port 30 on flat chip 1, output port 5, and port 100 of
// another slot. Byte 0 of the input says which of the next eight chip requests the fake HSL
// refuses (bit i: every request whose index is i modulo 8); the rest is a datagram. After each
// input the flow engine's tables must agree with each other and every group, bucket, meter and
// band taken from the pools must be held by a group or meter of the base; every 64 inputs
// DELETE_FLOWS must leave no flow, record, chain or member list behind.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <tuple>

#include "adapter/tcam_id_pool.h"
#include "agent/agent_globals.h"
#include "agent_reset.h"
#include "chip/chip_table.h"
#include "chip/if_table.h"
#include "fake_hsl.h"
#include "flow/action_chain.h"
#include "flow/flow_engine.h"
#include "flow/flow_table.h"
#include "flow/member_list.h"
#include "flow_invariants.h"
#include "foundation/generic_pool.h"
#include "groups_meters/group_db.h"
#include "groups_meters/l2fwd_table.h"
#include "groups_meters/meter.h"
#include "manager/dispatch/dispatch.h"
#include "manager/msg_catalogue.h"
#include "platform/system.h"
#include "tool_checks.h"

namespace {

using ofa::fuzz::check;

uint8_t g_faults = 0;

// Every element taken from the group pools is held by a group of the base.
bool group_pools_exact() {
  uint32_t buckets = 0;
  for (group_node* g = of_lp_group_get_first_group_entry(); g;
       g = of_lp_group_get_next_group_entry_key(g->group_id))
    buckets += g->bucket_count;
  return generic_get_pool_allocated_number(of_lp_group_pool()) == of_lp_group_get_group_count() &&
         generic_get_pool_allocated_number(of_lp_bucket_pool()) == buckets;
}

// Likewise every meter and band.
bool meter_pools_exact() {
  uint32_t bands = 0;
  for (meter_node* m = of_lp_meter_get_first_meter_node(); m;
       m = of_lp_meter_get_next_meter_node_key(m->meter_id))
    bands += m->band_cnt;
  return of_lp_meter_pool_in_use() == of_lp_meter_get_meter_count() &&
         of_lp_meter_band_pool_in_use() == bands;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  ofa::test::reset_agent({.chips = 2});
  check(openflow_lp_init_tcam_id_pool() == 1);
  check(openflow_flow_db_init() == 1);
  check(openflow_lp_group_init() == 1 && of_init_ivid_mac_table() == 0);
  check(openflow_lp_meter_init() == 1);
  g_openflow_lp.mode = OFA_MODE_GENERIC;
  check(ofa::test::chip_up(1, 0) == 0 && ofa::test::chip_up(1, 1) == 0);
  for (auto [id, slot, fp, l3] :
       {std::tuple{3, 1, 3, false}, {5, 1, 5, false}, {30, 1, 30, true}, {100, 2, 4, false}})
    check(ofa::test::add_port(id, slot, fp, l3) != nullptr);
  ofa_register_dispatch({[] { openflow_flow_db_destroy(); },
                         [](uint8_t mode) {
                           g_openflow_lp.mode = mode;
                           return openflow_flow_db_init();
                         }});
  ofa::test::fake_hsl().fail_if = [](size_t i) { return (g_faults >> (i % 8)) & 1; };
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static unsigned inputs = 0;
  if (size == 0) return 0;
  g_faults = data[0];
  ofa::test::fake_hsl().requests.clear();
  ofa_process_mi_msg(-1, 1, data + 1, static_cast<uint32_t>(size - 1));
  auto lines = ofa::test::flow_invariants();
  for (const auto& l : lines)
    std::fprintf(stderr, "%s\n", l.c_str());
  check(lines.empty());
  check(group_pools_exact() && meter_pools_exact());
  if (++inputs % 64 == 0) {
    g_faults = 0;
    openflow_delete_all_flows();
    check(openflow_flow_count() == 0 && of_flow_table_count() == 0);
    check(of_action_chain_count() == 0 && of_members_live_lists() == 0);
  }
  return 0;
}
