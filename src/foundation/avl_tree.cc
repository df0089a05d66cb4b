// avl_tree: node management, search and walks. Balancing lives in avl_core.h.
#include "foundation/avl_tree.h"

#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "foundation/avl_core.h"
#include "foundation/kprintf.h"

namespace ofa::foundation::avl_core {
bool side_of(const ::avl_node* n) {
  return n->flag != 0;
}
void set_side(::avl_node* n, bool right) {
  n->flag = right ? 1 : 0;
}
}  // namespace ofa::foundation::avl_core

namespace core = ofa::foundation::avl_core;

namespace {

constexpr size_t kLine = 64;
constexpr int32_t kFirstBlockNodes = 32;
constexpr int32_t kMaxBlockNodes = 4096;

// The distance between two nodes of an inline tree's block: a node and its item, rounded up to
// 16 bytes (a node and an item of up to 16 bytes fill one cache line).
size_t inline_stride(const avl_tree* tree) {
  return (sizeof(avl_node) + static_cast<size_t>(tree->item_bytes) + 15) / 16 * 16;
}

// Another block of an inline tree: its first stride holds the link to the previous block, the
// rest goes to the free nodes. False when the heap has nothing.
bool add_block(avl_tree* tree) {
  size_t stride = inline_stride(tree);
  size_t nodes = static_cast<size_t>(tree->block_nodes);
  size_t bytes = (stride * (nodes + 1) + kLine - 1) / kLine * kLine;
  auto* block = static_cast<char*>(std::aligned_alloc(kLine, bytes));
  if (block == nullptr) return false;
  std::memcpy(block, &tree->blocks, sizeof(void*));
  tree->blocks = block;
  for (size_t i = nodes; i >= 1; --i) {
    auto* node = reinterpret_cast<avl_node*>(block + i * stride);
    node->right = tree->free_list;
    tree->free_list = node;
  }
  if (tree->block_nodes < kMaxBlockNodes) tree->block_nodes *= 2;
  return true;
}

bool keeps_free_nodes(const avl_tree* tree) {
  return tree->max_nodes > 0 || tree->item_bytes > 0;
}

avl_node* new_node(avl_tree* tree, const void* item) {
  avl_node* node = nullptr;
  if (tree->item_bytes > 0 && tree->free_list == nullptr) add_block(tree);
  if (keeps_free_nodes(tree)) {
    node = tree->free_list;
    if (node != nullptr) tree->free_list = node->right;
    // Freed nodes lie anywhere: the next one is asked for now, not when the next insert waits.
    if (tree->free_list != nullptr) __builtin_prefetch(tree->free_list, 1);
  } else {
    node = static_cast<avl_node*>(std::calloc(1, sizeof(avl_node)));
  }
  if (node == nullptr) {
    uprintf("THA: %d: %s Error: Null: %s = null %s \n", __LINE__, "avl_insert", "node", "");
    return nullptr;
  }
  *node = avl_node{};
  if (tree->item_bytes > 0) {
    node->info = node + 1;
    std::memcpy(node->info, item, static_cast<size_t>(tree->item_bytes));
  } else {
    node->info = const_cast<void*>(item);
  }
  return node;
}

void release_node(avl_tree* tree, avl_node* node) {
  if (keeps_free_nodes(tree)) {
    *node = avl_node{};
    node->right = tree->free_list;
    tree->free_list = node;
  } else {
    std::free(node);
  }
}

// Walks down to the leaf position of item; ties go left unless nodup, where a tie is reported
// in *dup before anything in the tree has changed.
avl_node* find_leaf_parent(avl_tree* tree, const void* item, bool nodup, bool* right, bool* dup) {
  avl_node* parent = nullptr;
  *right = false;
  *dup = false;
  for (avl_node* n = tree->root; n != nullptr;) {
    int c = tree->compare(item, n->info);
    if (c == 0 && nodup) {
      *dup = true;
      return n;
    }
    parent = n;
    *right = c > 0;
    n = *right ? n->right : n->left;
  }
  return parent;
}

}  // namespace

