// avl_tree and dce_avl_tree. Differential runs with fixed seeds: avl_tree against std::multimap
// (both compare senses, items in the nodes or not) and dce_avl_tree against std::map (with and
// without delete rebalancing), 100000 random operations each, with the structure checker every 1000
// operations. And what they do not reach: avl_tree's null tree, pre-order walk, node identity
// across deletes, traversal callbacks and preallocated nodes; dce_avl_tree's first/last upkeep
// when a two-node tree loses its root, and the tree emptied again.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <numeric>
#include <random>
#include <tuple>
#include <vector>

#include "foundation/avl_tree.h"
#include "foundation/dce_avl_tree.h"
#include "stdout_capture.h"

// Walks a whole AVL tree (either kind) and checks its invariants: parent links and side flags,
// balance = height(right) - height(left) within -1..+1 (when balanced), rank = 1 + left size. The
// callers compare the in-order sequence it gives with their model.
namespace {

inline bool is_right(const avl_node* n) {
  return n->flag != 0;
}
inline bool is_right(const dce_avl_node* n) {
  return n->is_right != 0;
}

// Gives size and height of the subtree; records the first broken invariant in *error.
template <class N>
std::pair<int, int> walk(const N* n, const N* parent, bool balanced, std::vector<const N*>* order,
                         std::string* error) {
  if (n == nullptr) return {0, 0};
  auto [left_size, left_height] = walk<N>(n->left, n, balanced, order, error);
  order->push_back(n);
  auto [right_size, right_height] = walk<N>(n->right, n, balanced, order, error);
  int diff = right_height - left_height;
  const char* broken = n->parent != parent ? "bad parent link"
                       : parent != nullptr && is_right(n) != (parent->right == n)  ? "bad side flag"
                       : n->rank != 1 + left_size                                  ? "bad rank"
                       : balanced && (diff < -1 || diff > 1 || n->balance != diff) ? "bad balance"
                                                                                   : nullptr;
  if (broken != nullptr && error->empty()) *error = broken;
  return {left_size + right_size + 1, 1 + std::max(left_height, right_height)};
}

// Checks an avl_tree; gives its items in order.
inline std::vector<void*> check_tree(const avl_tree* tree) {
  std::vector<const avl_node*> order;
  std::string error;
  int size = walk<avl_node>(tree->root, nullptr, true, &order, &error).first;
  EXPECT_EQ(error, "");
  EXPECT_EQ(size, tree->count);
  std::vector<void*> items;
  for (const avl_node* n : order)
    items.push_back(n->info);
  return items;
}

// Checks a dce_avl_tree; gives its records in order (callers check `first` and `last`).
inline std::vector<void*> check_tree(const dce_avl_tree* tree) {
  std::vector<const dce_avl_node*> order;
  std::string error;
  walk<dce_avl_node>(tree->root, nullptr, tree->rebalance != 0, &order, &error);
  EXPECT_EQ(error, "");
  std::vector<void*> records;
  for (const dce_avl_node* n : order)
    records.push_back(dce_avl_record(tree, const_cast<dce_avl_node*>(n)));
  return records;
}

int cmp_int(const void* a, const void* b) {
  int x = *static_cast<const int*>(a);
  int y = *static_cast<const int*>(b);
  return x < y ? -1 : (x > y ? 1 : 0);
}

// The item of a node, -1 for none.
int key_of(const avl_node* n) {
  return n ? *static_cast<const int*>(n->info) : -1;
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
  avl_tree* tree = nullptr;
  EXPECT_EQ(
      (std::vector<avl_node*>{avl_search(nullptr, &key), avl_top(nullptr), avl_getfirst(nullptr)}),
      std::vector<avl_node*>(3, nullptr));
  EXPECT_EQ((std::vector<int>{avl_get_tree_size(nullptr), avl_insert(nullptr, &key),
                              avl_remove(nullptr, &key), avl_create(&tree, 0, nullptr)}),
            (std::vector<int>{0, -1, -1, -1}));
}

TEST_F(AvlTreeTest, PreOrderNextVisitsAllButNotSorted) {
  insert(20);
  std::vector<int> seen;
  for (avl_node* n = avl_top(tree_); n != nullptr; n = avl_next(n))
    seen.push_back(key_of(n));
  EXPECT_FALSE(std::is_sorted(seen.begin(), seen.end()));
  std::sort(seen.begin(), seen.end());
  EXPECT_EQ(seen, std::vector<int>(items_.begin(), items_.begin() + 20));
}

TEST_F(AvlTreeTest, DeleteKeepsOtherNodesInPlace) {
  insert(32);
  std::vector<avl_node*> nodes(32);
  for (int k = 0; k < 32; ++k)
    nodes[k] = avl_search(tree_, &items_[k]);
  // The root has two children: its successor is relinked, not copied.
  int root = key_of(avl_top(tree_));
  ASSERT_EQ(avl_delete_node(tree_, nodes[root]), 0);
  check_tree(tree_);
  for (int k = 0; k < 32; ++k)
    EXPECT_EQ(avl_search(tree_, &items_[k]), k == root ? nullptr : nodes[k]) << k;
}

TEST_F(AvlTreeTest, TraverseStopsOnNegativeAndPassesItsArguments) {
  insert(10);
  std::vector<int> visited;
  auto stop_at_5 = [](void* item, void* arg) {
    static_cast<std::vector<int>*>(arg)->push_back(*static_cast<int*>(item));
    return *static_cast<int*>(item) == 5 ? -7 : 0;
  };
  EXPECT_EQ(avl_traverse(tree_, stop_at_5, &visited), -7);
  EXPECT_EQ(visited, (std::vector<int>{0, 1, 2, 3, 4, 5}));

  for (int k : {0, 2, 4, 6, 8})
    avl_remove(tree_, &items_[k]);

  static int second, third;
  auto three = [](void* item, void* a1, void* a2, void* a3) {
    static_cast<std::vector<int*>*>(a1)->push_back(static_cast<int*>(item));
    return a2 == &second && a3 == &third ? 0 : -1;
  };
  std::vector<int*> seen;
  EXPECT_EQ(avl_traverse3(tree_, three, &seen, &second, &third), 0);
  EXPECT_EQ(seen, (std::vector<int*>{&items_[1], &items_[3], &items_[5], &items_[7], &items_[9]}));
}

TEST_F(AvlTreeTest, PaginateStopsAtOutputLimitAndResumes) {
  insert(12);
  auto thousand = [](void* item, void* a1, void*, void*) {
    static_cast<std::vector<int>*>(a1)->push_back(*static_cast<int*>(item));
    return 1000;
  };
  std::vector<int> seen;
  std::vector<size_t> page_ends;  // a page ends once 4096 is reached: after 5 items
  for (avl_node* next = nullptr; page_ends.empty() || (next != nullptr && page_ends.size() < 9);) {
    int out = 0;
    EXPECT_EQ(avl_paginate_traverse3(tree_, next, thousand, &seen, nullptr, nullptr, &out, &next),
              0);
    page_ends.push_back(seen.size());
  }
  EXPECT_EQ(page_ends, (std::vector<size_t>{5, 10, 12}));
  EXPECT_EQ(seen, std::vector<int>(items_.begin(), items_.begin() + 12));
}

TEST(AvlTreePrealloc, RunsOutAtMaxNodesAndReusesAfterCleanup) {
  avl_tree* tree = nullptr;
  ASSERT_EQ(avl_create(&tree, 4, cmp_int), 0);
  std::array<int, 6> items = {1, 2, 3, 4, 5, 6};
  for (int i = 0; i < 4; ++i)
    ASSERT_EQ(avl_insert(tree, &items[i]), 0);
  EXPECT_NE(ofa::test::stdout_of([&] {
              EXPECT_EQ(avl_insert(tree, &items[4]), -1);
            }).find("Error: Null: node = null"),
            std::string::npos);
  ASSERT_EQ(avl_remove(tree, &items[0]), 0);
  EXPECT_EQ(avl_insert(tree, &items[4]), 0);
  static int freed;
  freed = 0;
  avl_tree_cleanup(tree, [](void*) { ++freed; });
  EXPECT_EQ(freed, 4);
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(avl_insert(tree, &items[i]), 0);
  avl_tree_free(&tree, nullptr);
}

struct Rec {
  dce_avl_node link;  // at the head, as the group and meter bases have it
  uint32_t id;
};

TEST(DceAvl, DeleteRootOfTwoNodeTreeKeepsFirstAndLastThenEmpty) {
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
    EXPECT_EQ(check_tree(&t), std::vector<void*>{&recs[other]});
    dce_avl_delete(&t, t.root);  // empty again: nothing is found, the walk has no start
    EXPECT_EQ(dce_avl_find_or_find_next(&t, &recs[0].id, 0), nullptr);
    EXPECT_EQ(dce_avl_next(&t, nullptr), nullptr);
    EXPECT_EQ(dce_avl_first(&t), nullptr);
  }
}

