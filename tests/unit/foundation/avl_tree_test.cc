// avl_tree: search, duplicates, walks, preallocation, cleanup, reversed compare; the structure is
// checked by a full walk after every change.
#include "foundation/avl_tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <vector>

#include "tree_checker.h"

namespace {

int cmp_int(const void* a, const void* b) {
  int x = *static_cast<const int*>(a);
  int y = *static_cast<const int*>(b);
  return x < y ? -1 : (x > y ? 1 : 0);
}
int cmp_int_reversed(const void* a, const void* b) {
  return cmp_int(b, a);
}

int value(const avl_node* n) {
  return *static_cast<const int*>(n->info);
}

std::vector<int> values(const avl_tree* tree) {
  std::vector<int> out;
  for (void* item : tree_check::check(tree))
    out.push_back(*static_cast<int*>(item));
  return out;
}

class AvlTreeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(avl_create(&tree_, 0, cmp_int), 0);
    items_.resize(64);
    std::iota(items_.begin(), items_.end(), 0);
  }
  void TearDown() override {
    avl_tree_free(&tree_, nullptr);
    EXPECT_EQ(tree_, nullptr);
  }
  avl_tree* tree_ = nullptr;
  std::vector<int> items_;
};

TEST(AvlTreeNull, NullTreeGivesNull) {
  int key = 1;
  EXPECT_EQ(avl_search(nullptr, &key), nullptr);
  EXPECT_EQ(avl_top(nullptr), nullptr);
  EXPECT_EQ(avl_getfirst(nullptr), nullptr);
  EXPECT_EQ(avl_get_tree_size(nullptr), 0);
  EXPECT_EQ(avl_insert(nullptr, &key), -1);
  EXPECT_EQ(avl_remove(nullptr, &key), -1);
  avl_tree* tree = nullptr;
  EXPECT_EQ(avl_create(&tree, 0, nullptr), -1);
}

TEST_F(AvlTreeTest, AscendingDescendingAndZigzagInsertsStayBalanced) {
  // Each order exercises a different rotation; the checker runs after every insert.
  std::vector<std::vector<int>> orders = {{}, {}, {}};
  for (int i = 0; i < 64; ++i)
    orders[0].push_back(i);
  for (int i = 63; i >= 0; --i)
    orders[1].push_back(i);
  for (int i = 0; i < 32; ++i) {
    orders[2].push_back(i);
    orders[2].push_back(63 - i);
  }
  for (const auto& order : orders) {
    for (int k : order) {
      ASSERT_EQ(avl_insert(tree_, &items_[k]), 0);
      tree_check::check(tree_);
    }
    std::vector<int> expect(64);
    std::iota(expect.begin(), expect.end(), 0);
    EXPECT_EQ(values(tree_), expect);
    avl_tree_cleanup(tree_, nullptr);
    EXPECT_EQ(avl_get_tree_size(tree_), 0);
  }
}

TEST_F(AvlTreeTest, DuplicatesGiveTwoNodesAndRemoveTakesOne) {
  ASSERT_EQ(avl_insert(tree_, &items_[5]), 0);
  ASSERT_EQ(avl_insert(tree_, &items_[5]), 0);
  ASSERT_EQ(avl_insert(tree_, &items_[3]), 0);
  EXPECT_EQ(avl_get_tree_size(tree_), 3);
  EXPECT_EQ(values(tree_), (std::vector<int>{3, 5, 5}));
  EXPECT_EQ(avl_remove(tree_, &items_[5]), 0);
  EXPECT_EQ(values(tree_), (std::vector<int>{3, 5}));
  EXPECT_EQ(avl_remove(tree_, &items_[5]), 0);
  EXPECT_EQ(avl_remove(tree_, &items_[5]), -1);
  EXPECT_EQ(values(tree_), (std::vector<int>{3}));
}

TEST_F(AvlTreeTest, ReversedCompareGivesHighestFirst) {
  avl_tree* rev = nullptr;
  ASSERT_EQ(avl_create(&rev, 0, cmp_int_reversed), 0);
  for (int k : {3, 9, 1, 7, 5})
    ASSERT_EQ(avl_insert(rev, &items_[k]), 0);
  // In-order steps by node (by key they are checked against std::multimap in the diff test).
  std::vector<int> seen;
  for (avl_node* n = avl_getnext(rev, nullptr); n != nullptr; n = avl_getnext(rev, n))
    seen.push_back(value(n));
  EXPECT_EQ(seen, (std::vector<int>{9, 7, 5, 3, 1}));
  seen.clear();
  for (avl_node* n = avl_getprev(rev, nullptr); n != nullptr; n = avl_getprev(rev, n))
    seen.push_back(value(n));
  EXPECT_EQ(seen, (std::vector<int>{1, 3, 5, 7, 9}));
  int key = 6;
  EXPECT_EQ(value(avl_get_next(rev, &key)), 5);  // "after" in the tree's own order
  tree_check::check(rev);
  avl_tree_free(&rev, nullptr);
}

TEST_F(AvlTreeTest, PreOrderNextVisitsAllButNotSorted) {
  for (int k = 0; k < 20; ++k)
    ASSERT_EQ(avl_insert(tree_, &items_[k]), 0);
  std::vector<int> seen;
  for (avl_node* n = avl_top(tree_); n != nullptr; n = avl_next(n))
    seen.push_back(value(n));
  EXPECT_EQ(seen.front(), value(avl_top(tree_)));
  EXPECT_FALSE(std::is_sorted(seen.begin(), seen.end()));
  std::sort(seen.begin(), seen.end());
  EXPECT_EQ(seen, values(tree_));
}

