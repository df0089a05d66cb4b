// The two indexes over the flows.
//
// The flow id hash table finds an fd_entry by its flow id; it owns the records. Its walk order
// (4097 chains, the id as its own hash) is what DELETE_FLOWS and the statistics walk follow.
//
// The flow table holds each flow's hardware side (port_hw_data) in flow order: highest priority
// first, within one priority highest flow id first, both compared unsigned.
#pragma once

#include <cstdint>

struct fd_entry;
struct port_hw_data;
struct hashFastGeneric;
struct avl_node;

inline constexpr uint32_t OF_FLOW_HASH_SIZE = 4096;

// ---- flow id hash table ----------------------------------------------------------------------
extern hashFastGeneric* of_flow_id_table;
// Generic flows copied and not yet cleaned up.
extern uint32_t g_generic_flow_cnt;

// 1, or 0 with "ERROR: openflow_init_hashtable() - hashFastGenericCreate failed.\n".
int openflow_lp_init_hashtable();
// Deletes every flow (openflow_delete_all_flows), destroys the table: 1.
int openflow_destroy_hashtable();
// Destroys the table without a word to the chips, each record to free_flow when given.
void openflow_destroy_flow_id_table(void (*free_flow)(void* flow));
fd_entry* openflow_lookup_flow_by_id(uint32_t flow_id);
// 1 new, 2 replaced, 0 out of nodes.
int openflow_flow_id_insert(fd_entry* flow);
void openflow_flow_id_remove(uint32_t flow_id);
uint32_t openflow_flow_count();
// Walks the records in the table's order; fn may delete the record in hand.
using of_flow_walk_fn = uint32_t (*)(fd_entry* flow, void* arg);
uint32_t openflow_walk_flows(of_flow_walk_fn fn, void* arg);

// ---- flow table --------------------------------------------------------------------------------
struct of_flow_node {
  uint32_t priority = 0;
  uint32_t flow_id = 0;
  port_hw_data* hw = nullptr;
};

int of_cmp_flows(const void* key, const void* node);
// 0, or OFA_E_NO_MEMORY with "failed to initialize flow table, error = %d".
int of_init_flow_table();
// Frees the nodes (not the records): 0.
int of_free_flow_table();
// The node of the pair: a pair already present keeps its record ("flow already exists
// priority:%d flow_id:%d"); null when no node can be had.
of_flow_node* of_process_flow_add(uint32_t priority, uint32_t flow_id, port_hw_data* hw);
// The record the pair's node held, or null ("Ignore unknown flow delete. priority:%d
// flow_id:%d").
port_hw_data* of_process_flow_delete(uint32_t priority, uint32_t flow_id);
of_flow_node* of_lookup_flow(uint32_t priority, uint32_t flow_id);
of_flow_node* of_lookup_next_flow(uint32_t priority, uint32_t flow_id);
of_flow_node* of_lookup_prev_flow(uint32_t priority, uint32_t flow_id);
of_flow_node* of_get_first_flow(avl_node** cursor);
of_flow_node* of_get_next_flow(avl_node** cursor);
uint32_t of_flow_table_count();
