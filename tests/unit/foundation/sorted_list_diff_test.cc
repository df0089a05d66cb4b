// Differential run with a fixed seed: sorted-list set operations against the std::set algorithms,
// 100000 random operations on an evolving list and fresh second lists.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <set>
#include <vector>

#include "list_helpers.h"

namespace {

using list_helpers::keys;
using Vec = std::vector<uint32_t>;

Vec as_vec(const std::set<uint32_t>& s) {
  return Vec(s.begin(), s.end());
}

TEST(SortedListDiff, MatchesStdSetAlgorithms) {
  list_helpers::U32Lists u;
  const sorted_list_desc* d = &u.desc;
  std::mt19937 rng(2024);
  std::set<uint32_t> model;
  sorted_list_node* list = nullptr;
  constexpr uint32_t kUniverse = 96;

  auto random_set = [&]() {
    std::set<uint32_t> s;
    int n = static_cast<int>(rng() % 12);
    for (int i = 0; i < n; ++i)
      s.insert(rng() % kUniverse);
    return s;
  };

  for (int op = 0; op < 100000; ++op) {
    uint32_t k = rng() % kUniverse;
    unsigned kind = rng() % 12;
    std::set<uint32_t> other = kind >= 4 ? random_set() : std::set<uint32_t>{};
    sorted_list_node* b = u.make(as_vec(other));
    Vec expect;
    switch (kind) {
      case 0:
      case 1:
        if (!model.count(k)) {
          ASSERT_EQ(sorted_linklist_add_one_item(d, &list, &k), 1);
          model.insert(k);
        }
        break;
      case 2:
        ASSERT_EQ(sorted_linklist_del_one_item(d, &list, &k), model.erase(k) ? 1 : 0) << op;
        break;
      case 3:
        ASSERT_EQ(sorted_linklist_is_member(d, list, &k), model.count(k) ? 1 : 0) << op;
        break;
      case 4: {
        ASSERT_EQ(sorted_linklist_add(d, &list, b), 1);
        model.insert(other.begin(), other.end());
        break;
      }
      case 5: {
        size_t before = model.size();
        for (uint32_t x : other)
          model.erase(x);
        ASSERT_EQ(sorted_linklist_minus(d, &list, b), static_cast<int>(before - model.size()));
        break;
      }
      case 6: {
        std::set<uint32_t> common;
        std::set_intersection(model.begin(), model.end(), other.begin(), other.end(),
                              std::inserter(common, common.end()));
        ASSERT_EQ(sorted_linklist_keep_common(d, &list, b),
                  static_cast<int>(model.size() - common.size()));
        model = common;
        break;
      }
      case 7:
      case 8:
      case 9: {
        sorted_list_node* made = kind == 7   ? sorted_linklist_make_add(d, list, b)
                                 : kind == 8 ? sorted_linklist_make_minus(d, list, b)
                                             : sorted_linklist_make_common(d, list, b);
        if (kind == 7) {
          std::set_union(model.begin(), model.end(), other.begin(), other.end(),
                         std::back_inserter(expect));
        } else if (kind == 8) {
          std::set_difference(model.begin(), model.end(), other.begin(), other.end(),
                              std::back_inserter(expect));
        } else {
          std::set_intersection(model.begin(), model.end(), other.begin(), other.end(),
                                std::back_inserter(expect));
        }
        ASSERT_EQ(keys(made), expect) << op << " kind " << kind;
        sorted_linklist_free_list(d, &made);
        break;
      }
      case 10: {
        bool includes = std::includes(model.begin(), model.end(), other.begin(), other.end());
        ASSERT_EQ(sorted_linklist_is_subset(d, list, b), includes ? 1 : 0) << op;
        Vec common;
        std::set_intersection(model.begin(), model.end(), other.begin(), other.end(),
                              std::back_inserter(common));
        ASSERT_EQ(sorted_linklist_is_any_present(d, list, b), common.empty() ? 0 : 1) << op;
        ASSERT_EQ(sorted_linklist_is_equal(d, list, b), model == other ? 1 : 0) << op;
        int visits = sorted_linklist_traverse_by_reference(
            d, list, b, [](sorted_list_node*, sorted_list_node*, void*) { return 1; }, nullptr);
        ASSERT_EQ(visits, static_cast<int>(common.size()));
        break;
      }
      default: {
        sorted_list_node* source = b;
        b = nullptr;
        sorted_linklist_move_keep_old(d, &list, &source);
        model = other;
        break;
      }
    }
    sorted_linklist_free_list(d, &b);
    ASSERT_EQ(keys(list), as_vec(model)) << op << " kind " << kind;
  }
  sorted_linklist_free_list(d, &list);
  EXPECT_EQ(generic_get_pool_allocated_number(&u.pool), 0u);
  EXPECT_EQ(u.pool.free_fail + u.pool.corrupt_fail, 0);
}

}  // namespace
