// Bucket access shared by the hash table's operations and walks. Internal header.
#pragma once

#include "foundation/hash_fast.h"

namespace ofa::foundation::hash_fast {

// The full first-level hash of a key; its bucket is this modulo size.
inline uint32_t hash_of(const hashFastGeneric* t, hash_key_t key) {
  return t->hash_fn != nullptr ? t->hash_fn(key, t->context) : static_cast<uint32_t>(key) * 7907u;
}

inline uint32_t bucket_of(const hashFastGeneric* t, hash_key_t key) {
  return hash_of(t, key) % t->size;
}

// A second-level bucket's `chain` holds its array tagged with the low bit, so that lookups
// need not read the bucket counts (whose top bit says the same).
inline constexpr uintptr_t kSecondLevelTag = 1;

inline bool is_second_level(const hashFastGeneric* t, uint32_t b) {
  return t->bucket_counts != nullptr &&
         (reinterpret_cast<uintptr_t>(t->sparse_buckets[b].chain) & kSecondLevelTag) != 0;
}

// The head of a chain bucket (plain or sparse).
inline hash_node** chain_head(hashFastGeneric* t, uint32_t b) {
  if (t->sparse_buckets == nullptr) return &t->buckets[b];
  return reinterpret_cast<hash_node**>(&t->sparse_buckets[b].chain);
}

// The slot array of a second-level bucket.
inline hash_node** second_array(hashFastGeneric* t, uint32_t b) {
  return reinterpret_cast<hash_node**>(reinterpret_cast<uintptr_t>(t->sparse_buckets[b].chain) &
                                       ~kSecondLevelTag);
}

inline uint32_t slot_of(const hashFastGeneric* t, hash_key_t key) {
  return t->hash2_fn(key, t->context) % t->size2;
}

// The list a key lives in: its chain, or its slot of the second level.
inline hash_node** home_of(hashFastGeneric* t, uint32_t b, hash_key_t key) {
  return is_second_level(t, b) ? &second_array(t, b)[slot_of(t, key)] : chain_head(t, b);
}

// Takes a sparse bucket out of the active list.
inline void unlink_active(hashFastGeneric* t, hash_sparse_bucket* s) {
  if (s->prev == 0) return;
  if (s->next != nullptr) s->next->prev = s->prev;
  if (s->prev < 2) {
    t->active_list = s->next;
  } else {
    reinterpret_cast<hash_sparse_bucket*>(s->prev)->next = s->next;
  }
  s->prev = 0;
  s->next = nullptr;
}

// Puts a sparse bucket at the head of the active list (when not there yet).
inline void link_active(hashFastGeneric* t, hash_sparse_bucket* s) {
  if (s->prev != 0) return;
  s->next = t->active_list;
  s->prev = 1;
  if (s->next != nullptr) s->next->prev = reinterpret_cast<uintptr_t>(s);
  t->active_list = s;
}

// A second-level bucket with no items gives its array back and becomes an empty chain.
inline void fold_if_empty(hashFastGeneric* t, uint32_t b) {
  if (t->bucket_counts == nullptr || t->bucket_counts[b] != HASH_BUCKET_2ND_LEVEL) return;
  generic_free_mem_to_pool(t->table2_pool, second_array(t, b));
  t->sparse_buckets[b].chain = nullptr;
  t->bucket_counts[b] = 0;
  unlink_active(t, &t->sparse_buckets[b]);
}

}  // namespace ofa::foundation::hash_fast
