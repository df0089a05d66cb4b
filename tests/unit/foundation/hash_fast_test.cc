// hashFastGeneric: differential runs with fixed seeds in its three modes (plain, sparse, sparse
// with the second hash over a weak first hash that makes long chains) against std::map, 100000
// random operations each, with key-order lookups at every read, and now and then full walks (skip,
// limit, stop bit), walks resumed at or after a key, sorted walks of a slice and fractions; at the
// end a walk whose callback deletes every item. What they cannot reach: size rule, node identity
// on replace, return indexes, out of nodes, second level conversion and folding, set-up refusals,
// freeing contents, the random pick. The differential runs also insert absent keys without a
// search and keep an id_index of the same keys, checked at every operation.
#include "foundation/hash_fast.h"

#include <gtest/gtest.h>

#include "foundation/id_index.h"
#include "stdout_capture.h"

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

using ofa::test::stdout_of;

// Items keyed by a uint32_t and the callbacks a hashFastGeneric table needs for them.
struct Item {
  uint32_t key;
  uint32_t value;
};

inline hash_key_t get_key(void* data, uintptr_t) {
  return static_cast<Item*>(data)->key;
}
inline int compare(hash_key_t key, void* data, uintptr_t) {
  uint32_t k = static_cast<Item*>(data)->key;
  return key < k ? -1 : (key > k ? 1 : 0);
}
inline uint32_t identity_hash(hash_key_t key, uintptr_t) {
  return static_cast<uint32_t>(key);
}
inline uint32_t mix_hash(hash_key_t key, uintptr_t) {
  return static_cast<uint32_t>(key) * 2654435761u >> 7;
}

// Collects the keys a walk visits and answers `answer` per item; with a table, deletes each
// visited item from it first.
struct Collect {
  std::vector<uint32_t> keys;
  uint32_t answer = 1;
  hashFastGeneric* del = nullptr;
  static uint32_t fn(void* data, void* arg, hash_node*) {
    auto* c = static_cast<Collect*>(arg);
    uint32_t key = static_cast<Item*>(data)->key;
    c->keys.push_back(key);
    void* out = nullptr;
    if (c->del && (hashFastGenericDelete(c->del, key, &out) != 1 || out != data))
      return HASH_TRAVERSE_STOP;
    return c->answer;
  }
};

// An allocator that refuses blocks above a size.
size_t refuse_above = SIZE_MAX;
mem_allocator picky = {
    [](size_t size, mem_allocator*) { return size > refuse_above ? nullptr : std::malloc(size); },
    [](void* p, mem_allocator*) { std::free(p); }};

std::vector<Item> make_items(uint32_t n) {
  std::vector<Item> items(n);
  for (uint32_t i = 0; i < n; ++i)
    items[i] = {i, i * 10};
  return items;
}

TEST(HashSetUp, SizeRuleNullTablesAndCompare) {
  const std::pair<uint32_t, uint32_t> sizes[] = {{100, 101}, {9, 11}, {1, 1}, {0, 1}, {120, 121}};
  for (auto [in, out] : sizes)
    EXPECT_EQ(hashFastGenericRoundSize(in), out) << in;
  EXPECT_EQ(
      stdout_of([] { EXPECT_EQ(hashFastGenericCreate(10, get_key, nullptr, nullptr), nullptr); }),
      "Error! hashFastGenericCreate(key_data_compare=NULL)\n");
  void* data = nullptr;
  hashFastGeneric* t = hashFastGenericCreate(10, get_key, compare, nullptr);
  EXPECT_EQ((std::vector<int64_t>{
                hashFastGenericInsert(nullptr, 1, &data), hashFastGenericGet(nullptr, 1, &data),
                hashFastGenericDelete(nullptr, 1, nullptr), hashFastGenericGetTableEntries(nullptr),
                hashFastGenericTraverseUnsorted(nullptr, Collect::fn, 0, 10, nullptr),
                hashFastGenericGetReturnIndex(nullptr, 1, &data),
                hashFastGenericGetNextKeyReturnIndex(nullptr, 1, &data),
                hashFastGenericGetSmallestKey(t, &data), hashFastGenericGetRandomData(t, &data),
                hashFastGenericGetReturnIndex(t, 1, &data)}),  // not -1: empty answers 0 at once
            std::vector<int64_t>(10, 0));
  EXPECT_EQ(t->size, 11u);
  EXPECT_EQ(hashFastGenericGetAllocator(t), &os_malloc_allocator);
  hashFastGenericDestroy(t);
}