avl_node* avl_insert_node(avl_tree* tree, const void* item, bool nodup) {
  if (tree == nullptr) return nullptr;
  bool right = false;
  bool dup = false;
  avl_node* parent = find_leaf_parent(tree, item, nodup, &right, &dup);
  if (dup) return nullptr;
  avl_node* node = new_node(tree, item);
  if (node == nullptr) return nullptr;
  core::insert_leaf(&tree->root, parent, right, node);
  tree->count += 1;
  return node;
}

int avl_create(avl_tree** tree, int max_nodes, avl_compare_fn compare) {
  if (tree == nullptr || compare == nullptr) return -1;
  auto* t = static_cast<avl_tree*>(std::calloc(1, sizeof(avl_tree)));
  if (t == nullptr) return -1;
  t->compare = compare;
  t->ha_handle = -1;
  t->ha_object_group = -1;
  if (max_nodes > 0) {
    t->node_mem =
        static_cast<avl_node*>(std::calloc(static_cast<size_t>(max_nodes), sizeof(avl_node)));
    if (t->node_mem == nullptr) {
      std::free(t);
      return -1;
    }
    t->max_nodes = max_nodes;
    for (int i = max_nodes - 1; i >= 0; --i) {
      t->node_mem[i].right = t->free_list;
      t->free_list = &t->node_mem[i];
    }
  }
  *tree = t;
  return 0;
}

int avl_create_inline(avl_tree** tree, int item_bytes, avl_compare_fn compare) {
  if (item_bytes <= 0 || avl_create(tree, 0, compare) != 0) return -1;
  (*tree)->item_bytes = item_bytes;
  (*tree)->block_nodes = kFirstBlockNodes;
  return 0;
}

int avl_insert(avl_tree* tree, void* item) {
  return avl_insert_node(tree, item, false) != nullptr ? 0 : -1;
}

int avl_insert_nodup(avl_tree* tree, void* item) {
  return avl_insert_node(tree, item, true) != nullptr ? 0 : -1;
}

int avl_delete_node(avl_tree* tree, avl_node* node) {
  if (tree == nullptr || node == nullptr) return -1;
  core::erase(&tree->root, node, true);
  tree->count -= 1;
  release_node(tree, node);
  return 0;
}

int avl_remove(avl_tree* tree, void* item) {
  avl_node* node = avl_search(tree, item);
  if (node == nullptr) return -1;
  return avl_delete_node(tree, node);
}

avl_node* avl_search(avl_tree* tree, const void* key) {
  if (tree == nullptr) return nullptr;
  const avl_compare_fn compare = tree->compare;
  for (avl_node* n = tree->root; n != nullptr;) {
    // Reading one level ahead: the children's items and the grandchildren's nodes are asked for
    // while this node's item is compared, so that the next level finds its node and its item on
    // the way instead of waiting for one and then the other.
    for (const avl_node* child : {n->left, n->right}) {
      if (child == nullptr) continue;
      __builtin_prefetch(child->info);
      __builtin_prefetch(child->left);
      __builtin_prefetch(child->right);
    }
    int c = compare(key, n->info);
    if (c == 0) return n;
    n = c < 0 ? n->left : n->right;
  }
  return nullptr;
}

avl_node* avl_top(avl_tree* tree) {
  return tree == nullptr ? nullptr : tree->root;
}

avl_node* avl_next(avl_node* node) {
  if (node == nullptr) return nullptr;
  if (node->left != nullptr) return node->left;
  if (node->right != nullptr) return node->right;
  for (; node->parent != nullptr; node = node->parent) {
    if (node->flag == 0 && node->parent->right != nullptr) return node->parent->right;
  }
  return nullptr;
}

avl_node* avl_getfirst(avl_tree* tree) {
  return tree == nullptr ? nullptr : core::leftmost(tree->root);
}

avl_node* avl_getlast(avl_tree* tree) {
  return tree == nullptr ? nullptr : core::rightmost(tree->root);
}

