// Items keyed by a uint32_t and the callbacks a hashFastGeneric table needs for them.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/hash_fast.h"

namespace hash_helpers {

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
inline uint32_t zero_hash(hash_key_t, uintptr_t) {
  return 0;
}
inline uint32_t mix_hash(hash_key_t key, uintptr_t) {
  return static_cast<uint32_t>(key) * 2654435761u >> 7;
}

// Collects the keys a walk visits; answers `answer` per item.
struct Collect {
  std::vector<uint32_t> keys;
  uint32_t answer = 1;
  static uint32_t fn(void* data, void* arg, hash_node*) {
    auto* c = static_cast<Collect*>(arg);
    c->keys.push_back(static_cast<Item*>(data)->key);
    return c->answer;
  }
};

// Deletes each visited item from the table given as argument.
struct DeleteEach {
  hashFastGeneric* table;
  uint32_t visited = 0;
  static uint32_t fn(void* data, void* arg, hash_node*) {
    auto* d = static_cast<DeleteEach*>(arg);
    ++d->visited;
    void* out = nullptr;
    return hashFastGenericDelete(d->table, static_cast<Item*>(data)->key, &out) == 1 && out == data
               ? 1
               : HASH_TRAVERSE_STOP;
  }
};

}  // namespace hash_helpers
