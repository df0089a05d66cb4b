// Typed views and owners over the foundation containers, for C++ callers that want the element
// type checked and the memory given back by scope. Every operation stays the named C-style one
// underneath (same results, limits and messages).
#pragma once

#include <cstdint>
#include <memory>
#include <type_traits>

#include "foundation/avl_tree.h"
#include "foundation/dce_avl_tree.h"
#include "foundation/generic_pool.h"
#include "foundation/hash_fast.h"

namespace ofa::foundation {

// A generic_pool of T elements, freed with the owner. T must be a plain record: elements come
// zeroed from the pool and are never constructed or destroyed.
template <class T>
class TypedPool {
  static_assert(std::is_trivially_default_constructible_v<T> && std::is_trivially_destructible_v<T>,
                "pool elements are plain records");

 public:
  // upper_limit 0: none.
  TypedPool(uint32_t initial_number, uint32_t flags, uint32_t upper_limit = 0) {
    ok_ = init_generic_pool(&pool_, initial_number, sizeof(T), flags) == 1 ||
          (flags & GENERIC_POOL_NO_FIRST_BLOCK) != 0;
    set_generic_pool_upper_limit(&pool_, upper_limit);
  }
  ~TypedPool() { free_generic_pool(&pool_); }
  TypedPool(const TypedPool&) = delete;
  TypedPool& operator=(const TypedPool&) = delete;

  bool ok() const { return ok_; }
  T* get() { return static_cast<T*>(generic_get_mem_from_pool(&pool_)); }
  void put(T* element) { generic_free_mem_to_pool(&pool_, element); }
  uint32_t in_use() const { return generic_get_pool_allocated_number(&pool_); }
  generic_pool* raw() { return &pool_; }

 private:
  generic_pool pool_{};
  bool ok_ = false;
};

struct HashTableDeleter {
  void operator()(hashFastGeneric* table) const { hashFastGenericDestroy(table); }
};
// Destroys the table (not the items it points to) with the owner.
using hash_table_ptr = std::unique_ptr<hashFastGeneric, HashTableDeleter>;

struct AvlTreeDeleter {
  void operator()(avl_tree* tree) const { avl_tree_free(&tree, nullptr); }
};
// Frees the tree and its nodes (not the items) with the owner.
using avl_tree_ptr = std::unique_ptr<avl_tree, AvlTreeDeleter>;

inline avl_tree_ptr make_avl_tree(avl_compare_fn compare, int max_nodes = 0) {
  avl_tree* tree = nullptr;
  if (avl_create(&tree, max_nodes, compare) != 0) return nullptr;
  return avl_tree_ptr(tree);
}

// The item of an avl node as T (null for a null node).
template <class T>
T* avl_item(avl_node* node) {
  return node == nullptr ? nullptr : static_cast<T*>(node->info);
}

// A dce_avl_tree answer as a record of type Rec.
template <class Rec>
Rec* dce_record(void* record) {
  return static_cast<Rec*>(record);
}

}  // namespace ofa::foundation