constexpr int kOps = 100000;
constexpr int kKeys = 2000;

int cmp_int_reversed(const void* a, const void* b) {
  return cmp_int(b, a);
}

// (reversed compare, inline items)
class AvlDiffTest : public ::testing::TestWithParam<std::tuple<bool, bool>> {};

TEST_P(AvlDiffTest, MatchesMultimap) {
  const bool reversed = std::get<0>(GetParam()), in_node = std::get<1>(GetParam());
  using Model = std::multimap<int, int*, std::function<bool(int, int)>>;
  Model model(reversed ? std::function<bool(int, int)>(std::greater<int>())
                       : std::function<bool(int, int)>(std::less<int>()));
  avl_tree* tree = nullptr;
  avl_compare_fn cmp = reversed ? cmp_int_reversed : cmp_int;
  ASSERT_EQ(in_node ? avl_create_inline(&tree, sizeof(int), cmp) : avl_create(&tree, 0, cmp), 0);
  std::deque<int> items;  // stable addresses
  // The item the tree holds: the caller's, or the copy in an inline tree's node (null: refused).
  auto insert = [&](int* item, bool nodup) -> int* {
    if (in_node) {
      avl_node* n = avl_insert_node(tree, item, nodup);
      return n ? static_cast<int*>(n->info) : nullptr;
    }
    return (nodup ? avl_insert_nodup(tree, item) : avl_insert(tree, item)) == 0 ? item : nullptr;
  };
  std::mt19937 rng(reversed ? 4242 : 1717);

  for (int op = 0; op < kOps; ++op) {
    int key = static_cast<int>(rng() % kKeys);
    unsigned kind = rng() % 10;
    if (kind < 4) {
      items.push_back(key);
      int* held = insert(&items.back(), false);
      ASSERT_NE(held, nullptr);
      model.emplace(key, held);
    } else if (kind == 4) {
      items.push_back(key);
      bool absent = model.count(key) == 0;
      int* held = insert(&items.back(), true);
      ASSERT_EQ(held != nullptr, absent) << op;
      if (absent) model.emplace(key, held);
    } else if (kind < 7) {
      avl_node* n = avl_search(tree, &key);
      ASSERT_EQ(n != nullptr, model.count(key) > 0) << op;
      if (n != nullptr) {
        int* item = static_cast<int*>(n->info);
        ASSERT_EQ(*item, key);
        if (kind == 5) {
          ASSERT_EQ(avl_delete_node(tree, n), 0);
        } else {
          // avl_remove deletes the node that the same search finds.
          ASSERT_EQ(avl_remove(tree, &key), 0);
        }
        auto [lo, hi] = model.equal_range(key);
        auto it = std::find_if(lo, hi, [item](const auto& kv) { return kv.second == item; });
        ASSERT_NE(it, hi) << op;
        model.erase(it);
      } else {
        ASSERT_EQ(avl_remove(tree, &key), -1);
      }
    } else {
      auto up = model.upper_bound(key);
      ASSERT_EQ(key_of(avl_get_next(tree, &key)), up == model.end() ? -1 : up->first) << op;
      auto low = model.lower_bound(key);
      ASSERT_EQ(key_of(avl_get_prev(tree, &key)), low == model.begin() ? -1 : std::prev(low)->first)
          << op;
      ASSERT_EQ(key_of(avl_getfirst(tree)), model.empty() ? -1 : model.begin()->first);
      ASSERT_EQ(key_of(avl_getlast(tree)), model.empty() ? -1 : model.rbegin()->first);
    }
    ASSERT_EQ(avl_get_tree_size(tree), static_cast<int>(model.size()));
    if (op % 1000 == 999) {
      check_tree(tree);
      ASSERT_FALSE(::testing::Test::HasFailure()) << op;
      std::vector<int> by_node, back, expect;
      for (avl_node* n = avl_getnext(tree, nullptr); n != nullptr; n = avl_getnext(tree, n))
        by_node.push_back(key_of(n));
      for (avl_node* n = avl_getprev(tree, nullptr); n != nullptr; n = avl_getprev(tree, n))
        back.insert(back.begin(), key_of(n));
      for (const auto& [k, item] : model)
        expect.push_back(k);
      ASSERT_EQ(by_node, expect) << op;  // node steps follow the tree's sense
      ASSERT_EQ(back, expect) << op;
    }
  }
  avl_tree_free(&tree, nullptr);
}