// A replaced item keeps its node; the return index is bucket plus position in the chain.
TEST(HashInsert, ReplaceKeepsTheNodeAndReturnIndex) {
  hashFastGeneric* t = hashFastGenericCreate(11, get_key, compare, identity_hash);
  auto items = make_items(30);
  for (uint32_t k : {3u, 14u, 25u})
    hashFastGenericInsert(t, k, &items[k]);  // bucket 3
  hash_node *before = nullptr, *after = nullptr;
  ASSERT_EQ(hashFastGenericGetLink(t, 14, &before), 1);
  Item other{14, 2};
  EXPECT_EQ(hashFastGenericInsert(t, 14, &other), 2);
  ASSERT_EQ(hashFastGenericGetLink(t, 14, &after), 1);
  EXPECT_EQ(before, after);
  EXPECT_EQ(after->data, &other);
  void* out = nullptr;
  EXPECT_EQ(hashFastGenericGetReturnIndex(t, 25, &out), 3);  // pushed last: head of the chain
  EXPECT_EQ(hashFastGenericGetReturnIndex(t, 3, &out), 5);
  EXPECT_EQ(out, &items[3]);
  EXPECT_EQ(hashFastGenericGetReturnIndex(t, 4, &out), -1);
  hashFastGenericDestroy(t);
}

TEST(HashInsert, OutOfNodesGivesZero) {
  hashFastGeneric* t = hashFastGenericCreate2(1, get_key, compare, nullptr, &picky);
  auto items = make_items(3);
  EXPECT_EQ(hashFastGenericInsert(t, 0, &items[0]), 1);  // the first block holds 1 node
  refuse_above = 0;
  uint32_t failures = hash_dy_malloc_failure_num;
  EXPECT_EQ(hashFastGenericInsert(t, 1, &items[1]), 0);
  EXPECT_EQ(hash_dy_malloc_failure_num, failures + 1);
  refuse_above = SIZE_MAX;
  EXPECT_EQ(hashFastGenericInsert(t, 1, &items[1]), 1);
  hashFastGenericDestroy(t);
}

class SecondHash : public ::testing::Test {
 protected:
  void SetUp() override {
    t_ = hashFastGenericCreate(50, get_key, compare,
                               [](hash_key_t, uintptr_t) { return 0u; });  // all in bucket 0
    ASSERT_EQ(hashFastGenericEnableFastSparseTraverse(t_), 1);
    hashFastGenericEnable2ndHash(t_, 10, 10, identity_hash);
    ASSERT_NE(t_->bucket_counts, nullptr);
    items_ = make_items(200);
  }
  void TearDown() override { hashFastGenericDestroy(t_); }
  bool converted() const { return (t_->bucket_counts[0] & HASH_BUCKET_2ND_LEVEL) != 0; }
  hashFastGeneric* t_ = nullptr;
  std::vector<Item> items_;
};

// Converted above the threshold; folded back only when a walk's callback deletes the last item.
TEST_F(SecondHash, ConvertsAtThresholdPlusOneAndFoldsWhenEmpty) {
  EXPECT_EQ((std::vector<int>{t_->size2, t_->low_threshold}), (std::vector<int>{11, 5}));
  for (uint32_t k = 0; k < 10; ++k)
    ASSERT_EQ(hashFastGenericInsert(t_, k, &items_[k]), 1);
  EXPECT_EQ(t_->bucket_counts[0], 10);
  ASSERT_EQ(hashFastGenericInsert(t_, 10, &items_[10]), 1);
  EXPECT_TRUE(converted());
  EXPECT_EQ(generic_get_pool_allocated_number(t_->table2_pool), 1u);
  for (uint32_t k = 11; k < 40; ++k)
    hashFastGenericInsert(t_, k, &items_[k]);
  for (uint32_t k = 0; k < 30; ++k)
    ASSERT_EQ(hashFastGenericDelete(t_, k, nullptr), 1);
  EXPECT_TRUE(converted());  // no return to a chain before it is empty
  Collect del{{}, 1, t_};
  EXPECT_EQ(hashFastGenericTraverseUnsorted(t_, Collect::fn, 0, 1000, &del), 10u);
  EXPECT_EQ(t_->bucket_counts[0], 0);
  EXPECT_EQ(generic_get_pool_allocated_number(t_->table2_pool), 0u);
}

