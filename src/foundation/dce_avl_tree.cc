// dce_avl_tree: intrusive tree operations. Balancing lives in avl_core.h.
#include "foundation/dce_avl_tree.h"

#include <cstring>

#include "foundation/avl_core.h"

namespace ofa::foundation::avl_core {
bool side_of(const ::dce_avl_node* n) {
  return n->is_right != 0;
}
void set_side(::dce_avl_node* n, bool right) {
  n->is_right = right ? 1 : 0;
}
}  // namespace ofa::foundation::avl_core

namespace core = ofa::foundation::avl_core;

namespace {

const void* key_of(const dce_avl_tree* tree, dce_avl_node* node) {
  return static_cast<const char*>(dce_avl_record(tree, node)) + tree->key_offset;
}

// The node with that key, or null; *above gets the smallest node above the key.
dce_avl_node* search(dce_avl_tree* tree, const void* key, dce_avl_node** above) {
  dce_avl_node* best = nullptr;
  dce_avl_node* n = tree->root;
  while (n != nullptr) {
    // The children are fetched while this node's key is compared (see avl_search).
    dce_avl_node* left = n->left;
    dce_avl_node* right = n->right;
    __builtin_prefetch(left);
    __builtin_prefetch(right);
    int c = tree->compare(key, key_of(tree, n));
    if (__builtin_expect(c == 0, 0)) break;
    // Either way is as likely: selects rather than a branch mispredicted half of the time.
    const bool go_left = c < 0;
    dce_avl_node* const next[2] = {right, left};
    dce_avl_node* const keep[2] = {best, n};
    best = keep[go_left];
    n = next[go_left];
  }
  *above = best;
  return n;
}

}  // namespace

void dce_avl_tree_init(dce_avl_tree* tree, dce_avl_compare_fn compare, size_t key_offset,
                       size_t node_offset) {
  *tree = dce_avl_tree{};
  tree->compare = compare;
  tree->key_offset = static_cast<uint16_t>(key_offset);
  tree->node_offset = static_cast<uint16_t>(node_offset);
  tree->rebalance = 1;
}

void* dce_avl_insert_or_find(dce_avl_tree* tree, dce_avl_node* node) {
  if (tree == nullptr || node == nullptr) return nullptr;
  const void* key = key_of(tree, node);
  dce_avl_node* parent = nullptr;
  bool right = false;
  for (dce_avl_node* n = tree->root; n != nullptr;) {
    int c = tree->compare(key, key_of(tree, n));
    if (c == 0) return dce_avl_record(tree, n);
    parent = n;
    right = c > 0;
    n = right ? n->right : n->left;
  }
  *node = dce_avl_node{};
  core::insert_leaf(&tree->root, parent, right, node);
  if (tree->first == nullptr || (parent == tree->first && !right)) tree->first = node;
  if (tree->last == nullptr || (parent == tree->last && right)) tree->last = node;
  return nullptr;
}

void dce_avl_delete(dce_avl_tree* tree, dce_avl_node* node) {
  if (tree == nullptr || node == nullptr) return;
  if (node == tree->first) tree->first = core::successor(node);
  if (node == tree->last) tree->last = core::predecessor(node);
  core::erase(&tree->root, node, tree->rebalance != 0);
  node->balance = 0;
  node->rank = 0;
  node->is_right = 0;
}

void* dce_avl_find(dce_avl_tree* tree, const void* key) {
  if (tree == nullptr) return nullptr;
  dce_avl_node* above = nullptr;
  return dce_avl_record(tree, search(tree, key, &above));
}

void* dce_avl_find_or_find_next(dce_avl_tree* tree, const void* key, int after) {
  if (tree == nullptr) return nullptr;
  dce_avl_node* above = nullptr;
  dce_avl_node* hit = search(tree, key, &above);
  if (hit == nullptr) return dce_avl_record(tree, above);
  return dce_avl_record(tree, after != 0 ? core::successor(hit) : hit);
}

void* dce_avl_next(dce_avl_tree* tree, dce_avl_node* node) {
  if (tree == nullptr) return nullptr;
  return dce_avl_record(tree, node == nullptr ? tree->first : core::successor(node));
}

void* dce_avl_prev(dce_avl_tree* tree, dce_avl_node* node) {
  if (tree == nullptr) return nullptr;
  return dce_avl_record(tree, node == nullptr ? tree->last : core::predecessor(node));
}

void* dce_avl_first(dce_avl_tree* tree) {
  return tree == nullptr ? nullptr : dce_avl_record(tree, tree->first);
}

void* dce_avl_last(dce_avl_tree* tree) {
  return tree == nullptr ? nullptr : dce_avl_record(tree, tree->last);
}

void dce_avl_tree_set_rebalance(dce_avl_tree* tree, uint32_t value) {
  if (tree != nullptr) tree->rebalance = value;
}

namespace {
template <class T>
int compare_as(const void* key1, const void* key2) {
  T a;
  T b;
  std::memcpy(&a, key1, sizeof a);
  std::memcpy(&b, key2, sizeof b);
  return (a > b) - (a < b);
}
}  // namespace

int dce_compare_uint32(const void* key1, const void* key2) {
  return compare_as<uint32_t>(key1, key2);
}
int dce_compare_uint16(const void* key1, const void* key2) {
  return compare_as<uint16_t>(key1, key2);
}
int dce_compare_uint8(const void* key1, const void* key2) {
  return compare_as<uint8_t>(key1, key2);
}
