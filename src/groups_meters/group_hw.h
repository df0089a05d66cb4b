// A group's hardware: what its type becomes in the chips (ALL: an L2 or L3 multicast group on
// its mgid; SELECT: a multi-path next hop; INDIRECT: a single-path next hop; FAST_FAILOVER and
// unknown types: nothing), through the operation table's slots 29 to 38, and the L2 forwarding
// entries of a next-hop group's buckets (l2fwd_table.h), one per bucket. 1 done, 0 not.
//
// A modify removes the old record's forwarding entries, then programs over the ids the new one
// carries; the old hardware object stays. A delete of a next hop ignores the chip's refusal (the
// group must not stay for it); a refused mgid delete keeps the group. Nothing is rolled back.
#pragma once

struct group_node;

int openflow_lp_dpx_create_group(group_node* group);
int openflow_lp_dpx_modify_group(group_node* group, group_node* old);
int openflow_lp_dpx_delete_group(group_node* group);
