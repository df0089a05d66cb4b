// Sorted lists (equal keys, callbacks, element identity, running out of elements) and the double
// list; and a differential run with a fixed seed: sorted-list set operations, moves, clones and
// arrays against the std::set algorithms, 100000 random operations on an evolving list and fresh
// second lists. The quick sort is the hash table's sorted walk (its differential run).
#include "foundation/lists.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <random>
#include <set>
#include <vector>

namespace {

// A sorted-list descriptor over uint32_t keys, and conversions between lists and vectors.
inline int cmp_u32(const void* a, const void* b) {
  uint32_t x, y;
  std::memcpy(&x, a, 4);
  std::memcpy(&y, b, 4);
  return x < y ? -1 : (x > y ? 1 : 0);
}

inline uint32_t key(sorted_list_node* n) {
  uint32_t k;
  std::memcpy(&k, sorted_list_key(n), 4);
  return k;
}

inline std::vector<uint32_t> keys(sorted_list_node* list) {
  std::vector<uint32_t> out;
  for (; list != nullptr; list = list->next)
    out.push_back(key(list));
  return out;
}

// Owns a pool and a descriptor for uint32_t keys.
struct U32Lists {
  generic_pool pool{};
  sorted_list_desc desc{};
  U32Lists() {
    init_generic_pool(&pool, 64, SORTED_LIST_KEY_OFFSET + 4, GENERIC_POOL_GUARD);
    desc.pool = &pool;
    desc.key_size = 4;
    desc.compare = cmp_u32;
  }
  ~U32Lists() { free_generic_pool(&pool); }
  sorted_list_node* make(const std::vector<uint32_t>& ks) {
    sorted_list_node* list = nullptr;
    for (uint32_t k : ks)
      sorted_linklist_add_one_item(&desc, &list, &k);
    return list;
  }
};

int cmp_words(void* a, void* b) {
  auto x = reinterpret_cast<uintptr_t>(a);
  auto y = reinterpret_cast<uintptr_t>(b);
  return x < y ? -1 : (x > y ? 1 : 0);
}

TEST(QuickSort, SortsLikeStdSort) {
  std::mt19937 rng(17);
  for (int n : {0, 1, 2, 3, 17, 1000}) {
    for (int shape = 0; shape < 4; ++shape) {  // random, ascending, descending, few values
      std::vector<uintptr_t> v(static_cast<size_t>(n));
      for (int i = 0; i < n; ++i)
        v[i] = shape == 0 ? rng() % 1000 : shape == 1 ? i : shape == 2 ? n - i : rng() % 3;
      std::vector<uintptr_t> expect = v;
      std::sort(expect.begin(), expect.end());
      quick_sort_generic_no_index(0, n - 1, reinterpret_cast<void**>(v.data()), cmp_words);
      EXPECT_EQ(v, expect) << n << " shape " << shape;
    }
  }
}

TEST(QuickSortIndex, SortsIndexesByItemOrKey) {
  struct Item {
    uint32_t pad;
    uint32_t key;
  };
  const Item table[] = {{9, 30}, {8, 10}, {7, 20}, {6, 0}};
  uint32_t index[] = {0, 1, 2, 3};
  quick_sort_generic_anykey(0, 3, index, table, sizeof(Item), offsetof(Item, key), cmp_u32);
  EXPECT_EQ(std::vector<uint32_t>(index, index + 4), (std::vector<uint32_t>{3, 1, 2, 0}));
  quick_sort_generic(0, 3, index, table, sizeof(Item), cmp_u32);  // by `pad`
  EXPECT_EQ(std::vector<uint32_t>(index, index + 4), (std::vector<uint32_t>{3, 2, 1, 0}));
  void* words[] = {reinterpret_cast<void*>(2), reinterpret_cast<void*>(1)};
  quick_sort_generic_no_index2(
      0, 1, words, [](void* a, void* b, void*) { return cmp_words(a, b); }, nullptr);
  EXPECT_EQ(words[0], reinterpret_cast<void*>(1));
}

TEST(PowerOfTwo, SmallestFromTwoUp) {
  const std::array<uint32_t, 3> cases[] = {
      {0, 2, 1}, {3, 4, 2}, {1024, 1024, 10}, {1025, 2048, 11}};
  for (auto [n, value, exponent] : cases) {
    uint32_t e = 0;
    EXPECT_EQ(get_power_of_two(n, &e), value) << n;
    EXPECT_EQ(e, exponent) << n;
  }
}

class SortedList : public ::testing::Test {
 protected:
  U32Lists u_;
  sorted_list_desc& d_ = u_.desc;
};

// Set operations, moves, clones, arrays and deletes without equal keys are in the differential
// run.
TEST_F(SortedList, AddAllowsEqualKeysAndDeleteTakesOne) {
  sorted_list_node* l = u_.make({5, 3});
  uint32_t k = 3;
  const void* one[] = {&k};
  ASSERT_EQ(sorted_linklist_add_from_array(&d_, &l, one, 1), 1);
  EXPECT_EQ(sorted_linklist_del_one_item(&d_, &l, &k), 1);
  EXPECT_EQ(keys(l), (std::vector<uint32_t>{3, 5}));
  sorted_linklist_free_list(&d_, &l);
  EXPECT_EQ(l, nullptr);
}

TEST_F(SortedList, MergeCallbackOnAddAndGateOnMinus) {
  std::vector<std::pair<uint32_t, int>> calls;
  d_.merge_argument = &calls;
  d_.merge = [](sorted_list_node* mine, sorted_list_node*, int adding, void* arg) {
    uint32_t k = key(mine);
    static_cast<std::vector<std::pair<uint32_t, int>>*>(arg)->push_back({k, adding});
    return k == 2 ? 0 : 1;  // minus keeps key 2
  };
  sorted_list_node* a = u_.make({1, 2, 3});
  sorted_list_node* b = u_.make({2, 3, 4});
  EXPECT_EQ(sorted_linklist_add(&d_, &a, b), 1);
  EXPECT_EQ(sorted_linklist_minus(&d_, &a, b), 2);
  EXPECT_EQ(keys(a), (std::vector<uint32_t>{1, 2}));
  EXPECT_EQ(calls, (std::vector<std::pair<uint32_t, int>>{{2, 1}, {3, 1}, {2, 0}, {3, 0}, {4, 0}}));
  sorted_linklist_free_list(&d_, &a);
  sorted_linklist_free_list(&d_, &b);
}

TEST_F(SortedList, KeepOldElementsMergeEqualKeysAndStopAWalk) {
  sorted_list_node* target = u_.make({1, 2, 3});
  sorted_list_node* source = u_.make({2, 3, 4});
  sorted_list_node* old2 = target->next;
  sorted_linklist_move_keep_old(&d_, &target, &source);
  EXPECT_EQ(target, old2);  // the common key kept its old element
  sorted_list_node* more = u_.make({2, 7});
  sorted_linklist_merge(&d_, &target, &more);
  EXPECT_EQ(more, nullptr);
  EXPECT_EQ(keys(target), (std::vector<uint32_t>{2, 2, 3, 4, 7}));
  auto stop_at_3 = [](sorted_list_node* e1, sorted_list_node*, void*) {
    return key(e1) == 3 ? -1 : 1;
  };
  EXPECT_EQ(sorted_linklist_traverse_by_reference(&d_, target, target, stop_at_3, nullptr), 2);
  sorted_linklist_free_list(&d_, &target);
  EXPECT_EQ(generic_get_pool_allocated_number(&u_.pool), 0u);
}

TEST_F(SortedList, OutOfElementsLeavesNothingHalfBuilt) {
  sorted_list_node* a = u_.make({1, 2, 3});
  sorted_list_node* b = u_.make({4, 5, 6});
  set_generic_pool_upper_limit(&u_.pool, 8);
  EXPECT_EQ(sorted_linklist_make_add(&d_, a, b), nullptr);
  EXPECT_EQ(generic_get_pool_allocated_number(&u_.pool), 6u);
  sorted_linklist_free_list(&d_, &a);
  sorted_linklist_free_list(&d_, &b);
}

TEST(GenericStack, LifoGrowsAndClears) {
  generic_stack* s = genericStackCreate(2);
  int items[5];
  for (int& i : items)
    EXPECT_EQ(genericStackPush(s, &i), 1);
  EXPECT_EQ(genericStackPop(s), &items[4]);
  EXPECT_EQ(genericStackPop(s), &items[3]);
  genericStackClear(s);
  EXPECT_EQ(genericStackIsEmpty(s), 1);
  EXPECT_EQ(genericStackPop(s), nullptr);
  EXPECT_EQ(generic_get_pool_allocated_number(&s->pool), 0u);
  genericStackDestroy(s);
}

TEST(PlainLists, RecordsAndPoolElements) {
  struct Rec {
    Rec* next;
    int v;
  } r1{nullptr, 1}, r2{nullptr, 2}, r3{nullptr, 3};
  void* head = nullptr;
  for (Rec* r : {&r1, &r2, &r3})
    linklist_add_to_end(&head, r);
  EXPECT_EQ(linklist_delete_pointer(&head, &r2), 1);
  EXPECT_EQ(linklist_delete_pointer(&head, &r2), 0);
  EXPECT_EQ(r1.next, &r3);
  generic_pool pool;
  init_generic_pool(&pool, 4, sizeof(generic_list_entry), 0);
  void* list = nullptr;
  for (uintptr_t w : {7u, 8u, 9u})
    EXPECT_NE(generic_add_to_linklist(&pool, &list, w), nullptr);
  EXPECT_EQ(generic_remove_from_linklist(&pool, &list, 8), 1);
  EXPECT_EQ(generic_search_linklist(list, 8), nullptr);
  EXPECT_EQ(generic_remove_from_linklist(&pool, &list, 8), 0);
  EXPECT_EQ(static_cast<generic_list_entry*>(list)->next->word, 9u);
  generic_free_entire_linklist(&pool, &list);
  EXPECT_EQ(generic_get_pool_allocated_number(&pool), 0u);
  free_generic_pool(&pool);
  EXPECT_EQ(generic_compare_uint32(1, 0xFFFFFFFF), -1);
}

struct Elem {
  generic_dlist_entry links;
  int value;
};

// The values from head to tail, then from tail to head.
std::vector<int> both_ways(const generic_dlist* l) {
  std::vector<int> out;
  for (auto* e = l->head; e != nullptr; e = e->next)
    out.push_back(reinterpret_cast<Elem*>(e)->value);
  for (auto* e = l->tail; e != nullptr; e = e->prev)
    out.push_back(reinterpret_cast<Elem*>(e)->value);
  return out;
}

// The pooled calls link and unlink with the calls for caller-owned entries.
TEST(GenericDoubleList, HeadEndDeleteBothDirections) {
  EXPECT_EQ(genericDoubleLinkListCreate(sizeof(generic_dlist_entry) - 1, 4), nullptr);
  generic_dlist* l = genericDoubleLinkListCreate(sizeof(Elem), 4);
  ASSERT_NE(l, nullptr);
  auto add = [&](bool head, int v) {
    auto* e = static_cast<Elem*>(head ? genericDoubleLinkListAddNewEntryToHead(l)
                                      : genericDoubleLinkListAddNewEntryToEnd(l));
    EXPECT_EQ(e->value, 0);  // zeroed
    e->value = v;
    return e;
  };
  Elem* two = add(false, 2);
  add(true, 1);
  Elem* three = add(false, 3);
  EXPECT_EQ(both_ways(l), (std::vector<int>{1, 2, 3, 3, 2, 1}));
  genericDoubleLinkListDeleteEntry(l, two);
  EXPECT_EQ(both_ways(l), (std::vector<int>{1, 3, 3, 1}));
  EXPECT_EQ(l->count, 2u);
  genericDoubleLinkListDeleteEntry(l, three);
  genericDoubleLinkListDeleteEntry(l, l->head);
  EXPECT_EQ(both_ways(l), std::vector<int>{});
  genericDoubleLinkListDestroy(l);
}

using Vec = std::vector<uint32_t>;

TEST(SortedListDiff, MatchesStdSetAlgorithms) {
  U32Lists u;
  const sorted_list_desc* d = &u.desc;
  std::mt19937 rng(2024);
  Vec model;  // sorted, no equal keys
  sorted_list_node* list = nullptr;
  constexpr uint32_t kUniverse = 96;

  for (int op = 0; op < 100000; ++op) {
    uint32_t k = rng() % kUniverse;
    unsigned kind = rng() % 12;
    std::set<uint32_t> drawn;
    for (int i = static_cast<int>(kind >= 4 ? rng() % 12 : 0); i > 0; --i)
      drawn.insert(rng() % kUniverse);
    Vec other(drawn.begin(), drawn.end()), both, either, only;
    std::set_intersection(model.begin(), model.end(), other.begin(), other.end(),
                          std::back_inserter(both));
    std::set_union(model.begin(), model.end(), other.begin(), other.end(),
                   std::back_inserter(either));
    std::set_difference(model.begin(), model.end(), other.begin(), other.end(),
                        std::back_inserter(only));
    const bool member = std::binary_search(model.begin(), model.end(), k);
    std::vector<const void*> ptrs;
    for (const uint32_t& x : other)
      ptrs.push_back(&x);
    sorted_list_node* b = k % 2 ? u.make(other)
                                : sorted_linklist_convert_array_to_linklist(
                                      d, ptrs.data(), static_cast<int>(ptrs.size()));
    switch (kind) {
      case 0:
      case 1:
        if (!member) {
          ASSERT_EQ(sorted_linklist_add_one_item(d, &list, &k), 1);
          model.insert(std::lower_bound(model.begin(), model.end(), k), k);
        }
        break;
      case 2:
        ASSERT_EQ(sorted_linklist_del_one_item(d, &list, &k), member ? 1 : 0) << op;
        if (member) model.erase(std::lower_bound(model.begin(), model.end(), k));
        break;
      case 3:
        ASSERT_EQ(sorted_linklist_is_member(d, list, &k), member ? 1 : 0) << op;
        ASSERT_EQ(sorted_linklist_has_other_member(d, list, &k), model.size() > member) << op;
        break;
      case 4:
        ASSERT_EQ(sorted_linklist_add(d, &list, b), 1);
        model = either;
        break;
      case 5:
        ASSERT_EQ(sorted_linklist_minus(d, &list, b), static_cast<int>(both.size()));
        model = only;
        break;
      case 6:
        ASSERT_EQ(sorted_linklist_keep_common(d, &list, b), static_cast<int>(only.size()));
        model = both;
        break;
      case 7:
      case 8:
      case 9: {
        sorted_list_node* made = kind == 7   ? sorted_linklist_make_add(d, list, b)
                                 : kind == 8 ? sorted_linklist_make_minus(d, list, b)
                                 : k % 2     ? sorted_linklist_make_common(d, list, b)
                                             : sorted_linklist_clone(d, list, nullptr, nullptr);
        ASSERT_EQ(keys(made), kind == 7 ? either : kind == 8 ? only : k % 2 ? both : model) << op;
        sorted_linklist_free_list(d, &made);
        break;
      }
      case 10: {
        ASSERT_EQ(sorted_linklist_is_subset(d, list, b), both == other ? 1 : 0) << op;
        ASSERT_EQ(sorted_linklist_is_any_present(d, list, b), both.empty() ? 0 : 1) << op;
        ASSERT_EQ(sorted_linklist_is_equal(d, list, b), model == other ? 1 : 0) << op;
        int visits = sorted_linklist_traverse_by_reference(
            d, list, b, [](sorted_list_node*, sorted_list_node*, void*) { return 1; }, nullptr);
        ASSERT_EQ(visits, static_cast<int>(both.size()));
        break;
      }
      default:
        if (k % 2) {
          sorted_linklist_move_keep_old(d, &list, &b);
        } else {
          sorted_linklist_move(d, &list, &b);
        }
        model = other;
        break;
    }
    sorted_linklist_free_list(d, &b);
    ASSERT_EQ(keys(list), model) << op << " kind " << kind;
  }
  sorted_linklist_free_list(d, &list);
  EXPECT_EQ(generic_get_pool_allocated_number(&u.pool), 0u);
  EXPECT_EQ(u.pool.free_fail + u.pool.corrupt_fail, 0);
}

}  // namespace
