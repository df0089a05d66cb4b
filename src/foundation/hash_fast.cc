// hashFastGeneric: creation, set-up, insert, lookup, delete and freeing. Walks are in
// hash_fast_walk.cc.
#include <cstring>

#include "foundation/hash_fast_internal.h"
#include "foundation/kprintf.h"

using namespace ofa::foundation::hash_fast;

uint32_t hash_dy_malloc_failure_num = 0;
int hash_fast_generic_in_traversal = 0;

namespace {

constexpr const char* k2ndPrefix = "Error! hashFastGenericEnable2ndHash";

void* table_alloc(mem_allocator* a, size_t bytes) {
  void* p = a->allocate(bytes, a);
  if (p == nullptr) {
    ++hash_dy_malloc_failure_num;
  } else {
    std::memset(p, 0, bytes);
  }
  return p;
}

void table_free(mem_allocator* a, void* p) {
  if (p != nullptr) a->free(p, a);
}

int init_node_pool(hashFastGeneric* t, uint32_t flags) {
  return init_generic_pool2(&t->node_pool, t->size, sizeof(hash_node), flags, t->allocator);
}

// Moves the chain of bucket b into a fresh second-level array; stays a chain when none is left.
void convert_to_second_level(hashFastGeneric* t, uint32_t b) {
  auto* array = static_cast<hash_node**>(generic_get_mem_from_pool(t->table2_pool));
  if (array == nullptr) return;
  hash_node* n = static_cast<hash_node*>(t->sparse_buckets[b].chain);
  while (n != nullptr) {
    hash_node* next = n->next;
    hash_node** slot = &array[slot_of(t, t->get_key_from_data(n->data, t->context))];
    n->next = *slot;
    *slot = n;
    n = next;
  }
  t->sparse_buckets[b].chain =
      reinterpret_cast<void*>(reinterpret_cast<uintptr_t>(array) | kSecondLevelTag);
  t->bucket_counts[b] |= HASH_BUCKET_2ND_LEVEL;
}

// The link that points at the node holding key (whose full hash is h), or null. Nodes keep the
// hash of their key, so that the items of other keys in the chain are not read.
hash_node** find_link(hashFastGeneric* t, uint32_t h, hash_key_t key, int* position) {
  uint32_t b = h % t->size;
  int pos = 0;
  for (hash_node** link = home_of(t, b, key); *link != nullptr; link = &(*link)->next, ++pos) {
    if ((*link)->hash == h && t->key_data_compare(key, (*link)->data, t->context) == 0) {
      if (position != nullptr) *position = pos;
      return link;
    }
  }
  return nullptr;
}

void drop_second_level_arrays(hashFastGeneric* t) {
  if (t->bucket_counts == nullptr) return;
  for (uint32_t b = 0; b < t->size; ++b) {
    if (is_second_level(t, b)) generic_free_mem_to_pool(t->table2_pool, second_array(t, b));
  }
}

template <class Fn>
void for_each_node(hashFastGeneric* t, Fn fn) {
  auto chain = [&](hash_node* n) {
    while (n != nullptr) {
      hash_node* next = n->next;
      fn(n);
      n = next;
    }
  };
  auto bucket = [&](uint32_t b) {
    if (is_second_level(t, b)) {
      for (uint32_t s = 0; s < t->size2; ++s)
        chain(second_array(t, b)[s]);
    } else {
      chain(*chain_head(t, b));
    }
  };
  if (t->sparse_buckets == nullptr) {
    for (uint32_t b = t->size; b-- > 0;)
      bucket(b);
  } else {
    for (hash_sparse_bucket* s = t->active_list; s != nullptr; s = s->next)
      bucket(static_cast<uint32_t>(s - t->sparse_buckets));
  }
}

// Empties the table. With a free function each item goes to it and the node pool is made
// again; without, each node goes back to the pool.
template <class FreeItem>
void free_contents(hashFastGeneric* t, bool have_fn, FreeItem free_item) {
  if (t == nullptr || t->entries == 0) return;
  if (have_fn) {
    for_each_node(t, [&](hash_node* n) { free_item(n->data); });
    free_generic_pool(&t->node_pool);
    init_node_pool(t, GENERIC_POOL_NO_FIRST_BLOCK);
  } else {
    for_each_node(t, [&](hash_node* n) { generic_free_mem_to_pool(&t->node_pool, n); });
  }
  drop_second_level_arrays(t);
  if (t->buckets != nullptr) std::memset(t->buckets, 0, sizeof(hash_node*) * t->size);
  if (t->sparse_buckets != nullptr)
    std::memset(t->sparse_buckets, 0, sizeof(hash_sparse_bucket) * t->size);
  if (t->bucket_counts != nullptr) std::memset(t->bucket_counts, 0, sizeof(uint16_t) * t->size);
  t->active_list = nullptr;
  t->entries = 0;
}

}  // namespace