TEST_F(SecondHash, WalksRefuseOrHandleSecondLevel) {
  for (uint32_t k = 0; k < 20; ++k)
    hashFastGenericInsert(t_, k, &items_[k]);
  Collect c;
  void* out = nullptr;
  std::string text = stdout_of([&] {
    EXPECT_EQ(hashFastGenericTraverseFromFraction(t_, Collect::fn, 0, 1, &c), 0u);
    EXPECT_EQ(hashFastGenericTraverseBySortedKey(t_, Collect::fn, 0, 100, &c), 0u);
    EXPECT_EQ(hashFastGenericGetRandomData(t_, &out), 0);
  });
  EXPECT_EQ(text,
            "Error! hashFastGenericTraverseFromFraction, 2nd hash cannot be enabled\n"
            "Error! hashFastGenericTraverseBySortedKey, 2nd hash cannot be enabled\n"
            "Error! hashFastGenericGetRandomData, 2nd hash cannot be enabled\n");
  EXPECT_EQ(hashFastGenericTraverseSpecificAnchor(t_, Collect::fn, 7, &c), 20u);
}

TEST(SecondHashSetUp, LimitsRefusedLeaveTheTableAsItWas) {
  struct Case {
    uint32_t threshold, size2;
    std::string message;
  };
  for (const Case& c : {Case{9, 50, "threshold = 9, must [10-100]"},
                        Case{101, 50, "threshold = 101, must [10-100]"},
                        Case{50, 9, "size_2nd_hash = 9, must [10-200]"},
                        Case{50, 201, "size_2nd_hash = 201, must [10-200]"}}) {
    hashFastGeneric* t = hashFastGenericCreate(50, get_key, compare, nullptr);
    hashFastGenericEnableFastSparseTraverse(t);
    EXPECT_EQ(
        stdout_of([&] { hashFastGenericEnable2ndHash(t, c.threshold, c.size2, identity_hash); }),
        "Error! hashFastGenericEnable2ndHash " + c.message + "\n");
    EXPECT_EQ(t->bucket_counts, nullptr);
    EXPECT_EQ(t->table2_pool, nullptr);
    EXPECT_EQ(t->threshold, 0);
    hashFastGenericDestroy(t);
  }
}

TEST(SecondHashSetUp, OrderAndPrerequisites) {
  hashFastGeneric* t = hashFastGenericCreate(50, nullptr, compare, nullptr);
  EXPECT_EQ(stdout_of([&] { hashFastGenericEnable2ndHash(t, 10, 10, identity_hash); }),
            "Error! hashFastGenericEnable2ndHash must call ..EnableFastSparseTraverse\n");
  hashFastGenericEnableFastSparseTraverse(t);
  EXPECT_EQ(hashFastGenericEnableFastSparseTraverse(t), 1);  // already sparse
  EXPECT_EQ(stdout_of([&] { hashFastGenericEnable2ndHash(t, 10, 10, identity_hash); }),
            "Error! hashFastGenericEnable2ndHash get_key_from_data=NULL\n");
  t->get_key_from_data = get_key;
  EXPECT_EQ(stdout_of([&] { hashFastGenericEnable2ndHash(t, 10, 10, nullptr); }),
            "Error! hashFastGenericEnable2ndHash, must have 2nd hash function\n");
  Item a{1, 1};
  hashFastGenericInsert(t, 1, &a);
  EXPECT_EQ(stdout_of([&] { hashFastGenericEnable2ndHash(t, 10, 10, identity_hash); }),
            "Error! hashFastGenericEnable2ndHash should call before operation\n");
  hashFastGenericDestroy(t);

  hashFastGeneric* busy = hashFastGenericCreate(50, get_key, compare, nullptr);
  hashFastGenericInsert(busy, 1, &a);
  EXPECT_EQ(stdout_of([&] { EXPECT_EQ(hashFastGenericEnableFastSparseTraverse(busy), 0); }),
            "Error! hashFastGeneric..SparseTraverse() should call before operation\n");
  EXPECT_EQ(stdout_of([&] { hashFastGenericTraverseUnsortedFast(busy, Collect::fn, nullptr); }),
            "no hashFastGenericTraverseUnsortedFast() because of no "
            "hashFast..SparseTraverse()\n");
  hashFastGenericDestroy(busy);
}

TEST(HashWalks, FreeContentsThenRandomOfOneAndFractionOutOfRange) {
  hashFastGeneric* t = hashFastGenericCreate(11, get_key, compare, identity_hash);
  auto items = make_items(33);
  for (auto& it : items)
    hashFastGenericInsert(t, it.key, &it);
  static int freed;
  freed = 0;
  hashFastGenericFreeContents(t, [](void*) { ++freed; });
  EXPECT_EQ(freed, 33);
  void* out = nullptr;
  EXPECT_EQ(hashFastGenericInsert(t, 4, &items[4]), 1);  // usable again, and empty before
  EXPECT_EQ(hashFastGenericGetRandomData(t, &out), 1);   // one entry: that one
  EXPECT_EQ(out, &items[4]);
  Collect c;
  EXPECT_EQ(hashFastGenericTraverseFromFraction(t, Collect::fn, 9, 4, &c), 1u);  // 9 counts as 0
  hashFastGenericDestroy(t);
}

