#include "flow/member_list.h"

#include "agent/flow_record.h"
#include "agent/reset.h"
#include "flow/flow_msg.h"

namespace {
uint32_t live_lists = 0;
const ofa_reset_hook reset_hook{0, [] { live_lists = 0; }};
}  // namespace

void of_members_hold(of_flow_member* list) {
  if (list && list->list_holders++ == 0) ++live_lists;
}

void of_members_release(of_flow_member* list) {
  if (!list || list->list_holders == 0 || --list->list_holders > 0) return;
  --live_lists;
  of_free_member_list(list);
}

uint32_t of_members_holders(const of_flow_member* list) {
  return list ? list->list_holders : 0;
}

uint32_t of_members_live_lists() {
  return live_lists;
}

void of_flow_set_members(fd_entry* flow, of_flow_member* list, uint16_t count) {
  of_members_hold(list);
  of_members_release(flow->members);
  flow->members = list;
  flow->member_count = count;
}
