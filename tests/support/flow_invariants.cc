#include "flow_invariants.h"

#include <map>
#include <set>

#include "adapter/tcam_id_pool.h"
#include "agent/flow_record.h"
#include "chip/chip_flow_tree.h"
#include "chip/chip_table.h"
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

  std::set<uint32_t> l2_handles;
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
  }
  // Every entry a chip tree holds for a stored flow carries a handle still out of its pool.
  avl_node* chip_cursor = nullptr;
  for (of_chip_entry* c = ofGetFirstChip(&chip_cursor); c; c = ofGetNextChip(&chip_cursor)) {
    for (of_flow_tree_kind k : {of_flow_tree_kind::l2, of_flow_tree_kind::l3}) {
      avl_tree* t = of_chip_flow_tree(k, c);
      of_id_list* pool =
          k == of_flow_tree_kind::l2 ? l2flow_tcam_idpool_node : l3ipv4flow_tcam_idpool_node;
      for (avl_node* n = t ? avl_getfirst(t) : nullptr; n; n = avl_getnext(t, n)) {
        auto* node = static_cast<const of_chip_flow_node*>(n->info);
        uint32_t h = static_cast<uint32_t>(node->handle);
        if (!pool || h < pool->first || h >= pool->end) continue;
        uint64_t bit = pool->in_use[(h - pool->first) / 64] >> ((h - pool->first) % 64);
        if (!(bit & 1) && of_lookup_flow(node->priority, node->flow_id))
          say("chip " + std::to_string(c->chip_id) + " holds flow " +
              std::to_string(node->flow_id) + " under a free handle");
      }
    }
  }
  out = nullptr;
  return lines;
}

}  // namespace ofa::test