TEST(HashSortedWalk, FallsBackToKeyByKeyWithoutMemory) {
  hashFastGeneric* t = hashFastGenericCreate2(101, get_key, compare, nullptr, &picky);
  auto items = make_items(10);
  for (auto& it : items)
    hashFastGenericInsert(t, it.key, &it);
  refuse_above = sizeof(void*) * 5;  // the sort array of 11 words cannot be had
  Collect c;
  EXPECT_EQ(hashFastGenericTraverseBySortedKey(t, Collect::fn, 2, 4, &c), 4u);
  EXPECT_EQ(c.keys, (std::vector<uint32_t>{2, 3, 4, 5}));
  refuse_above = SIZE_MAX;
  hashFastGenericDestroy(t);
}

enum class Mode { kPlain, kSparse, kSecondHash };

uint32_t weak_hash(hash_key_t key, uintptr_t) {
  return static_cast<uint32_t>(key) % 13;
}

class HashDiff : public ::testing::TestWithParam<Mode> {};

TEST_P(HashDiff, MatchesMap) {
  const Mode mode = GetParam();
  constexpr uint32_t kKeys = 4000;
  hashFastGeneric* t =
      hashFastGenericCreate(mode == Mode::kSecondHash ? 64 : 1000, get_key, compare,
                            mode == Mode::kSecondHash ? weak_hash : nullptr);
  if (mode != Mode::kPlain) {
    ASSERT_EQ(hashFastGenericEnableFastSparseTraverse(t), 1);
  }
  if (mode == Mode::kSecondHash) {
    hashFastGenericEnable2ndHash(t, 10, 50, mix_hash);
    ASSERT_NE(t->bucket_counts, nullptr);
  }
  std::vector<Item> a = make_items(kKeys), b = make_items(kKeys);  // two per key, to replace
  std::map<uint32_t, Item*> model;
  ofa::foundation::id_index<Item> index;
  std::mt19937 rng(static_cast<unsigned>(mode) * 31 + 5);
  bool saw_second_level = false;

  for (int op = 0; op < 100000; ++op) {
    uint32_t k = rng() % kKeys;
    unsigned kind = rng() % 10;
    auto it = model.find(k);
    if (kind < 4) {
      Item* item = rng() % 2 ? &a[k] : &b[k];
      if (it == model.end() && kind == 0) {
        ASSERT_EQ(hashFastGenericInsertNew(t, k, item), 1) << op;
      } else {
        ASSERT_EQ(hashFastGenericInsert(t, k, item), it == model.end() ? 1 : 2) << op;
      }
      model[k] = item;
      ASSERT_TRUE(index.insert(k, item));
    } else if (kind < 7) {
      void* out = nullptr;
      ASSERT_EQ(hashFastGenericDelete(t, k, &out), it == model.end() ? 0 : 1) << op;
      index.erase(k);
      if (it != model.end()) {
        ASSERT_EQ(out, it->second);
        model.erase(it);
      }
    } else {
      void *got = nullptr, *next = nullptr, *smallest = nullptr, *next2 = nullptr;
      auto after = model.upper_bound(k);
      std::vector<void*> expect = {it == model.end() ? nullptr : it->second,
                                   after == model.end() ? nullptr : after->second,
                                   model.empty() ? nullptr : model.begin()->second, nullptr};
      expect[3] = expect[1];
      ASSERT_EQ(
          (std::vector<int>{hashFastGenericGet(t, k, &got), hashFastGenericGetNextKey(t, k, &next),
                            hashFastGenericGetSmallestKey(t, &smallest),
                            hashFastGenericGetNextKeyReturnIndex(t, k, &next2)}),
          (std::vector<int>{expect[0] != nullptr, expect[1] != nullptr, expect[2] != nullptr,
                            static_cast<int>(std::distance(after, model.end()))}))
          << op;
      ASSERT_EQ((std::vector<void*>{got, next, smallest, next2}), expect) << op;
    }
    ASSERT_EQ(hashFastGenericGetTableEntries(t), model.size());
    ASSERT_EQ(index.size(), model.size());
    auto now = model.find(k);
    ASSERT_EQ(index.find(k), now == model.end() ? nullptr : now->second) << op;
    if (mode == Mode::kSecondHash) {
      for (uint32_t bucket = 0; bucket < t->size; ++bucket)
        saw_second_level |= (t->bucket_counts[bucket] & HASH_BUCKET_2ND_LEVEL) != 0;
    }
    if (op % 5000 == 4999) {
      Collect all;
      ASSERT_EQ(hashFastGenericTraverseUnsorted(t, Collect::fn, 0, 0xFFFFFFFF, &all), model.size());
      std::vector<uint32_t> expect;
      for (const auto& [key, item] : model) {
        expect.push_back(key);
        ASSERT_EQ(index.find(key), item) << op;
      }
      for (size_t i = 0; mode != Mode::kSecondHash && i < all.keys.size(); i += 97) {
        Collect rest, this_or_next, from;  // resumed at or after a key: the rest of the walk
        hashFastGenericTraverseUnsortedStartFromNextOf(t, Collect::fn, all.keys[i], 0xFFFFFFF,
                                                       &rest);
        ASSERT_EQ(rest.keys, std::vector<uint32_t>(all.keys.begin() + i + 1, all.keys.end())) << op;
        hashFastGenericTraverseUnsortedStartFromThisOrNext(t, Collect::fn, all.keys[i], 0xFFFFFFF,
                                                           &this_or_next, 0);
        ASSERT_EQ(this_or_next.keys, std::vector<uint32_t>(all.keys.begin() + i, all.keys.end()));
        hashFastGenericTraverseBySortedKey(t, Collect::fn, static_cast<uint32_t>(i), 5, &from);
        auto at = expect.begin() + static_cast<long>(i);  // skip i, then at most 5
        ASSERT_EQ(from.keys, std::vector<uint32_t>(at, std::min(at + 5, expect.end()))) << op;
      }
      Collect none, capped{{}, 2}, stop{{}, HASH_TRAVERSE_STOP | 3};
      ASSERT_EQ(hashFastGenericTraverseUnsorted(t, Collect::fn, model.size(), 9, &none), 0u);
      ASSERT_EQ(hashFastGenericTraverseUnsorted(t, Collect::fn, 4, 5, &capped), 6u);  // max: sum
      ASSERT_EQ(capped.keys, std::vector<uint32_t>(all.keys.begin() + 4, all.keys.begin() + 7));
      ASSERT_EQ(hashFastGenericTraverseUnsorted(t, Collect::fn, 0, 100, &stop), 3u);
      ASSERT_TRUE(none.keys.empty());  // skipping all calls nothing
      ASSERT_EQ(stop.keys.size(), 1u);
      std::sort(all.keys.begin(), all.keys.end());
      ASSERT_EQ(all.keys, expect) << op;
      for (uint32_t total = 1; mode != Mode::kSecondHash && total < 5; total += 3) {
        Collect parts{{}, HASH_TRAVERSE_STOP};  // results are ignored; 4 does not divide 1001
        for (uint32_t call = 0; call < total; ++call)
          ASSERT_EQ(hashFastGenericTraverseFromFraction(t, Collect::fn, call, total, &parts),
                    (call + 1) % total);
        std::sort(parts.keys.begin(), parts.keys.end());
        ASSERT_EQ(parts.keys, expect) << op << " total " << total;
      }
      if (mode != Mode::kPlain) {
        Collect fast;
        ASSERT_EQ(hashFastGenericTraverseUnsortedFast(t, Collect::fn, &fast), model.size());
        std::sort(fast.keys.begin(), fast.keys.end());
        ASSERT_EQ(fast.keys, expect) << op;
      }
    }
  }
  EXPECT_EQ(saw_second_level, mode == Mode::kSecondHash);
  if (mode != Mode::kSecondHash) {  // a walk whose callback deletes the item in hand
    Collect del{{}, 1, t};
    EXPECT_EQ(hashFastGenericTraverseUnsorted(t, Collect::fn, 0, 0xFFFFFFFF, &del), model.size());
    EXPECT_EQ(t->active_list, nullptr);
  }
  hashFastGenericDeleteAll(t);
  EXPECT_EQ(generic_get_pool_allocated_number(&t->node_pool), 0u);
  if (t->table2_pool != nullptr) {
    EXPECT_EQ(generic_get_pool_allocated_number(t->table2_pool), 0u);
  }
  hashFastGenericDestroy(t);
}

INSTANTIATE_TEST_SUITE_P(PlainSparseSecondHash, HashDiff,
                         ::testing::Values(Mode::kPlain, Mode::kSparse, Mode::kSecondHash));

}  // namespace
