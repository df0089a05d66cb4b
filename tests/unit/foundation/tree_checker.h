// Walks a whole AVL tree (either kind) and checks its invariants: parent links and side flags,
// balance = height(right) - height(left) within -1..+1 (when balanced), rank = 1 + left size, and
// the in-order sequence sorted by the tree's own compare.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "foundation/avl_tree.h"
#include "foundation/dce_avl_tree.h"

namespace tree_check {

inline bool is_right(const avl_node* n) {
  return n->flag != 0;
}
inline bool is_right(const dce_avl_node* n) {
  return n->is_right != 0;
}

struct Result {
  int size = 0;
  int height = 0;
};

// Gives size and height of the subtree; records the first broken invariant in *error.
template <class N>
Result walk(const N* n, const N* parent, bool check_balance, std::vector<const N*>* order,
            std::string* error) {
  if (n == nullptr) return {};
  if (n->parent != parent && error->empty()) *error = "bad parent link";
  if (parent != nullptr && is_right(n) != (parent->right == n) && error->empty())
    *error = "bad side flag";
  Result l = walk<N>(n->left, n, check_balance, order, error);
  order->push_back(n);
  Result r = walk<N>(n->right, n, check_balance, order, error);
  if (n->rank != 1 + l.size && error->empty()) *error = "bad rank";
  int diff = r.height - l.height;
  if (check_balance && (diff < -1 || diff > 1 || n->balance != diff) && error->empty())
    *error = "bad balance";
  return {l.size + r.size + 1, 1 + std::max(l.height, r.height)};
}

// Checks an avl_tree; gives its items in order.
inline std::vector<void*> check(const avl_tree* tree) {
  std::vector<const avl_node*> order;
  std::string error;
  Result res = walk<avl_node>(tree->root, nullptr, true, &order, &error);
  EXPECT_EQ(error, "");
  EXPECT_EQ(res.size, tree->count);
  std::vector<void*> items;
  for (size_t i = 0; i < order.size(); ++i) {
    if (i > 0) {
      EXPECT_LE(tree->compare(order[i - 1]->info, order[i]->info), 0) << "order at " << i;
    }
    items.push_back(order[i]->info);
  }
  return items;
}

// Checks a dce_avl_tree; gives its records in order.
inline std::vector<void*> check(const dce_avl_tree* tree) {
  std::vector<const dce_avl_node*> order;
  std::string error;
  walk<dce_avl_node>(tree->root, nullptr, tree->rebalance != 0, &order, &error);
  EXPECT_EQ(error, "");
  std::vector<void*> records;
  auto key = [&](const dce_avl_node* n) {
    return reinterpret_cast<const char*>(n) - tree->node_offset + tree->key_offset;
  };
  for (size_t i = 0; i < order.size(); ++i) {
    if (i > 0) {
      EXPECT_LT(tree->compare(key(order[i - 1]), key(order[i])), 0) << "order at " << i;
    }
    records.push_back(dce_avl_record(tree, const_cast<dce_avl_node*>(order[i])));
  }
  EXPECT_EQ(tree->first, order.empty() ? nullptr : order.front());
  EXPECT_EQ(tree->last, order.empty() ? nullptr : order.back());
  return records;
}

}  // namespace tree_check