uint32_t hashFastGenericRoundSize(uint32_t n) {
  if (n <= 1) return 1;
  while (n % 2 == 0 || n % 3 == 0 || n % 5 == 0 || n % 7 == 0)
    ++n;
  return n;
}

hashFastGeneric* hashFastGenericCreate3(uint32_t size, hash_get_key_fn get_key_from_data,
                                        hash_key_data_compare_fn key_data_compare,
                                        hash_fn_t hash_fn, mem_allocator* allocator,
                                        uintptr_t context) {
  if (key_data_compare == nullptr) {
    uprintf("Error! hashFastGenericCreate(key_data_compare=NULL)\n");
    return nullptr;
  }
  if (allocator == nullptr) allocator = &os_malloc_allocator;
  auto* t = static_cast<hashFastGeneric*>(table_alloc(allocator, sizeof(hashFastGeneric)));
  if (t == nullptr) return nullptr;
  t->size = hashFastGenericRoundSize(size);
  t->get_key_from_data = get_key_from_data;
  t->key_data_compare = key_data_compare;
  t->hash_fn = hash_fn;
  t->allocator = allocator;
  t->context = context;
  t->buckets = static_cast<hash_node**>(table_alloc(allocator, sizeof(hash_node*) * t->size));
  if (t->buckets == nullptr || init_node_pool(t, 0) == 0) {
    if (t->buckets != nullptr) ++hash_dy_malloc_failure_num;
    free_generic_pool(&t->node_pool);
    table_free(allocator, t->buckets);
    table_free(allocator, t);
    return nullptr;
  }
  return t;
}

hashFastGeneric* hashFastGenericCreate2(uint32_t size, hash_get_key_fn get_key_from_data,
                                        hash_key_data_compare_fn key_data_compare,
                                        hash_fn_t hash_fn, mem_allocator* allocator) {
  return hashFastGenericCreate3(size, get_key_from_data, key_data_compare, hash_fn, allocator, 0);
}

hashFastGeneric* hashFastGenericCreate(uint32_t size, hash_get_key_fn get_key_from_data,
                                       hash_key_data_compare_fn key_data_compare,
                                       hash_fn_t hash_fn) {
  return hashFastGenericCreate3(size, get_key_from_data, key_data_compare, hash_fn, nullptr, 0);
}

int hashFastGenericEnableFastSparseTraverse(hashFastGeneric* t) {
  if (t == nullptr) return 0;
  if (t->sparse_buckets != nullptr) return 1;
  if (t->entries != 0) {
    uprintf("Error! hashFastGeneric..SparseTraverse() should call before operation\n");
    return 0;
  }
  t->sparse_buckets = static_cast<hash_sparse_bucket*>(
      table_alloc(t->allocator, sizeof(hash_sparse_bucket) * t->size));
  if (t->sparse_buckets == nullptr) return 0;
  table_free(t->allocator, t->buckets);
  t->buckets = nullptr;
  return 1;
}

