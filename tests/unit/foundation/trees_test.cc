// What the differential runs against std::multimap and std::map do not reach: avl_tree's null
// tree, node steps in a reversed order, pre-order walk, node identity across deletes, traversal
// callbacks, pagination and preallocated nodes; dce_avl_tree from a zeroed record, first/last
// upkeep when a two-node tree loses its root, and the key compares.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <numeric>
#include <vector>

#include "foundation/avl_tree.h"
#include "foundation/dce_avl_tree.h"
#include "tree_checker.h"

namespace {

int cmp_int(const void* a, const void* b) {
  int x = *static_cast<const int*>(a);
  int y = *static_cast<const int*>(b);
  return x < y ? -1 : (x > y ? 1 : 0);
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
  void insert(int n) {
    for (int k = 0; k < n; ++k)
      ASSERT_EQ(avl_insert(tree_, &items_[k]), 0);
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

TEST_F(AvlTreeTest, ReversedCompareStepsByNodeFromHighest) {
  avl_tree* rev = nullptr;
  ASSERT_EQ(avl_create(&rev, 0, [](const void* a, const void* b) { return cmp_int(b, a); }), 0);
  for (int k : {3, 9, 1, 7, 5})
    ASSERT_EQ(avl_insert(rev, &items_[k]), 0);
  std::vector<int> seen;
  for (avl_node* n = avl_getnext(rev, nullptr); n != nullptr; n = avl_getnext(rev, n))
    seen.push_back(value(n));
  EXPECT_EQ(seen, (std::vector<int>{9, 7, 5, 3, 1}));
  seen.clear();
  for (avl_node* n = avl_getprev(rev, nullptr); n != nullptr; n = avl_getprev(rev, n))
    seen.push_back(value(n));
  EXPECT_EQ(seen, (std::vector<int>{1, 3, 5, 7, 9}));
  avl_tree_free(&rev, nullptr);
}

TEST_F(AvlTreeTest, PreOrderNextVisitsAllButNotSorted) {
  insert(20);
  std::vector<int> seen;
  for (avl_node* n = avl_top(tree_); n != nullptr; n = avl_next(n))
    seen.push_back(value(n));
  EXPECT_EQ(seen.front(), value(avl_top(tree_)));
  EXPECT_FALSE(std::is_sorted(seen.begin(), seen.end()));
  std::sort(seen.begin(), seen.end());
  EXPECT_EQ(seen, values(tree_));
}

TEST_F(AvlTreeTest, DeleteKeepsOtherNodesInPlace) {
  insert(32);
  std::vector<avl_node*> nodes(32);
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
}

TEST_F(AvlTreeTest, TraverseStopsOnNegativeAndAllowsDeletingCurrent) {
  insert(10);
  struct Ctx {
    avl_tree* tree;
    std::vector<int> seen;
  } ctx{tree_, {}};
  auto stop_at_5 = [](void* item, void* arg) {
    static_cast<Ctx*>(arg)->seen.push_back(*static_cast<int*>(item));
    return *static_cast<int*>(item) == 5 ? -7 : 0;
  };
  EXPECT_EQ(avl_traverse(tree_, stop_at_5, &ctx), -7);
  EXPECT_EQ(ctx.seen, (std::vector<int>{0, 1, 2, 3, 4, 5}));

  auto delete_even = [](void* item, void* arg1, void* arg2) {
    if (*static_cast<int*>(item) % 2 == 0) avl_remove(static_cast<avl_tree*>(arg1), item);
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
  insert(12);
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
  static int freed;
  freed = 0;
  avl_tree_cleanup(tree, [](void*) { ++freed; });
  EXPECT_EQ(freed, 4);
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(avl_insert(tree, &items[i]), 0);
  tree_check::check(tree);
  avl_tree_free(&tree, nullptr);
}

struct Rec {
  dce_avl_node link;  // at the head, as the group and meter bases have it
  uint32_t id;
};

TEST(DceAvl, EmptyTreeFromZeroedRecord) {
  Rec rec{{}, 3};
  dce_avl_tree t{};
  t.compare = dce_compare_uint32;
  t.key_offset = offsetof(Rec, id);
  t.rebalance = 1;
  EXPECT_EQ(dce_avl_find(&t, &rec.id), nullptr);
  EXPECT_EQ(dce_avl_find_or_find_next(&t, &rec.id, 1), nullptr);
  EXPECT_EQ(dce_avl_next(&t, nullptr), nullptr);
  EXPECT_EQ(dce_avl_insert_or_find(&t, &rec.link), nullptr);
  EXPECT_EQ(dce_avl_find(&t, &rec.id), &rec);
}

TEST(DceAvl, DeleteRootOfTwoNodeTreeKeepsFirstAndLast) {
  for (bool root_is_low : {true, false}) {
    Rec recs[3] = {{{}, 0}, {{}, 1}, {{}, 2}};
    dce_avl_tree t{};
    dce_avl_tree_init(&t, dce_compare_uint32, offsetof(Rec, id), offsetof(Rec, link));
    for (uint32_t id : root_is_low ? std::array<uint32_t, 2>{1, 2} : std::array<uint32_t, 2>{2, 1})
      ASSERT_EQ(dce_avl_insert_or_find(&t, &recs[id].link), nullptr);
    uint32_t other = root_is_low ? 2 : 1;
    dce_avl_delete(&t, t.root);
    EXPECT_EQ(t.first, &recs[other].link);
    EXPECT_EQ(t.last, &recs[other].link);
    EXPECT_EQ(tree_check::check(&t), std::vector<void*>{&recs[other]});
  }
}

TEST(DceCompare, WidthsAndOrdinarySense) {
  uint32_t a32 = 1, b32 = 0xFFFFFFFF;
  uint16_t a16 = 2, b16 = 0xFFFF;
  uint8_t a8 = 3, b8 = 0xFF;
  EXPECT_EQ(dce_compare_uint32(&a32, &b32), -1);
  EXPECT_EQ(dce_compare_uint32(&b32, &a32), 1);
  EXPECT_EQ(dce_compare_uint32(&a32, &a32), 0);
  EXPECT_EQ(dce_compare_uint16(&a16, &b16), -1);
  EXPECT_EQ(dce_compare_uint16(&b16, &b16), 0);
  EXPECT_EQ(dce_compare_uint8(&b8, &a8), 1);
}

}  // namespace
