// hashFastGeneric: the hash table for large sets (flows by flow id).
//
// - Nodes come from a pool, so insert allocates nothing in the steady state.
// - Sparse mode (hashFastGenericEnableFastSparseTraverse) keeps a list of occupied buckets, so
//   that hashFastGenericTraverseUnsortedFast costs what is stored, not the table size.
// - The second hash (hashFastGenericEnable2ndHash, needs sparse mode and get_key_from_data)
//   turns a chain longer than `threshold` into a small table of `size2` slots of its own.
// Set-up order: create, sparse mode, second hash, then use. The table stores the caller's data
// pointer and never owns what it points to. Keys that compare equal must hash equal.
//
// Traversal callbacks are fn(data, arg, node): the low 31 bits of the result add to the count
// of items dealt with, a set top bit stops the walk, and `max` bounds the sum. A callback may
// delete the item in hand (the next node is read first).
//
// Operations on a null table, and lookups and walks of an empty one, answer 0 at once.
#pragma once

#include <cstdint>

#include "foundation/generic_pool.h"

using hash_key_t = uintptr_t;

struct hash_node {
  hash_node* next;
  void* data;
  uint32_t hash;  // first-level hash of the key, so that other keys' items need not be read
};

// Sparse bucket: `prev` is 0 when the bucket is not in the active list, 1 when it is the
// list's first, else the address of the preceding bucket. `chain` is the first node, or the
// second-level array when the bucket's count has its top bit set.
struct hash_sparse_bucket {
  hash_sparse_bucket* next;
  uintptr_t prev;
  void* chain;
};

using hash_get_key_fn = hash_key_t (*)(void* data, uintptr_t context);
// 0 equal, positive when key sorts after the data's key, negative before.
using hash_key_data_compare_fn = int (*)(hash_key_t key, void* data, uintptr_t context);
using hash_fn_t = uint32_t (*)(hash_key_t key, uintptr_t context);
using hash_traverse_fn = uint32_t (*)(void* data, void* arg, hash_node* node);
using hash_free_fn = void (*)(void* data);
using hash_free2_fn = void (*)(void* data, uintptr_t context);

inline constexpr uint32_t HASH_TRAVERSE_STOP = 0x80000000u;
inline constexpr uint16_t HASH_BUCKET_2ND_LEVEL = 0x8000;

struct hashFastGeneric {
  hash_node** buckets;                 // size chain heads; null once sparse
  hash_sparse_bucket* sparse_buckets;  // size sparse buckets; null when off
  hash_get_key_fn get_key_from_data;
  hash_key_data_compare_fn key_data_compare;
  hash_fn_t hash_fn;  // null: key * 7907
  mem_allocator* allocator;
  generic_pool node_pool;
  uint32_t size;
  uint32_t entries;
  hash_sparse_bucket* active_list;  // first occupied sparse bucket
  uintptr_t context;
  uint16_t* bucket_counts;  // second hash only: low 15 bits items, top bit second level
  uint16_t threshold;
  uint16_t low_threshold;  // threshold / 2, kept and not used
  generic_pool* table2_pool;
  hash_fn_t hash2_fn;
  uint16_t size2;
};

// Allocation failures over all tables.
extern uint32_t hash_dy_malloc_failure_num;
// 1 while a traversal runs, for the callbacks' benefit.
extern int hash_fast_generic_in_traversal;

// The smallest number not below n that is odd and not divisible by 3, 5 or 7.
uint32_t hashFastGenericRoundSize(uint32_t n);

hashFastGeneric* hashFastGenericCreate(uint32_t size, hash_get_key_fn get_key_from_data,
                                       hash_key_data_compare_fn key_data_compare,
                                       hash_fn_t hash_fn);
hashFastGeneric* hashFastGenericCreate2(uint32_t size, hash_get_key_fn get_key_from_data,
                                        hash_key_data_compare_fn key_data_compare,
                                        hash_fn_t hash_fn, mem_allocator* allocator);
hashFastGeneric* hashFastGenericCreate3(uint32_t size, hash_get_key_fn get_key_from_data,
                                        hash_key_data_compare_fn key_data_compare,
                                        hash_fn_t hash_fn, mem_allocator* allocator,
                                        uintptr_t context);
// 1, 0 on failure (or when the table is in use); a table already sparse answers 1.
int hashFastGenericEnableFastSparseTraverse(hashFastGeneric* table);
// threshold 10..100, size2 10..200 (rounded by the size rule). A refusal leaves the table as it
// was; an allocation failure leaves it working without the second hash.
void hashFastGenericEnable2ndHash(hashFastGeneric* table, uint32_t threshold, uint32_t size2,
                                  hash_fn_t hash2_fn);
