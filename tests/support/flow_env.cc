#include "flow_env.h"

#include "adapter/tcam_id_pool.h"
#include "agent/flow_record.h"
#include "chip/chip_table.h"
#include "chip/if_table.h"
#include "codec.h"
#include "flow/action_chain.h"
#include "flow/flow_table.h"
#include "flow/member_list.h"
#include "foundation/avl_tree.h"
#include "platform/ifindex.h"

namespace ofa::test {

void FlowEnv::start(bool with_model) {
  reset_agent({.chips = 2});
  if (with_model) model_ = std::make_unique<ModelHsl>();
  openflow_lp_init_tcam_id_pool();
  openflow_flow_db_init();
  g_openflow_lp.mode = OFA_MODE_GENERIC;
  chip_up(1, 0);
  chip_up(1, 1);
  port(5, 1, 5);  // where flow() sends its packets
  hsl().requests.clear();
}

mgr::FlowMsg FlowEnv::flow(uint32_t id, uint32_t priority, uint16_t in_port) {
  mgr::FlowMsg m;
  m.flow_id = id;
  m.xid = id + 1000;
  m.priority = priority;
  m.in_port_id = in_port;
  m.wildcards = in_port == OF_PORT_NONE ? mgr::kWcAll : (mgr::kWcAll & ~1u);
  m.ether_type = 0x0800;
  m.wildcards &= ~OF_WC_ETHER_TYPE;
  m.action_key = 0x5000 + id;
  m.stats_flag = 1;
  mgr::FlowMember out;
  out.out_port_id = 5;
  m.members.push_back(out);
  return m;
}

std::vector<uint8_t> FlowEnv::bytes(const mgr::FlowMsg& m) {
  auto r = mgr::encode_body(m);
  return r.ok() ? r.value() : std::vector<uint8_t>{};
}

int FlowEnv::add_prefix(mgr::FlowMsg m) {
  m.sub_type = OFM_ADD_FLOW_PREFIX;
  return openflow_generic_mode_add_flow_prefix(bytes(m));
}

int FlowEnv::modify(mgr::FlowMsg m, int prefix) {
  m.sub_type = prefix ? OFM_MODIFY_FLOW_PREFIX : OFM_MODIFY_FLOW;
  return openflow_generic_mode_mod_flow(bytes(m), prefix);
}

int FlowEnv::remove(uint32_t id) {
  const uint32_t ids[3] = {id, 0, 0};
  return openflow_generic_mode_delete_flow(ids, 0);
}

FlowCounts FlowEnv::counts() {
  FlowCounts c;
  c.flows = openflow_flow_count();
  c.hw_records = of_flow_table_count();
  c.chains = of_action_chain_count();
  c.member_lists = of_members_live_lists();
  auto in_use = [](const of_id_list* l) { return l->end - l->first - id_list_free_len(l); };
  c.l2_ids = in_use(l2flow_tcam_idpool_node);
  c.l3_ids = in_use(l3ipv4flow_tcam_idpool_node);
  avl_node* cursor = nullptr;
  for (of_chip_entry* chip = ofGetFirstChip(&cursor); chip; chip = ofGetNextChip(&cursor))
    c.tree_nodes += static_cast<uint32_t>(avl_get_tree_size(chip->l2_flow_tree) +
                                          avl_get_tree_size(chip->l3_flow_tree));
  return c;
}

}  // namespace ofa::test