void hashFastGenericEnable2ndHash3(hashFastGeneric* t, uint32_t threshold, uint32_t size2,
                                   hash_fn_t hash2_fn, mem_allocator* allocator) {
  if (t == nullptr) return;
  if (t->entries != 0) {
    uprintf("%s should call before operation\n", k2ndPrefix);
    return;
  }
  if (t->sparse_buckets == nullptr) {
    uprintf("%s must call ..EnableFastSparseTraverse\n", k2ndPrefix);
    return;
  }
  if (t->get_key_from_data == nullptr) {
    uprintf("%s get_key_from_data=NULL\n", k2ndPrefix);
    return;
  }
  if (threshold < 10 || threshold > 100) {
    uprintf("%s threshold = %d, must [%d-100]\n", k2ndPrefix, threshold, 10);
    return;
  }
  if (size2 < 10 || size2 > 200) {
    uprintf("%s size_2nd_hash = %d, must [%s-200]\n", k2ndPrefix, size2, "10");
    return;
  }
  if (hash2_fn == nullptr) {
    uprintf("%s, must have 2nd hash function\n", k2ndPrefix);
    return;
  }
  if (allocator == nullptr) allocator = &os_malloc_allocator;
  t->threshold = static_cast<uint16_t>(threshold);
  t->low_threshold = static_cast<uint16_t>(threshold / 2);
  t->hash2_fn = hash2_fn;
  t->size2 = static_cast<uint16_t>(hashFastGenericRoundSize(size2));
  // Counts and the pool record live with the table; the arrays come from `allocator`.
  t->bucket_counts = static_cast<uint16_t*>(table_alloc(t->allocator, sizeof(uint16_t) * t->size));
  t->table2_pool = static_cast<generic_pool*>(table_alloc(t->allocator, sizeof(generic_pool)));
  uint32_t arrays = t->size / 100 > 2 ? t->size / 100 : 2;
  if (t->bucket_counts == nullptr || t->table2_pool == nullptr ||
      init_generic_pool2(t->table2_pool, arrays, sizeof(hash_node*) * t->size2, 0, allocator) ==
          0) {
    if (t->table2_pool != nullptr) free_generic_pool(t->table2_pool);
    table_free(t->allocator, t->table2_pool);
    table_free(t->allocator, t->bucket_counts);
    t->table2_pool = nullptr;
    t->bucket_counts = nullptr;
    uprintf("%s, 2nd hash disabled due to out of memory\n", k2ndPrefix);
    return;
  }
  set_generic_pool_upper_limit(t->table2_pool, t->size);
}

void hashFastGenericEnable2ndHash2(hashFastGeneric* t, uint32_t threshold, uint32_t size2,
                                   hash_fn_t hash2_fn, mem_allocator* allocator) {
  hashFastGenericEnable2ndHash3(t, threshold, size2, hash2_fn, allocator);
}

void hashFastGenericEnable2ndHash(hashFastGeneric* t, uint32_t threshold, uint32_t size2,
                                  hash_fn_t hash2_fn) {
  hashFastGenericEnable2ndHash3(t, threshold, size2, hash2_fn, nullptr);
}

int hashFastGenericInsert(hashFastGeneric* t, hash_key_t key, void* data) {
  if (t == nullptr) return 0;
  if (hash_node** link = find_link(t, hash_of(t, key), key, nullptr)) {
    (*link)->data = data;
    return 2;
  }
  return hashFastGenericInsertNew(t, key, data);
}

int hashFastGenericInsertNew(hashFastGeneric* t, hash_key_t key, void* data) {
  if (t == nullptr) return 0;
  uint32_t h = hash_of(t, key);
  uint32_t b = h % t->size;
  uint16_t* count = t->bucket_counts != nullptr ? &t->bucket_counts[b] : nullptr;
  if (count != nullptr && (*count & 0x7FFF) == 0x7FFF) return 0;  // the 15-bit count is full
  auto* n = static_cast<hash_node*>(generic_get_mem_from_pool(&t->node_pool));
  if (n == nullptr) {
    ++hash_dy_malloc_failure_num;
    return 0;
  }
  n->data = data;
  n->hash = h;
  t->entries += 1;
  hash_node** home = home_of(t, b, key);
  n->next = *home;
  *home = n;
  if (t->sparse_buckets == nullptr) return 1;
  link_active(t, &t->sparse_buckets[b]);
  if (count == nullptr) return 1;
  *count += 1;
  if ((*count & HASH_BUCKET_2ND_LEVEL) == 0 && *count > t->threshold) convert_to_second_level(t, b);
  return 1;
}