void hashFastGenericEnable2ndHash2(hashFastGeneric* table, uint32_t threshold, uint32_t size2,
                                   hash_fn_t hash2_fn, mem_allocator* allocator);
void hashFastGenericEnable2ndHash3(hashFastGeneric* table, uint32_t threshold, uint32_t size2,
                                   hash_fn_t hash2_fn, mem_allocator* allocator);

// 1 new, 2 replaced (the node stays), 0 out of nodes.
int hashFastGenericInsert(hashFastGeneric* table, hash_key_t key, void* data);
// The same for a key the caller knows to be absent (it keeps an index of its own): no search of
// the chain. 1, or 0 out of nodes.
int hashFastGenericInsertNew(hashFastGeneric* table, hash_key_t key, void* data);
// 1 found, 0 not.
int hashFastGenericGet(hashFastGeneric* table, hash_key_t key, void** data);
int hashFastGenericGetLink(hashFastGeneric* table, hash_key_t key, hash_node** node);
// Bucket index + position in its chain, -1 when absent; 0 at once for a null or empty table.
int hashFastGenericGetReturnIndex(hashFastGeneric* table, hash_key_t key, void** data);
// 1 or 0; data may be null.
int hashFastGenericDelete(hashFastGeneric* table, hash_key_t key, void** data);
void hashFastGenericDeleteAll(hashFastGeneric* table);
void hashFastGenericFreeContents(hashFastGeneric* table, hash_free_fn free_fn);
void hashFastGenericFreeContents2(hashFastGeneric* table, hash_free2_fn free_fn);
void hashFastGenericDestroy(hashFastGeneric* table);
void hashFastGenericDestroyAndFreeContents(hashFastGeneric* table, hash_free_fn free_fn);
void hashFastGenericDestroyAndFreeContents2(hashFastGeneric* table, hash_free2_fn free_fn);
uint32_t hashFastGenericGetTableEntries(const hashFastGeneric* table);
mem_allocator* hashFastGenericGetAllocator(const hashFastGeneric* table);

// One full walk each: the smallest key, the smallest key above `key` (by key_data_compare).
int hashFastGenericGetSmallestKey(hashFastGeneric* table, void** data);
int hashFastGenericGetNextKey(hashFastGeneric* table, hash_key_t key, void** data);
// The number of items above `key` (0: none, so no data; also for a null or empty table), -1
// without get_key_from_data.
int hashFastGenericGetNextKeyReturnIndex(hashFastGeneric* table, hash_key_t key, void** data);
// A cheap pick (not uniform): the first item of the first occupied bucket from a random one.
int hashFastGenericGetRandomData(hashFastGeneric* table, void** data);

// Buckets in index order; the first `skip` items are passed over without a call.
uint32_t hashFastGenericTraverseUnsorted(hashFastGeneric* table, hash_traverse_fn fn, uint32_t skip,
                                         uint32_t max, void* arg);
// Occupied buckets only, in order of last occupation (sparse mode); no skip, no limit.
uint32_t hashFastGenericTraverseUnsortedFast(hashFastGeneric* table, hash_traverse_fn fn,
                                             void* arg);
// Resumable walk: from the key (or the item after it with next 1), or from the start of the
// key's bucket when the key is gone, on through the following buckets.
uint32_t hashFastGenericTraverseUnsortedStartFromThisOrNext(hashFastGeneric* table,
                                                            hash_traverse_fn fn, hash_key_t key,
                                                            uint32_t max, void* arg, int next);
uint32_t hashFastGenericTraverseUnsortedStartFromNextOf(hashFastGeneric* table, hash_traverse_fn fn,
                                                        hash_key_t key, uint32_t max, void* arg);
// Every item of the key's bucket.
uint32_t hashFastGenericTraverseSpecificAnchor(hashFastGeneric* table, hash_traverse_fn fn,
                                               hash_key_t key, void* arg);
// Walks slice `fraction` of `total` (results ignored); gives the next fraction, 0 at the end.
// `total` calls, each fed the previous answer, walk every bucket exactly once.
uint32_t hashFastGenericTraverseFromFraction(hashFastGeneric* table, hash_traverse_fn fn,
                                             uint32_t fraction, uint32_t total, void* arg);
// Items in key order (not with the second hash).
uint32_t hashFastGenericTraverseBySortedKey(hashFastGeneric* table, hash_traverse_fn fn,
                                            uint32_t skip, uint32_t max, void* arg);
