// The group base: every group the manager sent, by id, with its buckets, taken from two fixed
// pools (512 groups growing by 512 up to 1024; 32768 buckets growing up to 65536), so that a
// group costs no allocation in steady state and the limits are exact. Made by openflow_init,
// freed by openflow_destroy after every group's hardware delete; a delete of all is the same
// teardown and a fresh base.
//
// Operations answer 1 done, 0 not; what went wrong stands in the debug log. Nothing is rolled
// back in the chips: a group whose hardware create failed stays in the base, so that a later
// delete finds it. The per-type counters go up at each insertion (a modify counts again) and never
// down; the total is the number of groups in the base.
#pragma once

#include <cstdint>
#include <span>

#include "chip/group_entry.h"
#include "foundation/dce_avl_tree.h"

struct generic_pool;

// ---- the group message (behind the transport header; big-endian)
// --------------------------------- The sub-type in the low 16 bits of the word at 0; group_id at
// 8, bucket count at 12, mgid 16, nhopid 20, type 24, all_type 28, then 16 bytes a bucket: port_id
// (u16) at 0, vlan_id at 4, the MAC's first four bytes at 8 and its last two atop the word at 12.
// The message has room for 64 buckets; a longer one may carry more.
inline constexpr uint32_t OF_GROUP_MSG_MIN_LEN = 1056;
inline constexpr uint32_t OF_GROUP_BUCKETS_OFFSET = 32;
inline constexpr uint32_t OF_GROUP_BUCKET_SIZE = 16;
inline constexpr uint32_t OFM_ADD_GROUP = 19;
inline constexpr uint32_t OFM_MODIFY_GROUP = 20;
inline constexpr uint32_t OFM_DELETE_GROUP = 21;
inline constexpr uint32_t OF_GROUP_ID_ALL = 0xFFFFFFFF;  // in a delete: every group

inline constexpr uint32_t OF_GROUP_POOL_INITIAL = 512;
inline constexpr uint32_t OF_GROUP_POOL_LIMIT = 1024;
inline constexpr uint32_t OF_BUCKET_POOL_INITIAL = 32768;
inline constexpr uint32_t OF_BUCKET_POOL_LIMIT = 65536;

struct of_group_msg {
  uint32_t sub_type = 0;
  uint32_t group_id = 0;
  uint32_t bucket_count = 0;
  uint32_t mgid = 0;
  uint32_t nhopid = 0;
  uint32_t type = 0;
  uint32_t all_type = 0;
  std::span<const uint8_t> buckets;  // what the message holds behind the head
};
// The head of a message of at least 32 bytes; false for a shorter one.
bool of_group_msg_read(std::span<const uint8_t> msg, of_group_msg* out);

struct of_group_base {
  uint32_t total = 0;  // groups in the tree
  uint32_t select = 0;
  uint32_t ff = 0;
  uint32_t indirect = 0;
  uint32_t all = 0;
  dce_avl_tree tree{};
};

// ---- life --------------------------------------------------------------------------------------
// Pools (when absent), base, and the group lookup the backends use; 1, or 0 on failure.
int openflow_lp_group_init();
// Every group's hardware delete (failures printed, the walk goes on), then the pools and the base.
void openflow_lp_group_destroy();

// ---- operations of the group message
// -------------------------------------------------------------
int lp_openflow_generic_add_group(const of_group_msg& msg);
int lp_openflow_generic_modify_group(const of_group_msg& msg);
// OF_GROUP_ID_ALL: lp_openflow_generic_del_group_all.
int lp_openflow_generic_del_group(const of_group_msg& msg);
int lp_openflow_generic_del_group_all();

// ---- lookups -----------------------------------------------------------------------------------
group_node* of_lp_retrieve_group_from_groupbase(uint32_t group_id);
uint32_t of_lp_group_get_group_count();
group_node* of_lp_group_get_first_group_entry();
// The group of the next higher id, or null.
group_node* of_lp_group_get_next_group_entry_key(uint32_t group_id);
// Null without a base.
const of_group_base* of_lp_group_get_base();
const generic_pool* of_lp_group_pool();
const generic_pool* of_lp_bucket_pool();
