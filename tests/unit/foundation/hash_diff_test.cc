// Differential runs with fixed seeds: hashFastGeneric in its three modes (plain, sparse, sparse
// with the second hash over a weak first hash that makes long chains) against std::map, 100000
// random operations each, with key-order lookups at every read and full walks, walks resumed
// after a key and sorted walks of a slice compared now and then.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "hash_helpers.h"

namespace {

using namespace hash_helpers;

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
  std::vector<Item> a(kKeys), b(kKeys);  // two items per key, for replacement
  for (uint32_t k = 0; k < kKeys; ++k) {
    a[k] = {k, 1};
    b[k] = {k, 2};
  }
  std::map<uint32_t, Item*> model;
  std::mt19937 rng(static_cast<unsigned>(mode) * 31 + 5);
  bool saw_second_level = false;

  for (int op = 0; op < 100000; ++op) {
    uint32_t k = rng() % kKeys;
    unsigned kind = rng() % 10;
    auto it = model.find(k);
    if (kind < 4) {
      Item* item = rng() % 2 ? &a[k] : &b[k];
      ASSERT_EQ(hashFastGenericInsert(t, k, item), it == model.end() ? 1 : 2) << op;
      model[k] = item;
    } else if (kind < 7) {
      void* out = nullptr;
      ASSERT_EQ(hashFastGenericDelete(t, k, &out), it == model.end() ? 0 : 1) << op;
      if (it != model.end()) {
        ASSERT_EQ(out, it->second);
        model.erase(it);
      }
    } else {
      void* out = nullptr;
      ASSERT_EQ(hashFastGenericGet(t, k, &out), it == model.end() ? 0 : 1) << op;
      if (it != model.end()) {
        ASSERT_EQ(out, it->second) << op;
      }
      auto next = model.upper_bound(k);
      out = nullptr;
      ASSERT_EQ(hashFastGenericGetNextKey(t, k, &out), next == model.end() ? 0 : 1) << op;
      ASSERT_EQ(out, next == model.end() ? nullptr : next->second) << op;
      out = nullptr;
      ASSERT_EQ(hashFastGenericGetSmallestKey(t, &out), model.empty() ? 0 : 1);
      ASSERT_EQ(out, model.empty() ? nullptr : model.begin()->second) << op;
    }
    ASSERT_EQ(hashFastGenericGetTableEntries(t), model.size());
    if (mode == Mode::kSecondHash) {
      for (uint32_t bucket = 0; bucket < t->size; ++bucket)
        saw_second_level |= (t->bucket_counts[bucket] & HASH_BUCKET_2ND_LEVEL) != 0;
    }
    if (op % 5000 == 4999) {
      Collect all;
      ASSERT_EQ(hashFastGenericTraverseUnsorted(t, Collect::fn, 0, 0xFFFFFFFF, &all), model.size());
      std::vector<uint32_t> expect;
      for (const auto& [key, item] : model)
        expect.push_back(key);
      for (size_t i = 0; mode != Mode::kSecondHash && i < all.keys.size(); i += 97) {
        Collect rest, from;  // resumed after a key: the rest of the walk in the same order
        hashFastGenericTraverseUnsortedStartFromNextOf(t, Collect::fn, all.keys[i], 0xFFFFFFF,
                                                       &rest);
        ASSERT_EQ(rest.keys, std::vector<uint32_t>(all.keys.begin() + i + 1, all.keys.end())) << op;
        hashFastGenericTraverseBySortedKey(t, Collect::fn, static_cast<uint32_t>(i), 5, &from);
        auto at = expect.begin() + static_cast<long>(i);  // skip i, then at most 5
        ASSERT_EQ(from.keys, std::vector<uint32_t>(at, std::min(at + 5, expect.end()))) << op;
      }
      std::sort(all.keys.begin(), all.keys.end());
      ASSERT_EQ(all.keys, expect) << op;
      if (mode != Mode::kPlain) {
        Collect fast;
        ASSERT_EQ(hashFastGenericTraverseUnsortedFast(t, Collect::fn, &fast), model.size());
        std::sort(fast.keys.begin(), fast.keys.end());
        ASSERT_EQ(fast.keys, expect) << op;
      }
      if (mode != Mode::kSecondHash) {
        Collect sorted;
        hashFastGenericTraverseBySortedKey(t, Collect::fn, 0, 0xFFFFFFFF, &sorted);
        ASSERT_EQ(sorted.keys, expect) << op;
      }
    }
  }
  if (mode == Mode::kSecondHash) {
    EXPECT_TRUE(saw_second_level);
  }
  hashFastGenericDeleteAll(t);
  EXPECT_EQ(generic_get_pool_allocated_number(&t->node_pool), 0u);
  if (t->table2_pool != nullptr) {
    EXPECT_EQ(generic_get_pool_allocated_number(t->table2_pool), 0u);
  }
  hashFastGenericDestroy(t);
}

INSTANTIATE_TEST_SUITE_P(Modes, HashDiff,
                         ::testing::Values(Mode::kPlain, Mode::kSparse, Mode::kSecondHash),
                         [](const auto& info) {
                           return info.param == Mode::kPlain    ? "Plain"
                                  : info.param == Mode::kSparse ? "Sparse"
                                                                : "SecondHash";
                         });

}  // namespace