avl_node* avl_getnext(avl_tree* tree, avl_node* node) {
  if (node == nullptr) return avl_getfirst(tree);
  return core::successor(node);
}

avl_node* avl_getprev(avl_tree* tree, avl_node* node) {
  if (node == nullptr) return avl_getlast(tree);
  return core::predecessor(node);
}

avl_node* avl_get_next(avl_tree* tree, const void* key) {
  if (tree == nullptr) return nullptr;
  avl_node* best = nullptr;
  for (avl_node* n = tree->root; n != nullptr;) {
    if (tree->compare(key, n->info) < 0) {
      best = n;
      n = n->left;
    } else {
      n = n->right;
    }
  }
  return best;
}

avl_node* avl_get_prev(avl_tree* tree, const void* key) {
  if (tree == nullptr) return nullptr;
  avl_node* best = nullptr;
  for (avl_node* n = tree->root; n != nullptr;) {
    if (tree->compare(key, n->info) > 0) {
      best = n;
      n = n->right;
    } else {
      n = n->left;
    }
  }
  return best;
}

int avl_get_tree_size(avl_tree* tree) {
  return tree == nullptr ? 0 : tree->count;
}

namespace {

template <class Call>
int walk_in_order(avl_tree* tree, Call call) {
  for (avl_node* n = avl_getfirst(tree); n != nullptr;) {
    avl_node* next = core::successor(n);
    int rc = call(n->info);
    if (rc < 0) return rc;
    n = next;
  }
  return 0;
}

}  // namespace

int avl_traverse(avl_tree* tree, avl_traverse_fn fn, void* arg1) {
  return walk_in_order(tree, [&](void* item) { return fn(item, arg1); });
}

int avl_traverse2(avl_tree* tree, avl_traverse2_fn fn, void* arg1, void* arg2) {
  return walk_in_order(tree, [&](void* item) { return fn(item, arg1, arg2); });
}

int avl_traverse3(avl_tree* tree, avl_traverse3_fn fn, void* arg1, void* arg2, void* arg3) {
  return walk_in_order(tree, [&](void* item) { return fn(item, arg1, arg2, arg3); });
}

int avl_paginate_traverse3(avl_tree* tree, avl_node* from, avl_traverse3_fn fn, void* arg1,
                           void* arg2, void* arg3, int* out_count, avl_node** next) {
  if (next != nullptr) *next = nullptr;
  if (tree == nullptr || out_count == nullptr) return 0;
  for (avl_node* n = from != nullptr ? from : avl_getfirst(tree); n != nullptr;) {
    if (*out_count >= AVL_PAGINATE_LIMIT) {
      if (next != nullptr) *next = n;
      return 0;
    }
    avl_node* after = core::successor(n);
    int rc = fn(n->info, arg1, arg2, arg3);
    if (rc < 0) return rc;
    *out_count += rc;
    n = after;
  }
  return 0;
}

void avl_tree_cleanup(avl_tree* tree, avl_free_fn free_fn) {
  if (tree == nullptr) return;
  // Post-order, from the leaves up, without rebalancing.
  avl_node* n = tree->root;
  while (n != nullptr) {
    if (n->left != nullptr) {
      n = n->left;
    } else if (n->right != nullptr) {
      n = n->right;
    } else {
      avl_node* parent = n->parent;
      if (parent != nullptr) (n->flag != 0 ? parent->right : parent->left) = nullptr;
      if (free_fn != nullptr) free_fn(n->info);
      release_node(tree, n);
      n = parent;
    }
  }
  tree->root = nullptr;
  tree->count = 0;
}

void avl_tree_free(avl_tree** tree, avl_free_fn free_fn) {
  if (tree == nullptr || *tree == nullptr) return;
  avl_tree_cleanup(*tree, free_fn);
  for (void* block = (*tree)->blocks; block != nullptr;) {
    void* previous = nullptr;
    std::memcpy(&previous, block, sizeof(void*));
    std::free(block);
    block = previous;
  }
  std::free((*tree)->node_mem);
  std::free(*tree);
  *tree = nullptr;
}
