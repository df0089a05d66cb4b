// dce_avl_tree: an intrusive balanced tree. The node is embedded in the caller's record at
// node_offset and the key lies at key_offset, so an insert allocates nothing. Keys are unique.
//
// An empty tree is a zeroed record with compare and the two offsets (dce_avl_tree_init() or a
// designated initializer). `first` and `last` always name the leftmost and rightmost nodes. With
// `rebalance` 0, deletes only unlink: the tree stays sorted but may degrade.
#pragma once

#include <cstddef>
#include <cstdint>

struct dce_avl_node {
  dce_avl_node* parent;
  dce_avl_node* left;
  dce_avl_node* right;
  int32_t balance;    // -1 left-heavy, 0, +1 right-heavy
  int32_t rank;       // 1 + nodes of the left subtree
  uint32_t is_right;  // 1 for a right child
};

// compare(first key, second key): negative, 0 or positive.
using dce_avl_compare_fn = int (*)(const void* key1, const void* key2);

struct dce_avl_tree {
  dce_avl_compare_fn compare;
  dce_avl_node* root;
  dce_avl_node* first;   // leftmost node
  dce_avl_node* last;    // rightmost node
  uint16_t key_offset;   // record start to key
  uint16_t node_offset;  // record start to embedded node
  uint32_t rebalance;    // nonzero: a delete rebalances
};

// An empty tree with rebalance on, for records with the key and node at these offsets.
void dce_avl_tree_init(dce_avl_tree* tree, dce_avl_compare_fn compare, size_t key_offset,
                       size_t node_offset);

// Null when inserted; the record holding an equal key when there is one (nothing inserted).
void* dce_avl_insert_or_find(dce_avl_tree* tree, dce_avl_node* node);
// Unlinks the node, keeping first and last right.
void dce_avl_delete(dce_avl_tree* tree, dce_avl_node* node);
// The record with that key, or null.
void* dce_avl_find(dce_avl_tree* tree, const void* key);
// On a hit: the record (after 0) or the next record (after 1). On a miss: the first record
// above the key, or null.
void* dce_avl_find_or_find_next(dce_avl_tree* tree, const void* key, int after);
// Next and previous record in order; a null node gives the first (next) or last (prev) record.
void* dce_avl_next(dce_avl_tree* tree, dce_avl_node* node);
void* dce_avl_prev(dce_avl_tree* tree, dce_avl_node* node);
// The first and last record, or null.
void* dce_avl_first(dce_avl_tree* tree);
void* dce_avl_last(dce_avl_tree* tree);
void dce_avl_tree_set_rebalance(dce_avl_tree* tree, uint32_t value);

// -1, 0, +1 in the ordinary sense, on keys of that width.
int dce_compare_uint32(const void* key1, const void* key2);
int dce_compare_uint16(const void* key1, const void* key2);
int dce_compare_uint8(const void* key1, const void* key2);

// The record that embeds a node.
inline void* dce_avl_record(const dce_avl_tree* tree, dce_avl_node* node) {
  return node == nullptr ? nullptr : reinterpret_cast<char*>(node) - tree->node_offset;
}
// The node embedded in a record.
inline dce_avl_node* dce_avl_node_of(const dce_avl_tree* tree, void* record) {
  return record == nullptr
             ? nullptr
             : reinterpret_cast<dce_avl_node*>(static_cast<char*>(record) + tree->node_offset);
}
