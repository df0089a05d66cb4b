#include "flow/flow_table.h"

#include "agent/flow_record.h"
#include "agent/status.h"
#include "agent/trace.h"
#include "foundation/avl_tree.h"
#include "foundation/hash_fast.h"
#include "foundation/id_index.h"

hashFastGeneric* of_flow_id_table = nullptr;
uint32_t g_generic_flow_cnt = 0;

namespace {

avl_tree* flow_table = nullptr;

// The records of the id table by id: the chains keep the order of the walks, the index answers
// lookups in one place however long the chains grow. Off (lookups walk the chains) from the first
// insert it could not take until the table goes.
ofa::foundation::id_index<fd_entry> id_index;
bool id_index_on = true;

hash_key_t openflow_get_key_from_data(void* data, uintptr_t) {
  return static_cast<fd_entry*>(data)->flow_id;
}

// 0 for equal ids, 4 when the record's id is smaller, 3 when it is larger.
int openflow_key_data_compare(hash_key_t key, void* data, uintptr_t) {
  uint32_t id = static_cast<fd_entry*>(data)->flow_id;
  if (id == key) return 0;
  return id < key ? 4 : 3;
}

uint32_t openflow_key_hash_func(hash_key_t key, uintptr_t) {
  return static_cast<uint32_t>(key);
}

of_flow_node* node_of(avl_node* n) {
  return n ? static_cast<of_flow_node*>(n->info) : nullptr;
}

}  // namespace

// ---- flow id hash table ----------------------------------------------------------------------

int openflow_lp_init_hashtable() {
  if (of_flow_id_table) return 1;
  of_flow_id_table = hashFastGenericCreate(OF_FLOW_HASH_SIZE, openflow_get_key_from_data,
                                           openflow_key_data_compare, openflow_key_hash_func);
  if (!of_flow_id_table) {
    file_printf("ERROR: openflow_init_hashtable() - hashFastGenericCreate failed.\n");
    return 0;
  }
  file_printf("SUCCESS: openflow_init_hashtable() - hashFastGenericCreate success.\n");
  return 1;
}

void openflow_destroy_flow_id_table(void (*free_flow)(void* flow)) {
  id_index.clear();
  id_index_on = true;
  if (!of_flow_id_table) return;
  if (free_flow) {
    hashFastGenericDestroyAndFreeContents(of_flow_id_table, free_flow);
  } else {
    hashFastGenericDestroy(of_flow_id_table);
  }
  of_flow_id_table = nullptr;
}

fd_entry* openflow_lookup_flow_by_id(uint32_t flow_id) {
  if (!of_flow_id_table) return nullptr;
  if (id_index_on) return id_index.find(flow_id);
  void* data = nullptr;
  if (!hashFastGenericGet(of_flow_id_table, flow_id, &data)) return nullptr;
  return static_cast<fd_entry*>(data);
}

int openflow_flow_id_insert(fd_entry* flow) {
  if (!of_flow_id_table) return 0;
  int rc = id_index_on && !id_index.find(flow->flow_id)
               ? hashFastGenericInsertNew(of_flow_id_table, flow->flow_id, flow)
               : hashFastGenericInsert(of_flow_id_table, flow->flow_id, flow);
  if (rc && id_index_on && !id_index.insert(flow->flow_id, flow)) {
    id_index.clear();
    id_index_on = false;
  }
  return rc;
}

void openflow_flow_id_remove(uint32_t flow_id) {
  void* data = nullptr;
  if (!of_flow_id_table) return;
  hashFastGenericDelete(of_flow_id_table, flow_id, &data);
  id_index.erase(flow_id);
}

uint32_t openflow_flow_count() {
  return of_flow_id_table ? hashFastGenericGetTableEntries(of_flow_id_table) : 0;
}

namespace {
struct walk_ctx {
  of_flow_walk_fn fn;
  void* arg;
};
uint32_t walk_one(void* data, void* arg, hash_node*) {
  auto* ctx = static_cast<walk_ctx*>(arg);
  return ctx->fn(static_cast<fd_entry*>(data), ctx->arg);
}
}  // namespace

uint32_t openflow_walk_flows(of_flow_walk_fn fn, void* arg) {
  if (openflow_flow_count() == 0) return 0;
  walk_ctx ctx{fn, arg};
  return hashFastGenericTraverseUnsorted(of_flow_id_table, walk_one, 0, 0xffffffffu, &ctx);
}

// ---- flow table
// ----------------------------------------------------------------------------------

int of_cmp_flows(const void* key, const void* node) {
  auto* k = static_cast<const of_flow_node*>(key);
  auto* n = static_cast<const of_flow_node*>(node);
  if (n->priority != k->priority) return n->priority < k->priority ? -1 : 1;
  if (n->flow_id != k->flow_id) return n->flow_id < k->flow_id ? -1 : 1;
  return 0;
}

int of_init_flow_table() {
  if (flow_table) return 0;
  int rc = avl_create_inline(&flow_table, sizeof(of_flow_node), of_cmp_flows);
  if (rc != 0) {
    file_printf("failed to initialize flow table, error = %d", rc);
    return OFA_E_NO_MEMORY;
  }
  return 0;
}

int of_free_flow_table() {
  if (flow_table) avl_tree_free(&flow_table, nullptr);
  return 0;
}

of_flow_node* of_process_flow_add(uint32_t priority, uint32_t flow_id, port_hw_data* hw) {
  of_flow_node item{priority, flow_id, hw};
  if (avl_node* n = avl_insert_node(flow_table, &item, true)) return node_of(n);
  if (of_flow_node* found = of_lookup_flow(priority, flow_id)) {
    file_printf("flow already exists priority:%d flow_id:%d", priority, flow_id);
    return found;
  }
  file_printf("failed to create interface entry priority:%d flow_id:%d", priority, flow_id);
  return nullptr;
}

port_hw_data* of_process_flow_delete(uint32_t priority, uint32_t flow_id) {
  of_flow_node key{priority, flow_id, nullptr};
  avl_node* n = flow_table ? avl_search(flow_table, &key) : nullptr;
  if (!n) {
    file_printf("Ignore unknown flow delete. priority:%d flow_id:%d", priority, flow_id);
    return nullptr;
  }
  port_hw_data* hw = node_of(n)->hw;
  avl_delete_node(flow_table, n);
  return hw;
}

of_flow_node* of_lookup_flow(uint32_t priority, uint32_t flow_id) {
  of_flow_node key{priority, flow_id, nullptr};
  return flow_table ? node_of(avl_search(flow_table, &key)) : nullptr;
}

of_flow_node* of_lookup_next_flow(uint32_t priority, uint32_t flow_id) {
  of_flow_node key{priority, flow_id, nullptr};
  return flow_table ? node_of(avl_get_next(flow_table, &key)) : nullptr;
}

of_flow_node* of_lookup_prev_flow(uint32_t priority, uint32_t flow_id) {
  of_flow_node key{priority, flow_id, nullptr};
  return flow_table ? node_of(avl_get_prev(flow_table, &key)) : nullptr;
}

of_flow_node* of_get_first_flow(avl_node** cursor) {
  *cursor = flow_table ? avl_getfirst(flow_table) : nullptr;
  return node_of(*cursor);
}

of_flow_node* of_get_next_flow(avl_node** cursor) {
  *cursor = *cursor ? avl_getnext(flow_table, *cursor) : nullptr;
  return node_of(*cursor);
}

uint32_t of_flow_table_count() {
  return static_cast<uint32_t>(avl_get_tree_size(flow_table));
}
