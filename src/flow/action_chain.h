// Action chains: one member list per action_key, shared by the flows that carry the key, with a
// reference count. A bucket of 997 lists by key % 997; new entries go in front of their bucket.
//
// The list belongs to the chain while the chain exists (the record's prefix_only says whether the
// record may free its members); the last flow to leave takes it back and frees it with itself.
#pragma once

#include <array>
#include <cstdint>

struct fd_entry;
struct of_flow_member;

inline constexpr uint32_t OF_ACTION_CHAIN_BUCKETS = 997;
inline constexpr uint16_t OF_CHAIN_KEY_FID = 2;
inline constexpr uint16_t OF_CHAIN_KEY_MVID = 1;

struct of_action_chain {
  uint32_t key = 0;
  uint32_t value = 0;
  uint16_t key_type = 0;
  uint16_t ref_cnt = 0;  // wraps at 16 bits
  uint16_t member_count = 0;
  uint16_t bucket = 0;
  std::array<uint32_t, 3> chain_words{};
  uint32_t chain_link = 0;
  of_flow_member* members = nullptr;
  of_action_chain* prev = nullptr;
  of_action_chain* next = nullptr;
};

// 1, or 0 when the table cannot be made.
int of_action_chain_init();
// Frees the entries (not their member lists: each belongs to a flow by then).
void of_action_chain_destroy();
uint32_t of_action_chain_count();
// The bucket's first entry, for walks and shows.
of_action_chain* of_action_chain_bucket(uint32_t bucket);

uint32_t of_get_action_chain_key(const fd_entry* flow, uint16_t* key_type);
of_action_chain* retrieve_action_chain_from_hash_table(const fd_entry* flow);
// A duplicate raises the count; a new key takes the flow's list. Null without a table.
of_action_chain* create_add_action_chain_in_hash_table(fd_entry* flow);
void extract_destroy_action_chain_entry(of_action_chain* entry);
// A prefix add or modify joining the chain of its key: members, count and prefix_only set.
// False (and the record without members) when the key has no chain.
bool of_action_chain_join(fd_entry* flow, const char* who);
// A delete or modify leaving its chain; `who` names the caller in the log.
void of_action_chain_leave(fd_entry* flow, const char* who);
