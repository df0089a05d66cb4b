// Differential runs with fixed seeds: avl_tree against std::multimap (both compare senses) and
// dce_avl_tree against std::map (with and without delete rebalancing), 100000 random operations
// each, with the structure checker every 1000 operations.
#include <gtest/gtest.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <random>
#include <vector>

#include "foundation/avl_tree.h"
#include "foundation/dce_avl_tree.h"
#include "tree_checker.h"

namespace {

constexpr int kOps = 100000;
constexpr int kKeys = 2000;

int cmp_int(const void* a, const void* b) {
  int x = *static_cast<const int*>(a);
  int y = *static_cast<const int*>(b);
  return x < y ? -1 : (x > y ? 1 : 0);
}
int cmp_int_reversed(const void* a, const void* b) {
  return cmp_int(b, a);
}

int key_of(const avl_node* n) {
  return n ? *static_cast<const int*>(n->info) : -1;
}

class AvlDiffTest : public ::testing::TestWithParam<bool> {};

TEST_P(AvlDiffTest, MatchesMultimap) {
  const bool reversed = GetParam();
  using Model = std::multimap<int, int*, std::function<bool(int, int)>>;
  Model model(reversed ? std::function<bool(int, int)>(std::greater<int>())
                       : std::function<bool(int, int)>(std::less<int>()));
  avl_tree* tree = nullptr;
  ASSERT_EQ(avl_create(&tree, 0, reversed ? cmp_int_reversed : cmp_int), 0);
  std::deque<int> items;  // stable addresses
  std::mt19937 rng(reversed ? 4242 : 1717);

  auto erase_item = [&](int* item) {
    auto [lo, hi] = model.equal_range(*item);
    for (auto it = lo; it != hi; ++it) {
      if (it->second == item) {
        model.erase(it);
        return true;
      }
    }
    return false;
  };

  for (int op = 0; op < kOps; ++op) {
    int key = static_cast<int>(rng() % kKeys);
    unsigned kind = rng() % 10;
    if (kind < 4) {
      items.push_back(key);
      ASSERT_EQ(avl_insert(tree, &items.back()), 0);
      model.emplace(key, &items.back());
    } else if (kind == 4) {
      items.push_back(key);
      bool absent = model.count(key) == 0;
      ASSERT_EQ(avl_insert_nodup(tree, &items.back()), absent ? 0 : -1) << op;
      if (absent) model.emplace(key, &items.back());
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
        ASSERT_TRUE(erase_item(item)) << op;
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
      std::vector<void*> in_order = tree_check::check(tree);
      ASSERT_FALSE(::testing::Test::HasFailure()) << op;
      size_t i = 0;
      for (const auto& [k, item] : model)
        ASSERT_EQ(*static_cast<int*>(in_order[i++]), k);
    }
  }
  avl_tree_free(&tree, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Senses, AvlDiffTest, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Reversed" : "Ordinary"; });

struct Rec {
  uint32_t pad;
  uint32_t id;
  dce_avl_node link;  // not at the head: offsets are honoured
};

class DceDiffTest : public ::testing::TestWithParam<bool> {};

TEST_P(DceDiffTest, MatchesMap) {
  dce_avl_tree tree{};
  dce_avl_tree_init(&tree, dce_compare_uint32, offsetof(Rec, id), offsetof(Rec, link));
  dce_avl_tree_set_rebalance(&tree, GetParam() ? 1 : 0);
  std::vector<Rec> recs(kKeys);
  for (uint32_t i = 0; i < kKeys; ++i)
    recs[i].id = i;
  std::map<uint32_t, Rec*> model;
  std::mt19937 rng(GetParam() ? 99 : 7);
  auto id = [](void* r) { return r ? static_cast<int64_t>(static_cast<Rec*>(r)->id) : -1; };
  auto model_id = [&](std::map<uint32_t, Rec*>::iterator it) {
    return it == model.end() ? -1 : static_cast<int64_t>(it->first);
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
      ASSERT_EQ(id(dce_avl_find(&tree, &key)), present ? static_cast<int64_t>(key) : -1);
      ASSERT_EQ(id(dce_avl_find_or_find_next(&tree, &key, 0)), model_id(model.lower_bound(key)));
      ASSERT_EQ(id(dce_avl_find_or_find_next(&tree, &key, 1)), model_id(model.upper_bound(key)));
    } else if (present) {
      auto it = model.find(key);
      ASSERT_EQ(id(dce_avl_next(&tree, &recs[key].link)), model_id(std::next(it)));
      ASSERT_EQ(id(dce_avl_prev(&tree, &recs[key].link)),
                it == model.begin() ? -1 : static_cast<int64_t>(std::prev(it)->first));
    }
    ASSERT_EQ(id(dce_avl_first(&tree)),
              model.empty() ? -1 : static_cast<int64_t>(model.begin()->first));
    ASSERT_EQ(id(dce_avl_last(&tree)),
              model.empty() ? -1 : static_cast<int64_t>(model.rbegin()->first));
    if (op % 1000 == 999) {
      std::vector<void*> in_order = tree_check::check(&tree);
      ASSERT_FALSE(::testing::Test::HasFailure()) << op;
      ASSERT_EQ(in_order.size(), model.size());
      size_t i = 0;
      for (const auto& [k, rec] : model)
        ASSERT_EQ(in_order[i++], rec);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Rebalance, DceDiffTest, ::testing::Values(true, false),
                         [](const auto& info) { return info.param ? "On" : "Off"; });

}  // namespace
