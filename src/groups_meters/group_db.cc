// The group base and its two pools: life, insertion with the per-type counters, lookups, and the
// group lookup that the backends read.
#include <cstddef>
#include <new>

#include "agent/reset.h"
#include "agent/trace.h"
#include "chip/engine_lookups.h"
#include "foundation/generic_pool.h"
#include "groups_meters/group_db.h"
#include "groups_meters/group_hw.h"
#include "groups_meters/group_internal.h"

namespace {

of_group_base* g_group_base = nullptr;
generic_pool g_group_pool{};
generic_pool g_bucket_pool{};

bool pool_made(const generic_pool& p) {
  return p.block_count != 0;
}

// Grows by `initial` up to `limit`; false after printing `failed`.
bool make_pool(generic_pool* pool, uint32_t initial, uint32_t size, uint32_t limit,
               const char* failed) {
  if (init_generic_pool(pool, initial, size, GENERIC_POOL_FIXED_GROWTH) != 1) {
    file_printf(failed, 0);
    return false;
  }
  set_generic_pool_upper_limit(pool, limit);
  return true;
}

// Both pools, made only when the group pool is not: a pool that exists is left alone.
int openflow_group_pool_init() {
  if (pool_made(g_group_pool)) return 1;
  if (!make_pool(&g_group_pool, OF_GROUP_POOL_INITIAL, sizeof(group_node), OF_GROUP_POOL_LIMIT,
                 "ERROR: Group Pool initialisation failed ret_val:%d\n"))
    return 0;
  file_printf("OFA: Group Pool initialisation success\n");
  if (!make_pool(&g_bucket_pool, OF_BUCKET_POOL_INITIAL, sizeof(group_bucket), OF_BUCKET_POOL_LIMIT,
                 "ERROR: Group  Pool initialisation failed ret_val:%d\n"))
    return 0;
  file_printf("Group  Pool initialisation done\n");
  return 1;
}

bool view_of(int32_t group_id, of_group_view* out) {
  const group_node* g = of_lp_retrieve_group_from_groupbase(static_cast<uint32_t>(group_id));
  if (!g) return false;
  *out = {g->type, g->all_type, g->mgid, g->nhopid};
  return true;
}

// Pools and base without a chip call (tests).
void free_all() {
  free_generic_pool(&g_group_pool);
  free_generic_pool(&g_bucket_pool);
  delete g_group_base;
  g_group_base = nullptr;
}
// Before the VLAN tables (rank 8), after the forwarding table (rank 7 too; neither points into
// the other).
const ofa_reset_hook reset_hook{7, free_all};

}  // namespace

int openflow_lp_group_init() {
  of_lookups.group = view_of;
  if (g_group_base) return 1;
  if (!openflow_group_pool_init()) return 0;
  g_group_base = new (std::nothrow) of_group_base{};
  if (!g_group_base) {
    file_printf("ERROR: openflow_lp_create_group_base: mbase NULL\n");
    return 0;
  }
  dce_avl_tree_init(&g_group_base->tree, dce_compare_uint32, offsetof(group_node, group_id),
                    offsetof(group_node, link));
  return 1;
}

void openflow_lp_group_destroy() {
  if (g_group_base) {
    // By key and not by iterator: the records stay in the tree while their hardware goes.
    for (group_node* g = of_lp_group_get_first_group_entry(); g;
         g = of_lp_group_get_next_group_entry_key(g->group_id)) {
      file_printf("OPENFLOW GROUP: GROUP %d deletion in hardware \n", g->group_id);
      if (!openflow_lp_dpx_delete_group(g))
        file_printf("OPENFLOW GROUP: GROUP %d deletion failed in hardware \n", g->group_id);
    }
  }
  free_all();
}

group_node* of_lp_retrieve_group_from_groupbase(uint32_t group_id) {
  if (!g_group_base) return nullptr;
  return static_cast<group_node*>(dce_avl_find(&g_group_base->tree, &group_id));
}

uint32_t of_lp_group_get_group_count() {
  return g_group_base ? g_group_base->total : 0;
}

group_node* of_lp_group_get_first_group_entry() {
  return g_group_base ? static_cast<group_node*>(dce_avl_first(&g_group_base->tree)) : nullptr;
}

group_node* of_lp_group_get_next_group_entry_key(uint32_t group_id) {
  if (!g_group_base) return nullptr;
  return static_cast<group_node*>(dce_avl_find_or_find_next(&g_group_base->tree, &group_id, 1));
}

const of_group_base* of_lp_group_get_base() {
  return g_group_base;
}
const generic_pool* of_lp_group_pool() {
  return &g_group_pool;
}
const generic_pool* of_lp_bucket_pool() {
  return &g_bucket_pool;
}

int of_lp_group_add_group_to_groupbase(group_node* g) {
  if (!g_group_base || dce_avl_insert_or_find(&g_group_base->tree, &g->link) != nullptr) return 0;
  ++g_group_base->total;
  switch (g->type) {
    case OF_LP_GROUP_SELECT:
      ++g_group_base->select;
      break;
    case OF_LP_GROUP_FAST_FAILOVER:
      ++g_group_base->ff;
      break;
    case OF_LP_GROUP_INDIRECT:
      ++g_group_base->indirect;
      break;
    case OF_LP_GROUP_ALL:
      ++g_group_base->all;
      break;
    default:
      break;
  }
  return 1;
}

void of_lp_group_remove_from_groupbase(group_node* g) {
  if (!g_group_base) return;
  dce_avl_delete(&g_group_base->tree, &g->link);
  --g_group_base->total;
}

group_node* of_lp_group_take_node() {
  return static_cast<group_node*>(generic_get_mem_from_pool(&g_group_pool));
}
group_bucket* of_lp_group_take_bucket() {
  return static_cast<group_bucket*>(generic_get_mem_from_pool(&g_bucket_pool));
}

void of_lp_group_free(group_node* g) {
  if (!g) return;
  of_lp_group_free_buckets(g->bucket_list);
  generic_free_mem_to_pool(&g_group_pool, g);
}

void of_lp_group_free_buckets(group_bucket* list) {
  while (list) {
    group_bucket* next = list->next;
    generic_free_mem_to_pool(&g_bucket_pool, list);
    list = next;
  }
}