TEST_F(AvlTreeTest, DeleteKeepsOtherNodesInPlaceAndBalanced) {
  std::vector<avl_node*> nodes(32);
  for (int k = 0; k < 32; ++k) {
    ASSERT_EQ(avl_insert(tree_, &items_[k]), 0);
  }
  for (int k = 0; k < 32; ++k)
    nodes[k] = avl_search(tree_, &items_[k]);
  // The root has two children: its successor is relinked, not copied.
  int root = value(avl_top(tree_));
  ASSERT_EQ(avl_delete_node(tree_, nodes[root]), 0);
  tree_check::check(tree_);
  for (int k = 0; k < 32; ++k) {
    if (k == root) continue;
    EXPECT_EQ(nodes[k]->info, &items_[k]);
    EXPECT_EQ(avl_search(tree_, &items_[k]), nodes[k]);
  }
  int left = 31;
  for (int k : {0, 31, 15, 16, 1, 30, 7, 8, 23, 24}) {
    if (k == root) continue;
    ASSERT_EQ(avl_delete_node(tree_, nodes[k]), 0);
    tree_check::check(tree_);
    --left;
  }
  EXPECT_EQ(avl_get_tree_size(tree_), left);
}

TEST_F(AvlTreeTest, TraverseStopsOnNegativeAndAllowsDeletingCurrent) {
  for (int k = 0; k < 10; ++k)
    ASSERT_EQ(avl_insert(tree_, &items_[k]), 0);
  struct Ctx {
    avl_tree* tree;
    std::vector<int> seen;
  } ctx{tree_, {}};
  auto stop_at_5 = [](void* item, void* arg) {
    auto* c = static_cast<Ctx*>(arg);
    c->seen.push_back(*static_cast<int*>(item));
    return *static_cast<int*>(item) == 5 ? -7 : 0;
  };
  EXPECT_EQ(avl_traverse(tree_, stop_at_5, &ctx), -7);
  EXPECT_EQ(ctx.seen, (std::vector<int>{0, 1, 2, 3, 4, 5}));

  auto delete_even = [](void* item, void* arg1, void* arg2) {
    auto* t = static_cast<avl_tree*>(arg1);
    if (*static_cast<int*>(item) % 2 == 0) avl_remove(t, item);
    ++*static_cast<int*>(arg2);
    return 0;
  };
  int calls = 0;
  EXPECT_EQ(avl_traverse2(tree_, delete_even, tree_, &calls), 0);
  EXPECT_EQ(calls, 10);
  EXPECT_EQ(values(tree_), (std::vector<int>{1, 3, 5, 7, 9}));

  auto sum3 = [](void* item, void* a1, void* a2, void* a3) {
    *static_cast<int*>(a1) += *static_cast<int*>(item);
    *static_cast<int*>(a2) += 1;
    *static_cast<int*>(a3) = *static_cast<int*>(item);
    return 0;
  };
  int sum = 0, count = 0, last = -1;
  EXPECT_EQ(avl_traverse3(tree_, sum3, &sum, &count, &last), 0);
  EXPECT_EQ(sum, 25);
  EXPECT_EQ(count, 5);
  EXPECT_EQ(last, 9);
}

TEST_F(AvlTreeTest, PaginateStopsAtOutputLimitAndResumes) {
  for (int k = 0; k < 12; ++k)
    ASSERT_EQ(avl_insert(tree_, &items_[k]), 0);
  auto thousand = [](void* item, void* a1, void*, void*) {
    static_cast<std::vector<int>*>(a1)->push_back(*static_cast<int*>(item));
    return 1000;
  };
  std::vector<int> seen;
  int out = 0;
  avl_node* next = nullptr;
  EXPECT_EQ(avl_paginate_traverse3(tree_, nullptr, thousand, &seen, nullptr, nullptr, &out, &next),
            0);
  EXPECT_EQ(seen, (std::vector<int>{0, 1, 2, 3, 4}));  // 5000 >= 4096
  ASSERT_NE(next, nullptr);
  EXPECT_EQ(value(next), 5);
  out = 0;
  seen.clear();
  avl_paginate_traverse3(tree_, next, thousand, &seen, nullptr, nullptr, &out, &next);
  out = 0;
  avl_paginate_traverse3(tree_, next, thousand, &seen, nullptr, nullptr, &out, &next);
  EXPECT_EQ(seen, (std::vector<int>{5, 6, 7, 8, 9, 10, 11}));
  EXPECT_EQ(next, nullptr);
}

TEST(AvlTreePrealloc, RunsOutAtMaxNodesAndReusesAfterCleanup) {
  avl_tree* tree = nullptr;
  ASSERT_EQ(avl_create(&tree, 4, cmp_int), 0);
  std::array<int, 6> items = {1, 2, 3, 4, 5, 6};
  for (int i = 0; i < 4; ++i)
    ASSERT_EQ(avl_insert(tree, &items[i]), 0);
  testing::internal::CaptureStdout();
  EXPECT_EQ(avl_insert(tree, &items[4]), -1);
  EXPECT_NE(testing::internal::GetCapturedStdout().find("Error: Null: node = null"),
            std::string::npos);
  EXPECT_EQ(avl_get_tree_size(tree), 4);
  ASSERT_EQ(avl_remove(tree, &items[0]), 0);
  EXPECT_EQ(avl_insert(tree, &items[4]), 0);
  int freed = 0;
  static int* freed_counter;
  freed_counter = &freed;
  avl_tree_cleanup(tree, [](void*) { ++*freed_counter; });
  EXPECT_EQ(freed, 4);
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(avl_insert(tree, &items[i]), 0);
  tree_check::check(tree);
  avl_tree_free(&tree, nullptr);
}

}  // namespace
