// Who holds a member list. A list is held by every record whose `members` points at it and by
// the action chain that shares it, and is freed when the last holder lets go. The records'
// prefix_only and the chains' ref_cnt keep their own meaning for the logs and the show output;
// they no longer decide when a list is freed, so a list still in use is never freed and a
// record's private list is never lost.
#pragma once

#include <cstdint>

struct fd_entry;
struct of_flow_member;

void of_members_hold(of_flow_member* list);
// Frees the list when this was its last holder.
void of_members_release(of_flow_member* list);
uint32_t of_members_holders(const of_flow_member* list);
// Lists alive (for the consistency checks of tests and fuzzers).
uint32_t of_members_live_lists();

// Points the record at `list` (held) and lets go of the one it had.
void of_flow_set_members(fd_entry* flow, of_flow_member* list, uint16_t count);
