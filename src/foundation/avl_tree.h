// avl_tree: a balanced tree that keeps nodes of its own, each pointing at a caller's item.
//
// The tree only ever calls compare(key_or_item, node_item): negative goes left, positive goes
// right, 0 is a match. It assumes nothing about the sense of the comparison, so a reversed
// compare makes avl_getfirst() give the highest key. Equal items are allowed by avl_insert (they
// go to the left side). Nodes come from the heap, or from one preallocated block of max_nodes.
//
// An inline tree (avl_create_inline) keeps a copy of each item in its node, right behind it, so
// that a search reads one place per level instead of a node and then its item; its nodes come
// from blocks the tree keeps for itself, so that the nodes of a large tree lie together instead
// of among everything else the heap holds. A deleted node goes back to the tree's free nodes; the
// blocks go with avl_tree_free. info points at the node's copy, which lives as long as the node.
#pragma once

#include <cstdint>

struct avl_node {
  avl_node* left;
  avl_node* right;
  avl_node* parent;
  int32_t balance;  // -1 left-heavy, 0, +1 right-heavy
  int32_t rank;     // 1 + nodes of the left subtree
  int32_t flag;     // 0 left child, 1 right child
  void* info;       // the caller's item
};

using avl_compare_fn = int (*)(const void* key_or_item, const void* item);
using avl_free_fn = void (*)(void* item);
using avl_traverse_fn = int (*)(void* item, void* arg1);
using avl_traverse2_fn = int (*)(void* item, void* arg1, void* arg2);
using avl_traverse3_fn = int (*)(void* item, void* arg1, void* arg2, void* arg3);

struct avl_tree {
  int32_t max_nodes;  // nodes preallocated at creation, 0 for none
  avl_compare_fn compare;
  avl_node* node_mem;  // the preallocated block
  avl_node* root;
  avl_node* free_list;  // free preallocated nodes, linked through `right`
  int32_t count;        // nodes in use
  int32_t ha_handle;    // always -1: no high-availability storage
  int32_t ha_object_group;
  int32_t item_bytes;   // inline trees: the bytes of an item, copied into its node; else 0
  int32_t block_nodes;  // inline trees: nodes of the next block
  void* blocks;         // inline trees: the blocks, linked through their first word
};

// Output budget of one avl_paginate_traverse3() page.
inline constexpr int AVL_PAGINATE_LIMIT = 4096;

// 0 and *tree set, or -1 (no memory, or no compare function).
int avl_create(avl_tree** tree, int max_nodes, avl_compare_fn compare);
// An inline tree of items of item_bytes each: 0 and *tree set, or -1.
int avl_create_inline(avl_tree** tree, int item_bytes, avl_compare_fn compare);
// The new node, or null when nodup finds an equal item (nothing changes) or no node can be had.
// An inline tree copies *item into the node.
avl_node* avl_insert_node(avl_tree* tree, const void* item, bool nodup);
// 0, or -1 when no node can be had.
int avl_insert(avl_tree* tree, void* item);
// 0, or -1 when an equal item is present (or no node can be had).
int avl_insert_nodup(avl_tree* tree, void* item);
// Finds an item equal to `item` by compare and deletes its node: 0, or -1 when absent.
int avl_remove(avl_tree* tree, void* item);
// Unlinks and frees the node (not the item): 0, or -1 for a null tree or node.
int avl_delete_node(avl_tree* tree, avl_node* node);
avl_node* avl_search(avl_tree* tree, const void* key);
avl_node* avl_top(avl_tree* tree);
// Pre-order successor: left child, right child, then the right sibling of the nearest ancestor.
avl_node* avl_next(avl_node* node);
avl_node* avl_getfirst(avl_tree* tree);
avl_node* avl_getlast(avl_tree* tree);
// In-order neighbours; a null node starts from the first (getnext) or last (getprev) node.
avl_node* avl_getnext(avl_tree* tree, avl_node* node);
avl_node* avl_getprev(avl_tree* tree, avl_node* node);
// The first node after a key and the last node before it, by searching.
avl_node* avl_get_next(avl_tree* tree, const void* key);
avl_node* avl_get_prev(avl_tree* tree, const void* key);
int avl_get_tree_size(avl_tree* tree);
// In-order walks; a negative result of fn stops the walk and is given back, else 0. The next
// node is read before fn runs, so fn may delete the node in hand.
int avl_traverse(avl_tree* tree, avl_traverse_fn fn, void* arg1);
int avl_traverse2(avl_tree* tree, avl_traverse2_fn fn, void* arg1, void* arg2);
int avl_traverse3(avl_tree* tree, avl_traverse3_fn fn, void* arg1, void* arg2, void* arg3);
// Walks in order from `from` (null: the first node), adding each non-negative result of fn to
// *out_count, until *out_count reaches AVL_PAGINATE_LIMIT. *next gets the node to resume from
// (null when the walk reached the end). A negative result stops the walk and is given back.
int avl_paginate_traverse3(avl_tree* tree, avl_node* from, avl_traverse3_fn fn, void* arg1,
                           void* arg2, void* arg3, int* out_count, avl_node** next);
// Frees every node from the leaves up, calling free_fn (when given) on each item (an inline
// tree's items are in their nodes: free_fn must not free them); the tree stays.
void avl_tree_cleanup(avl_tree* tree, avl_free_fn free_fn);
// The same, then frees the tree and clears *tree.
void avl_tree_free(avl_tree** tree, avl_free_fn free_fn);
