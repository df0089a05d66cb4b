#include "flow_invariants.h"

#include <map>

#include "adapter/tcam_id_pool.h"
#include "agent/flow_record.h"
#include "flow/action_chain.h"
#include "flow/flow_table.h"
#include "flow/member_list.h"
#include "foundation/avl_tree.h"

namespace ofa::test {
namespace {

std::map<const of_flow_member*, uint32_t> list_users;
std::vector<std::string>* out = nullptr;

void say(const std::string& line) {
  out->push_back(line);
}

uint32_t check_record(fd_entry* f, void*) {
  std::string id = "flow " + std::to_string(f->flow_id);
  uint32_t len = 0;
  for (const of_flow_member* m = f->members; m && len <= 0xffff; m = m->next)
    ++len;
  if (len != f->member_count)
    say(id + ": " + std::to_string(len) + " members listed, count " +
        std::to_string(f->member_count));
  if (f->members) ++list_users[f->members];
  if (openflow_lookup_flow_by_id(f->flow_id) != f) say(id + ": not found by its id");
  return 1;
}

}  // namespace

std::vector<std::string> flow_invariants() {
  std::vector<std::string> lines;
  out = &lines;
  list_users.clear();
  openflow_walk_flows(check_record, nullptr);

  for (uint32_t b = 0; b < OF_ACTION_CHAIN_BUCKETS; ++b)
    for (of_action_chain* e = of_action_chain_bucket(b); e; e = e->next) {
      if (e->key % OF_ACTION_CHAIN_BUCKETS != b) say("chain in the wrong bucket");
      if (e->members) ++list_users[e->members];
    }
  for (const auto& [list, users] : list_users)
    if (of_members_holders(list) != users)
      say("a member list held " + std::to_string(of_members_holders(list)) + " times, used " +
          std::to_string(users));
  if (of_members_live_lists() != list_users.size())
    say(std::to_string(of_members_live_lists()) + " lists alive, " +
        std::to_string(list_users.size()) + " in use");

  // Every handle a stored flow has on a chip is still out of a pool. Which pool is not checked:
  // the port's kind decides it at each operation, and a port can change kind under its flows.
  auto in_use = [](const of_id_list* pool, int32_t h) {
    if (!pool || h < static_cast<int32_t>(pool->first) || h >= static_cast<int32_t>(pool->end))
      return false;
    uint32_t i = static_cast<uint32_t>(h) - pool->first;
    return ((pool->in_use[i / 64] >> (i % 64)) & 1) != 0;
  };
  avl_node* cursor = nullptr;
  for (of_flow_node* n = of_get_first_flow(&cursor); n; n = of_get_next_flow(&cursor)) {
    fd_entry* f = openflow_lookup_flow_by_id(n->flow_id);
    if (!n->hw) {
      say("flow table node without record");
      continue;
    }
    if (!f || f->priority != n->priority)
      say("flow table holds " + std::to_string(n->flow_id) + " that no flow of that priority is");
    if (n->hw->flow_id != n->flow_id || n->hw->priority != n->priority)
      say("flow table node and its record disagree");
    for (uint32_t c = 0; c < of_flow_hw_ref::kMaxChips; ++c) {
      int32_t h = n->hw->hw.get(c);
      if (h <= 0 || in_use(l2flow_tcam_idpool_node, h) || in_use(l3ipv4flow_tcam_idpool_node, h))
        continue;
      say("flow " + std::to_string(n->flow_id) + " holds free handle " + std::to_string(h) +
          " on chip " + std::to_string(c));
    }
  }
  out = nullptr;
  return lines;
}

}  // namespace ofa::test
