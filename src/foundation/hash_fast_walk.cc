// hashFastGeneric walks: unsorted, fast (sparse), resumable, anchor, fraction and sorted, and
// the key-order lookups built on a full walk.
#include <cstdlib>

#include "foundation/hash_fast_internal.h"
#include "foundation/kprintf.h"
#include "foundation/quick_sort.h"

using namespace ofa::foundation::hash_fast;

namespace {

// One walk's state: callback, skip, limit and the running count.
struct Walk {
  hash_traverse_fn fn;
  void* arg;
  uint32_t skip = 0;
  uint32_t max = 0xFFFFFFFFu;
  bool ignore_results = false;
  uint32_t count = 0;
  bool stopped = false;

  // Deals with one node; false once the walk is over.
  bool visit(hash_node* n) {
    if (count >= max) stopped = true;
    if (stopped) return false;
    if (skip > 0) {
      --skip;
      return true;
    }
    uint32_t rc = fn(n->data, arg, n);
    if (ignore_results) return true;
    count += rc & ~HASH_TRAVERSE_STOP;
    if ((rc & HASH_TRAVERSE_STOP) != 0) stopped = true;
    return !stopped;
  }
  bool chain(hash_node* n) {
    while (n != nullptr) {
      hash_node* next = n->next;  // the callback may delete n
      if (!visit(n)) return false;
      n = next;
    }
    return true;
  }
};

// Sets the traversal flag for the life of a walk.
struct TraversalFlag {
  int saved = hash_fast_generic_in_traversal;
  TraversalFlag() { hash_fast_generic_in_traversal = 1; }
  ~TraversalFlag() { hash_fast_generic_in_traversal = saved; }
};

// Walks bucket b, from node `start` in slot `start_slot` when start is given (else all of it),
// and folds a second-level bucket that the callbacks emptied. False once the walk is over.
bool walk_bucket(hashFastGeneric* t, uint32_t b, Walk& w, hash_node* start = nullptr,
                 uint32_t start_slot = 0) {
  bool go_on = true;
  if (is_second_level(t, b)) {
    hash_node** array = second_array(t, b);
    for (uint32_t s = start_slot; s < t->size2 && go_on; ++s)
      go_on = w.chain(start != nullptr && s == start_slot ? start : array[s]);
    fold_if_empty(t, b);
  } else {
    go_on = w.chain(start != nullptr ? start : *chain_head(t, b));
  }
  return go_on;
}

uint32_t walk_from_bucket(hashFastGeneric* t, uint32_t first, Walk& w) {
  TraversalFlag flag;
  for (uint32_t b = first; b < t->size; ++b) {
    if (!walk_bucket(t, b, w)) break;
  }
  return w.count;
}

// Keeps the best data by key: the smallest overall, or the smallest above `above`.
struct Best {
  hashFastGeneric* t;
  const hash_key_t* above;
  void* data = nullptr;
  uint32_t candidates = 0;
};

uint32_t keep_best(void* data, void* arg, hash_node*) {
  auto* best = static_cast<Best*>(arg);
  hashFastGeneric* t = best->t;
  if (best->above != nullptr && t->key_data_compare(*best->above, data, t->context) >= 0) return 0;
  ++best->candidates;
  if (best->data == nullptr ||
      t->key_data_compare(t->get_key_from_data(best->data, t->context), data, t->context) > 0) {
    best->data = data;
  }
  return 0;
}

int find_best(hashFastGeneric* t, const hash_key_t* above, void** data, uint32_t* candidates) {
  Best best{t, above};
  Walk w{keep_best, &best};
  walk_from_bucket(t, 0, w);
  if (candidates != nullptr) *candidates = best.candidates;
  if (best.data == nullptr) return 0;
  if (data != nullptr) *data = best.data;
  return 1;
}

bool refuse_second_hash(const hashFastGeneric* t, const char* what) {
  if (t->bucket_counts == nullptr) return false;
  uprintf("Error! %s, 2nd hash cannot be enabled\n", what);
  return true;
}

bool need_get_key(const hashFastGeneric* t, const char* what) {
  if (t->get_key_from_data != nullptr) return true;
  uprintf("get_key_from_data = NULL, no %s\n", what);
  return false;
}

int compare_data_by_key(void* a, void* b, void* table) {
  auto* t = static_cast<hashFastGeneric*>(table);
  return t->key_data_compare(t->get_key_from_data(a, t->context), b, t->context);
}

}  // namespace