INSTANTIATE_TEST_SUITE_P(ReversedInline, AvlDiffTest,
                         ::testing::Combine(::testing::Bool(), ::testing::Bool()));

struct DiffRec {
  uint32_t pad;
  uint32_t id;
  dce_avl_node link;  // not at the head: offsets are honoured
};

class DceDiffTest : public ::testing::TestWithParam<bool> {};

TEST_P(DceDiffTest, MatchesMap) {
  dce_avl_tree tree{};
  dce_avl_tree_init(&tree, dce_compare_uint32, offsetof(DiffRec, id), offsetof(DiffRec, link));
  dce_avl_tree_set_rebalance(&tree, GetParam() ? 1 : 0);
  std::vector<DiffRec> recs(kKeys);
  for (uint32_t i = 0; i < kKeys; ++i)
    recs[i].id = i;
  std::map<uint32_t, DiffRec*> model;
  std::mt19937 rng(GetParam() ? 99 : 7);
  auto rec = [&](std::map<uint32_t, DiffRec*>::iterator it) -> void* {
    return it == model.end() ? nullptr : it->second;
  };

  for (int op = 0; op < kOps; ++op) {
    uint32_t key = rng() % kKeys;
    unsigned kind = rng() % 10;
    bool present = model.count(key) > 0;
    if (kind < 4) {
      void* found = dce_avl_insert_or_find(&tree, &recs[key].link);
      ASSERT_EQ(found, present ? &recs[key] : nullptr) << op;
      model.emplace(key, &recs[key]);
    } else if (kind < 7) {
      if (present) {
        dce_avl_delete(&tree, &recs[key].link);
        model.erase(key);
      }
      ASSERT_EQ(dce_avl_find(&tree, &key), nullptr);
    } else if (kind < 9) {
      ASSERT_EQ(dce_avl_find(&tree, &key), rec(model.find(key))) << op;
      ASSERT_EQ(dce_avl_find_or_find_next(&tree, &key, 0), rec(model.lower_bound(key))) << op;
      ASSERT_EQ(dce_avl_find_or_find_next(&tree, &key, 1), rec(model.upper_bound(key))) << op;
    } else if (present) {
      auto it = model.find(key);
      ASSERT_EQ(dce_avl_next(&tree, &recs[key].link), rec(std::next(it))) << op;
      ASSERT_EQ(dce_avl_prev(&tree, &recs[key].link),
                it == model.begin() ? nullptr : std::prev(it)->second)
          << op;
    }
    ASSERT_EQ(dce_avl_first(&tree), model.empty() ? nullptr : model.begin()->second);
    ASSERT_EQ(dce_avl_last(&tree), model.empty() ? nullptr : model.rbegin()->second);
    if (op % 1000 == 999) {
      std::vector<void*> in_order = check_tree(&tree), expect;
      ASSERT_FALSE(::testing::Test::HasFailure()) << op;
      for (const auto& [k, r] : model)
        expect.push_back(r);
      ASSERT_EQ(in_order, expect) << op;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Rebalance, DceDiffTest, ::testing::Bool());

}  // namespace
