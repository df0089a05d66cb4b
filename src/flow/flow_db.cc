// The flow databases' life: made at start-up and on a global enable, emptied and freed on a
// global disable.
#include "agent/flow_record.h"
#include "agent/reset.h"
#include "flow/action_chain.h"
#include "flow/flow_engine.h"
#include "flow/flow_internal.h"
#include "flow/flow_table.h"
#include "flow/member_list.h"
#include "foundation/avl_tree.h"

namespace {

// Frees every record, hardware record and chain without a word to the chips.
void drop_all() {
  avl_node* cursor = nullptr;
  for (of_flow_node* n = of_get_first_flow(&cursor); n; n = of_get_next_flow(&cursor))
    delete n->hw;
  of_free_flow_table();
  openflow_destroy_flow_id_table([](void* data) {
    auto* flow = static_cast<fd_entry*>(data);
    of_members_release(flow->members);
    delete flow;
  });
  of_action_chain_destroy();
  g_generic_flow_cnt = 0;
  generic_modify = 0;
}

const ofa_reset_hook reset_hook{5, drop_all};

}  // namespace

int openflow_flow_db_init() {
  if (!openflow_lp_init_hashtable()) return 0;
  if (of_init_flow_table() != 0) return 0;
  return of_action_chain_init();
}

int openflow_destroy_hashtable() {
  openflow_delete_all_flows();
  openflow_destroy_flow_id_table(nullptr);
  return 1;
}

void openflow_flow_db_destroy() {
  openflow_destroy_hashtable();
  drop_all();
}
