// What the group operations take from the base (group_db.cc): insertion and removal with the
// counters, and the records and buckets of the two pools.
#pragma once

#include "chip/group_entry.h"

// 1, or 0 when the id is present (nothing inserted).
int of_lp_group_add_group_to_groupbase(group_node* g);
void of_lp_group_remove_from_groupbase(group_node* g);
// A zeroed element, or null when the pool is at its limit.
group_node* of_lp_group_take_node();
group_bucket* of_lp_group_take_bucket();
// The record and its buckets back to their pools.
void of_lp_group_free(group_node* g);
void of_lp_group_free_buckets(group_bucket* list);