uint32_t hashFastGenericTraverseUnsorted(hashFastGeneric* t, hash_traverse_fn fn, uint32_t skip,
                                         uint32_t max, void* arg) {
  if (t == nullptr || fn == nullptr || t->entries == 0 || skip >= t->entries) return 0;
  Walk w{fn, arg, skip, max};
  return walk_from_bucket(t, 0, w);
}

uint32_t hashFastGenericTraverseUnsortedFast(hashFastGeneric* t, hash_traverse_fn fn, void* arg) {
  if (t == nullptr || fn == nullptr || t->entries == 0) return 0;
  if (t->sparse_buckets == nullptr) {
    uprintf(
        "no hashFastGenericTraverseUnsortedFast() because of no "
        "hashFast..SparseTraverse()\n");
    return 0;
  }
  TraversalFlag flag;
  Walk w{fn, arg};
  for (hash_sparse_bucket* s = t->active_list; s != nullptr;) {
    hash_sparse_bucket* next = s->next;  // the callbacks may empty this bucket
    if (!walk_bucket(t, static_cast<uint32_t>(s - t->sparse_buckets), w)) break;
    s = next;
  }
  return w.count;
}

uint32_t hashFastGenericTraverseUnsortedStartFromThisOrNext(hashFastGeneric* t, hash_traverse_fn fn,
                                                            hash_key_t key, uint32_t max, void* arg,
                                                            int next) {
  if (t == nullptr || fn == nullptr || t->entries == 0) return 0;
  uint32_t b = bucket_of(t, key);
  bool second = is_second_level(t, b);
  uint32_t slot = second ? slot_of(t, key) : 0;
  hash_node* found = nullptr;
  for (hash_node* n = *home_of(t, b, key); n != nullptr; n = n->next) {
    if (t->key_data_compare(key, n->data, t->context) == 0) {
      found = n;
      break;
    }
  }
  TraversalFlag flag;
  Walk w{fn, arg, 0, max};
  bool go_on = true;
  if (found == nullptr) {
    go_on = walk_bucket(t, b, w);  // the key is gone: the whole of its bucket
  } else if (next == 0 || found->next != nullptr) {
    go_on = walk_bucket(t, b, w, next == 0 ? found : found->next, slot);
  } else if (second) {
    go_on = walk_bucket(t, b, w, nullptr, slot + 1);  // on with the following slots
  }
  for (uint32_t i = b + 1; go_on && i < t->size; ++i)
    go_on = walk_bucket(t, i, w);
  return w.count;
}

uint32_t hashFastGenericTraverseUnsortedStartFromNextOf(hashFastGeneric* t, hash_traverse_fn fn,
                                                        hash_key_t key, uint32_t max, void* arg) {
  return hashFastGenericTraverseUnsortedStartFromThisOrNext(t, fn, key, max, arg, 1);
}

uint32_t hashFastGenericTraverseSpecificAnchor(hashFastGeneric* t, hash_traverse_fn fn,
                                               hash_key_t key, void* arg) {
  if (t == nullptr || fn == nullptr || t->entries == 0) return 0;
  TraversalFlag flag;
  Walk w{fn, arg};
  walk_bucket(t, bucket_of(t, key), w);
  return w.count;
}