int hashFastGenericGetLink(hashFastGeneric* t, hash_key_t key, hash_node** node) {
  if (t == nullptr || t->entries == 0) return 0;
  hash_node** link = find_link(t, hash_of(t, key), key, nullptr);
  if (link == nullptr) return 0;
  if (node != nullptr) *node = *link;
  return 1;
}

int hashFastGenericGet(hashFastGeneric* t, hash_key_t key, void** data) {
  if (t == nullptr || t->entries == 0) return 0;
  uint32_t h = hash_of(t, key);
  uint32_t b = h % t->size;
  for (hash_node* n = *home_of(t, b, key); n != nullptr; n = n->next) {
    if (n->hash == h && t->key_data_compare(key, n->data, t->context) == 0) {
      if (data != nullptr) *data = n->data;
      return 1;
    }
  }
  return 0;
}

int hashFastGenericGetReturnIndex(hashFastGeneric* t, hash_key_t key, void** data) {
  if (t == nullptr || t->entries == 0) return 0;
  uint32_t h = hash_of(t, key);
  int position = 0;
  hash_node** link = find_link(t, h, key, &position);
  if (link == nullptr) return -1;
  if (data != nullptr) *data = (*link)->data;
  return static_cast<int>(h % t->size) + position;
}

int hashFastGenericDelete(hashFastGeneric* t, hash_key_t key, void** data) {
  if (t == nullptr || t->entries == 0) return 0;
  uint32_t h = hash_of(t, key);
  uint32_t b = h % t->size;
  hash_node** link = find_link(t, h, key, nullptr);
  if (link == nullptr) return 0;
  hash_node* n = *link;
  *link = n->next;
  if (data != nullptr) *data = n->data;
  generic_free_mem_to_pool(&t->node_pool, n);
  t->entries -= 1;
  if (t->bucket_counts != nullptr) t->bucket_counts[b] -= 1;
  if (is_second_level(t, b)) {
    // A walk in progress folds the bucket itself once it has left it.
    if (hash_fast_generic_in_traversal == 0) fold_if_empty(t, b);
  } else if (t->sparse_buckets != nullptr && t->sparse_buckets[b].chain == nullptr) {
    unlink_active(t, &t->sparse_buckets[b]);
  }
  return 1;
}

void hashFastGenericDeleteAll(hashFastGeneric* t) {
  free_contents(t, false, [](void*) {});
}

void hashFastGenericFreeContents(hashFastGeneric* t, hash_free_fn free_fn) {
  free_contents(t, free_fn != nullptr, [&](void* data) { free_fn(data); });
}

void hashFastGenericFreeContents2(hashFastGeneric* t, hash_free2_fn free_fn) {
  free_contents(t, free_fn != nullptr, [&](void* data) { free_fn(data, t->context); });
}

void hashFastGenericDestroy(hashFastGeneric* t) {
  if (t == nullptr) return;
  mem_allocator* a = t->allocator;
  free_generic_pool(&t->node_pool);
  if (t->table2_pool != nullptr) free_generic_pool(t->table2_pool);
  table_free(a, t->table2_pool);
  table_free(a, t->bucket_counts);
  table_free(a, t->sparse_buckets);
  table_free(a, t->buckets);
  table_free(a, t);
}

void hashFastGenericDestroyAndFreeContents(hashFastGeneric* t, hash_free_fn free_fn) {
  hashFastGenericFreeContents(t, free_fn);
  hashFastGenericDestroy(t);
}

void hashFastGenericDestroyAndFreeContents2(hashFastGeneric* t, hash_free2_fn free_fn) {
  hashFastGenericFreeContents2(t, free_fn);
  hashFastGenericDestroy(t);
}

uint32_t hashFastGenericGetTableEntries(const hashFastGeneric* t) {
  return t == nullptr ? 0 : t->entries;
}

mem_allocator* hashFastGenericGetAllocator(const hashFastGeneric* t) {
  return t == nullptr ? nullptr : t->allocator;
}
