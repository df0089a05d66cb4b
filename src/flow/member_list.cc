#include "flow/member_list.h"

#include <unordered_map>

#include "agent/flow_record.h"
#include "agent/reset.h"
#include "flow/flow_msg.h"

namespace {

std::unordered_map<const of_flow_member*, uint32_t>& holders() {
  static std::unordered_map<const of_flow_member*, uint32_t> map;
  return map;
}

}  // namespace

void of_members_hold(of_flow_member* list) {
  if (list) ++holders()[list];
}

void of_members_release(of_flow_member* list) {
  if (!list) return;
  auto it = holders().find(list);
  if (it == holders().end()) return;
  if (--it->second > 0) return;
  holders().erase(it);
  of_free_member_list(list);
}

uint32_t of_members_holders(const of_flow_member* list) {
  auto it = holders().find(list);
  return it == holders().end() ? 0 : it->second;
}

uint32_t of_members_live_lists() {
  return static_cast<uint32_t>(holders().size());
}

void of_flow_set_members(fd_entry* flow, of_flow_member* list, uint16_t count) {
  of_members_hold(list);
  of_members_release(flow->members);
  flow->members = list;
  flow->member_count = count;
}