uint32_t hashFastGenericTraverseFromFraction(hashFastGeneric* t, hash_traverse_fn fn,
                                             uint32_t fraction, uint32_t total, void* arg) {
  if (t == nullptr || fn == nullptr || total == 0 || t->entries == 0) return 0;
  if (refuse_second_hash(t, "hashFastGenericTraverseFromFraction")) return 0;
  if (fraction >= total) fraction = 0;
  uint64_t base = static_cast<uint64_t>(fraction) * t->size + total - 1;
  auto first = static_cast<uint32_t>(base / total);
  auto end = static_cast<uint32_t>((base + t->size) / total);
  {
    TraversalFlag flag;
    Walk w{fn, arg};
    w.ignore_results = true;
    for (uint32_t b = first; b < end; ++b)
      walk_bucket(t, b, w);
  }
  return fraction + 1 >= total ? 0 : fraction + 1;
}

int hashFastGenericGetSmallestKey(hashFastGeneric* t, void** data) {
  if (t == nullptr || t->entries == 0) return 0;
  if (!need_get_key(t, "hashFastGenericGetSmallestKey")) return 0;
  return find_best(t, nullptr, data, nullptr);
}

int hashFastGenericGetNextKey(hashFastGeneric* t, hash_key_t key, void** data) {
  if (t == nullptr || t->entries == 0) return 0;
  if (!need_get_key(t, "hashFastGenericGetNextKey")) return 0;
  return find_best(t, &key, data, nullptr);
}

int hashFastGenericGetNextKeyReturnIndex(hashFastGeneric* t, hash_key_t key, void** data) {
  if (t == nullptr || t->entries == 0) return 0;
  if (!need_get_key(t, "hashFastGenericGetNextKey")) return -1;
  uint32_t candidates = 0;
  find_best(t, &key, data, &candidates);
  return static_cast<int>(candidates);
}

int hashFastGenericGetRandomData(hashFastGeneric* t, void** data) {
  if (t == nullptr || t->entries == 0) return 0;
  if (refuse_second_hash(t, "hashFastGenericGetRandomData")) return 0;
  uint32_t start = static_cast<uint32_t>(std::rand()) % t->size;
  for (uint32_t i = 0; i < t->size; ++i) {
    hash_node* n = *chain_head(t, (start + i) % t->size);
    if (n != nullptr) {
      if (data != nullptr) *data = n->data;
      return 1;
    }
  }
  return 0;
}

uint32_t hashFastGenericTraverseBySortedKey(hashFastGeneric* t, hash_traverse_fn fn, uint32_t skip,
                                            uint32_t max, void* arg) {
  if (t == nullptr || fn == nullptr || t->entries == 0) return 0;
  if (refuse_second_hash(t, "hashFastGenericTraverseBySortedKey")) return 0;
  if (!need_get_key(t, "hashFastGenericTraverseBySortedKey")) return 0;
  if (skip >= t->entries || max == 0) return 0;
  uint32_t n = t->entries;
  auto** items = static_cast<void**>(t->allocator->allocate(sizeof(void*) * (n + 1), t->allocator));
  Walk w{fn, arg, 0, max};
  if (items == nullptr) {
    // No room for the array: one full walk per item, in key order.
    ++hash_dy_malloc_failure_num;
    void* data = nullptr;
    TraversalFlag flag;
    for (int more = find_best(t, nullptr, &data, nullptr); more != 0;) {
      hash_key_t key = t->get_key_from_data(data, t->context);
      hash_node node{nullptr, data, 0};
      if (skip > 0) {
        --skip;
      } else if (!w.visit(&node)) {
        break;
      }
      more = find_best(t, &key, &data, nullptr);
    }
    return w.count;
  }
  uint32_t filled = 0;
  Walk collect{[](void* data, void* a, hash_node*) -> uint32_t {
                 auto* cursor = static_cast<void***>(a);
                 *(*cursor)++ = data;
                 return 1;
               },
               nullptr};
  void** cursor = items;
  collect.arg = &cursor;
  filled = walk_from_bucket(t, 0, collect);
  quick_sort_generic_no_index2(0, static_cast<int>(filled) - 1, items, compare_data_by_key, t);
  {
    TraversalFlag flag;
    for (uint32_t i = skip; i < filled; ++i) {
      hash_node node{nullptr, items[i], 0};
      if (!w.visit(&node)) break;
    }
  }
  t->allocator->free(items, t->allocator);
  return w.count;
}
