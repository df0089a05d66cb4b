#include "adapter/tcam_id_pool.h"

#include <new>

#include "agent/reset.h"
#include "agent/trace.h"

of_id_list* l2flow_tcam_idpool_node = nullptr;
of_id_list* l3ipv4flow_tcam_idpool_node = nullptr;

namespace {
bool in_use(const of_id_list* list, uint32_t id) {
  if (id < list->first || id >= list->end) return false;
  uint32_t bit = id - list->first;
  return (list->in_use[bit / 64] >> (bit % 64)) & 1u;
}
void set_in_use(of_id_list* list, uint32_t id, bool on) {
  uint32_t bit = id - list->first;
  uint64_t mask = uint64_t{1} << (bit % 64);
  if (on)
    list->in_use[bit / 64] |= mask;
  else
    list->in_use[bit / 64] &= ~mask;
}
}  // namespace

of_id_list* create_list(uint32_t first, uint32_t end) {
  if (first >= end) return nullptr;
  auto* list = new (std::nothrow) of_id_list;
  if (!list) return nullptr;
  list->first = first;
  list->end = end;
  list->next_fresh = first;
  list->in_use.assign((end - first + 63) / 64, 0);
  list->free_count = static_cast<int32_t>(end - first);
  return list;
}

void free_id_list(of_id_list* list) {
  delete list;
}

uint32_t checkout_new_id(of_id_list* list) {
  if (!list) return 0;
  uint32_t id;
  if (list->next_fresh < list->end) {
    id = list->next_fresh++;
  } else if (!list->returned.empty()) {
    id = list->returned.front();
    list->returned.pop_front();
  } else {
    return 0;
  }
  set_in_use(list, id, true);
  --list->free_count;
  ++list->used_count;
  return id;
}

void checkin_id(of_id_list* list, uint32_t id) {
  if (!list) return;
  if (in_use(list, id)) {
    set_in_use(list, id, false);
    list->returned.push_back(id);
  }
  ++list->free_count;
  --list->used_count;
}

uint32_t id_list_free_len(const of_id_list* list) {
  return list->end - list->next_fresh + static_cast<uint32_t>(list->returned.size());
}

uint32_t id_list_free_tail(const of_id_list* list) {
  if (!list->returned.empty()) return list->returned.back();
  return list->next_fresh < list->end ? list->end - 1 : 0;
}

int openflow_lp_init_tcam_id_pool() {
  if (!l2flow_tcam_idpool_node)
    l2flow_tcam_idpool_node = create_list(OF_TCAM_ID_FIRST, OF_TCAM_ID_END);
  if (!l2flow_tcam_idpool_node) {
    file_printf("Failure creating L2FLOW TCAM ID POOL Node");
    return 0;
  }
  if (!l3ipv4flow_tcam_idpool_node)
    l3ipv4flow_tcam_idpool_node = create_list(OF_TCAM_ID_FIRST, OF_TCAM_ID_END);
  if (!l3ipv4flow_tcam_idpool_node) {
    file_printf("Failure creating L3FLOW TCAM ID POOL Node");
    return 0;
  }
  file_printf("Created L2FLOW TCAM ID POOL Node");
  return 1;
}

namespace {
void free_pools() {
  for (of_id_list** pool : {&l2flow_tcam_idpool_node, &l3ipv4flow_tcam_idpool_node}) {
    free_id_list(*pool);
    *pool = nullptr;
  }
}
const ofa_reset_hook reset_hook{0, free_pools};
}  // namespace
