#include "flow/action_chain.h"

#include <array>
#include <new>

#include "agent/flow_record.h"
#include "agent/trace.h"
#include "flow/member_list.h"
#include "foundation/id_index.h"

namespace {

// The 997 buckets keep the entries in the order the shows walk; the index finds an entry by its
// key at once, however many keys share a bucket.
struct chain_table {
  std::array<of_action_chain*, OF_ACTION_CHAIN_BUCKETS> heads{};
  std::array<uint32_t, OF_ACTION_CHAIN_BUCKETS> counts{};
  uint32_t total = 0;
  ofa::foundation::id_index<of_action_chain> by_key;
};

chain_table* table = nullptr;

}  // namespace

int of_action_chain_init() {
  if (!table) table = new (std::nothrow) chain_table;
  return table ? 1 : 0;
}

void of_action_chain_destroy() {
  if (!table) return;
  for (of_action_chain* head : table->heads) {
    while (head) {
      of_action_chain* next = head->next;
      of_members_release(head->members);
      delete head;
      head = next;
    }
  }
  delete table;
  table = nullptr;
}

uint32_t of_action_chain_count() {
  return table ? table->total : 0;
}

of_action_chain* of_action_chain_bucket(uint32_t bucket) {
  return table && bucket < OF_ACTION_CHAIN_BUCKETS ? table->heads[bucket] : nullptr;
}

uint32_t of_get_action_chain_key(const fd_entry* flow, uint16_t* key_type) {
  if (flow->mvid == OF_MVID_NONE) {
    *key_type = OF_CHAIN_KEY_FID;
    return flow->fid;
  }
  *key_type = OF_CHAIN_KEY_MVID;
  return flow->mvid;
}

of_action_chain* retrieve_action_chain_from_hash_table(const fd_entry* flow) {
  if (!table) return nullptr;
  return table->by_key.find(flow->action_key);
}

of_action_chain* create_add_action_chain_in_hash_table(fd_entry* flow) {
  if (!table) return nullptr;
  if (of_action_chain* found = retrieve_action_chain_from_hash_table(flow)) {
    ++found->ref_cnt;
    ofa_debug_printf(
        "create_action_chain called for flow: %d duplicate found new ref: %d key: 0x%x "
        "members: %d\n",
        flow->flow_id, found->ref_cnt, flow->action_key, found->member_count);
    return found;
  }
  auto* e = new (std::nothrow) of_action_chain;
  if (!e || !table->by_key.insert(flow->action_key, e)) {
    delete e;
    return nullptr;
  }
  e->key = flow->action_key;
  e->member_count = flow->member_count;
  e->value = of_get_action_chain_key(flow, &e->key_type);
  e->ref_cnt = 1;
  e->chain_words = flow->chain_words;
  e->chain_link = flow->chain_link;
  e->members = flow->members;
  of_members_hold(e->members);
  uint32_t b = flow->action_key % OF_ACTION_CHAIN_BUCKETS;
  e->bucket = static_cast<uint16_t>(b);
  e->next = table->heads[b];
  if (e->next) e->next->prev = e;
  table->heads[b] = e;
  ++table->counts[b];
  ++table->total;
  ofa_debug_printf("create_action_chain called for flow: %d new created key: 0x%x members: %d\n",
                   flow->flow_id, flow->action_key, flow->member_count);
  return e;
}

void extract_destroy_action_chain_entry(of_action_chain* e) {
  if (!e || !table) return;
  if (e->prev) {
    e->prev->next = e->next;
  } else {
    table->heads[e->bucket] = e->next;
  }
  if (e->next) e->next->prev = e->prev;
  --table->counts[e->bucket];
  --table->total;
  table->by_key.erase(e->key);
  ofa_debug_printf("extract_destroy_action_chain_entry called for key: 0x%x ref: %d members: %d\n",
                   e->key, e->ref_cnt, e->member_count);
  of_members_release(e->members);
  delete e;
}

bool of_action_chain_join(fd_entry* flow, const char* who) {
  of_action_chain* e = retrieve_action_chain_from_hash_table(flow);
  if (e) {
    ++e->ref_cnt;
    file_printf("%s: flow_id: %d: Linked Chain head Key: 0x%08x, ref_cnt: %d, members: %d\n", who,
                flow->flow_id, e->key, e->ref_cnt, e->member_count);
    of_flow_set_members(flow, e->members, e->member_count);
  } else {
    file_printf("%s: flow_id: %d: No Chain found: drop_action: %s\n", who, flow->flow_id,
                flow->fid == OF_FID_DROP ? "TRUE" : "FALSE");
    of_flow_set_members(flow, nullptr, 0);
  }
  flow->prefix_only = 1;
  return e != nullptr;
}

void of_action_chain_leave(fd_entry* flow, const char* who) {
  of_action_chain* e = retrieve_action_chain_from_hash_table(flow);
  if (!e) {
    flow->prefix_only = 1;
    const of_flow_member* m = flow->members;
    file_printf(
        "CHAIN HDR IS NULL : prefix-only: %d flow-id: %d member_count: %d member: 0x%x mvid: %d "
        "FID: %x\n",
        flow->prefix_only, flow->flow_id, flow->member_count,
        static_cast<unsigned>(reinterpret_cast<uintptr_t>(m)), flow->mvid, flow->fid);
    return;
  }
  file_printf("%s: Chain header non-NULL\n", who);
  --e->ref_cnt;
  if (e->ref_cnt > 0) {
    flow->prefix_only = 1;
    file_printf("%s: action chain new ref: %d keeping; key: 0x%x members: %d\n", who, e->ref_cnt,
                e->key, e->member_count);
    return;
  }
  flow->prefix_only = 0;
  of_flow_set_members(flow, e->members, e->member_count);
  flow->chain_words = e->chain_words;
  flow->chain_link = e->chain_link;
  extract_destroy_action_chain_entry(e);
}
