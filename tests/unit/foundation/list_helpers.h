// A sorted-list descriptor over uint32_t keys, and conversions between lists and vectors.
#pragma once

#include <cstring>
#include <vector>

#include "foundation/lists.h"

namespace list_helpers {

inline int cmp_u32(const void* a, const void* b) {
  uint32_t x;
  uint32_t y;
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

}  // namespace list_helpers
